#include "Tests/Authoring/Source/SourceTest.h"

#include <cstring>

using namespace Nimb::Authoring;

namespace {

class PlySourceTest : public SourceTest {
protected:
    PlySourceTest() { WritePicture("t.png", 2, 7); }

    std::string ErrorOfText(const std::string& text) const {
        Write("bad.ply", text);
        return ErrorOf(Options("bad.ply"));
    }
};

template <class Number>
std::string Bytes(Number number, bool big) {
    std::string bytes(sizeof number, '\0');
    std::memcpy(bytes.data(), &number, sizeof number);
    return big ? std::string(bytes.rbegin(), bytes.rend()) : bytes;
}

const std::string c_Texture = "comment TextureFile t.png\n";

std::string TriangleHeader(const std::string& format) {
    return "ply\nformat " + format + " 1.0\n" + c_Texture +
           "element vertex 3\nproperty float x\nproperty float y\nproperty float z\nproperty uchar red\n"
           "property float s\nproperty float t\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n";
}

}  // namespace

TEST_F(PlySourceTest, TextAndBothByteOrdersGiveTheSameMesh) {
    const float values[3][5] = {{0, 0, 0, 0, 0}, {1, 0, 0, 1, 0}, {0, 1.5F, -2, 0.25F, 1}};
    std::string text = TriangleHeader("ascii") + "0 0 0 9 0 0\n1 0 0 9 1 0\n\n0 1.5 -2 9 0.25 1\n3 0 1 2\n";
    std::string little = TriangleHeader("binary_little_endian"), big = TriangleHeader("binary_big_endian");
    for (std::string* file : {&little, &big}) {
        const bool isBig = file == &big;
        for (const auto& vertex : values) {
            for (int i = 0; i < 5; ++i) {
                *file += Bytes(vertex[i], isBig) + (i == 2 ? "\x09" : "");
            }
        }
        *file += '\3' + Bytes(0, isBig) + Bytes(1, isBig) + Bytes(2, isBig);
    }
    Write("text.ply", text);
    Write("little.ply", little);
    Write("big.ply", big);
    for (const char* const name : {"text.ply", "little.ply", "big.ply"}) {
        EXPECT_EQ(CornersOf(OnlyMesh(Options(name)), true), "(0 0 0|0 1)(1 0 0|1 1)(0 1.5 -2|0.25 0) ") << name;
        EXPECT_EQ(OpenMeshSource(Options(name))->Texture(0, 0)->rgba[0], 7);
    }
    for (std::size_t size = 0; size < little.size(); ++size) {
        ExpectContains(ErrorOfText(little.substr(0, size)), "bad.ply");
    }
    ExpectContains(ErrorOfText(little.substr(0, little.size() - 1)), "the file ends in face 0 of 1");
}

TEST_F(PlySourceTest, CornersHaveTextureCoordinatesAndPicturesOfTheirOwn) {
    WritePicture("second.png", 2, 8);
    Write("a.ply",
          "ply\r\nformat ascii 1.0\r\ncomment TextureFile t.png\r\ncomment TextureFile second.png\r\n"
          "element vertex 4\r\nproperty double x\r\nproperty double y\r\nproperty double z\r\n"
          "element face 3\r\nproperty list uchar uint vertex_index\r\n"
          "property list uchar float texcoord\r\nproperty int texnumber\r\nend_header\r\n"
          "0 0 0\r\n1 0 0\r\n1 1 0\r\n0 1 0\r\n"
          "4 0 1 2 3 8 0 0 1 0 1 1 0 1 0\r\n3 0 1 2 6 0 0 .5 0 .5 .5 1\r\n3 2 1 0 6 1 1 1 0 0 0 0\r\n");
    const std::unique_ptr<MeshSource> source = OpenMeshSource(Options("a.ply"));
    ASSERT_EQ(source->MaterialCount(), 2U);
    EXPECT_EQ(source->Texture(0, 1)->rgba[0], 8);
    const SourceFrame frame = source->Frame(0);
    EXPECT_EQ(frame.meshes.at(0).mesh.positions.size(), 4U) << "equal corners of several faces are one vertex";
    EXPECT_EQ(frame.meshes.at(0).mesh.faces.size(), 3U);
    EXPECT_EQ(CornersOf(frame.meshes.at(1).mesh, true), "(0 0 0|0 1)(1 0 0|0.5 1)(1 1 0|0.5 0.5) ");
}

TEST_F(PlySourceTest, ErrorsNameThePlace) {
    const std::string header = TriangleHeader("ascii");
    const std::string vertices = "0 0 0 9 0 0\n1 0 0 9 1 0\n0 1 0 9 0 1\n";
    const auto without = [&](const std::string& part) {
        std::string text = header + vertices + "3 0 1 2\n";
        return text.erase(text.find(part), part.size());
    };
    const std::pair<std::string, std::string> cases[] = {
        {"plyx\n", "bad.ply:1: not a PLY file"},
        {header + "0 0 0 9 0 0\n1 zero 0 9 1 0\n", "bad.ply:15: 'zero' is not a number"},
        {header + "0 0 0 9 0 0\n1 inf 0 9 1 0\n", "bad.ply:15: a position is not a finite number"},
        {header + "0 0 0 9 0 0\n1 0 0 9 1\n", "bad.ply:15: fewer values than the header says"},
        {header + "0 0 0 9 0 0 4\n", "bad.ply:14: more values than the header says"},
        {header + vertices + "3 0 1 3\n", "bad.ply:17: face index 3 is out of range: there are 3"},
        {header + vertices + "3 0 1 -1\n", "bad.ply:17: face index -1 is out of range"},
        {header + vertices + "3 0 1 1.5\n", "bad.ply:17: face index 1.5 is out of range"},
        {header + vertices + "2 0 1\n", "bad.ply: has no triangles"},
        {without("property float t\n"), "more values than the header says"},
        {without("property float z\n"), "its vertices have no x, y and z"},
        {without(c_Texture), "has neither a picture"},
        {"ply\nformat ascii 1.0\n" + c_Texture + "element vertex 99999999999\nend_header\n",
         "the element vertex has no properties"},
        {"ply\nformat ascii 1.0\n" + c_Texture +
             "element vertex 3\nproperty float x\nproperty float y\nproperty float z\nelement face 1\n"
             "property list int int vertex_indices\nend_header\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n",
         "bad.ply:14: a face without texture coordinates"},
    };
    for (const auto& [text, message] : cases) {
        ExpectContains(ErrorOfText(text), message);
    }
}
