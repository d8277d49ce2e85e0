#include "Tests/Authoring/Source/SourceTest.h"

using namespace Nimb::Authoring;

namespace {

class ObjSourceTest : public SourceTest {};

const std::string c_Square = "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\n";

}  // namespace

TEST_F(ObjSourceTest, PolygonsIndicesAndMaterialsAreReadAndVIsFlipped) {
    WritePicture("pictures/skin 1.png", 4, 200);
    Write("m.mtl",
          "\xEF\xBB\xBFnewmtl skin\r\nKd 0 0 0\r\nmap_Kd -clamp on -bm 0.5 pictures\\skin 1.png\r\nnewmtl red\nKd 1 0 "
          "0\n");
    Write("a.obj",
          "\xEF\xBB\xBFmtllib m.mtl\n# square, then the same with indices from the end, in another material, then in "
          "the first again\n"
          "o thing\n" +
              c_Square +
              "vn 0 0 1\nusemtl skin\nf 1/1/1 2/2/1 \\\n 3/3/1 4/4/1\nusemtl red\nl 1 2\nf -4//1 -3//1 -2//1\n"
              "usemtl skin\nf 1/1/1 1/1/1 2/2/1\nf 4/4/1 3/3/1 2/2/1\n");
    const std::unique_ptr<MeshSource> source = OpenMeshSource(Options("a.obj"));
    ASSERT_EQ(source->MaterialCount(), 2U);
    EXPECT_EQ(source->MaterialName(0), "skin");
    EXPECT_EQ(source->Texture(0, 0)->width, 4U);
    EXPECT_EQ(source->Texture(0, 0)->rgba[0], 200) << "a picture replaces Kd";
    EXPECT_EQ(source->Texture(0, 1)->rgba[0], 255);
    EXPECT_EQ(source->Texture(0, 1)->rgba[1], 0);
    const SourceFrame frame = source->Frame(0);
    ASSERT_EQ(frame.meshes.size(), 2U);
    EXPECT_EQ(CornersOf(frame.meshes[0].mesh, true),
              "(0 0 0|0 1)(1 0 0|1 1)(1 1 0|1 0) (0 0 0|0 1)(1 1 0|1 0)(0 1 0|0 0) (0 1 0|0 0)(1 1 0|1 0)(1 0 0|1 1) ");
    EXPECT_EQ(frame.meshes[0].mesh.positions.size(), 4U) << "corners with equal attributes are one vertex";
    EXPECT_EQ(frame.meshes[0].mesh.normals.size(), 4U);
    EXPECT_EQ(CornersOf(frame.meshes[1].mesh), "(0 0 0)(1 0 0)(1 1 0) ");
}

TEST_F(ObjSourceTest, AConcavePolygonIsCutInsideItself) {
    WritePicture("t.png", 2, 0);
    // An arrow head: a fan from its first corner would cover what is outside.
    Write("a.obj", "v 0 2 0\nv -2 -2 0\nv 0 -1 0\nv 2 -2 0\nvt 0 0\nf 4/1 1/1 2/1 3/1\n");
    const Mesh mesh = OnlyMesh(Options("a.obj", "t.png"));
    ASSERT_EQ(mesh.faces.size(), 2U);
    double area = 0;
    for (const TarnMeshFace& face : mesh.faces) {
        const Vec3 &a = mesh.positions[face.v[0]], &b = mesh.positions[face.v[1]], &c = mesh.positions[face.v[2]];
        const double twice = double{b.x - a.x} * double{c.y - a.y} - double{c.x - a.x} * double{b.y - a.y};
        EXPECT_GT(twice, 0) << "turned over";
        area += twice / 2;
    }
    EXPECT_DOUBLE_EQ(area, 6);
}

TEST_F(ObjSourceTest, RepeatedTexturesAreBroughtInsideByTriangle) {
    WritePicture("t.png", 2, 0);
    // Neighbours in different periods: the two vertices that they share have to be split. Overshoot is cut off.
    Write("a.obj",
          "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 0\nvt 0.5 0\nvt 1 0\nvt 0.5 1\nvt 1 -0.002\nvt 1.5 1\n"
          "f 1/1 2/2 3/3\nf 2/2 4/5 2/4\nf 2/2 4/5 3/4\n");
    EXPECT_EQ(CornersOf(OnlyMesh(Options("a.obj", "t.png")), true),
              "(0 0 0|0.5 1)(1 0 0|1 1)(0 1 0|0.5 0) (1 0 0|0 1)(1 1 0|0.5 0)(0 1 0|0 1) ");
    Write("b.obj", c_Square + "vt 1.5 0.25\nf 1/1 2/2 3/3\nf 1/1 2/5 3/3\n");
    const std::string error = ErrorOf(Options("b.obj", "t.png"));
    ExpectContains(error, "b.obj:11: a triangle reaches across the edge of the picture");
    ExpectContains(error, "(0, 0) (1.5, 0.25) (1, 1)");
}

TEST_F(ObjSourceTest, ErrorsNameFileAndLine) {
    WritePicture("t.png", 2, 0);
    Write("m.mtl", "newmtl a\nmap_Kd missing.png\nnewmtl b\nmap_Kd -s 2 2 1 t.png\n");
    Write("good.mtl", "newmtl a\nmap_Kd missing.png\n");
    const struct {
        const char* text;
        const char* message;
    } cases[] = {
        {"v 0 0 zero\n", "bad.obj:9: 'zero' in a position is not a finite number"},
        {"v 0 nan 0\n", "bad.obj:9: 'nan' in a position is not a finite number"},
        {"v 0 1e99 0\n", "bad.obj:9: '1e99' in a position"},
        {"v 0 1\n", "bad.obj:9: a position needs 3 numbers"},
        {"f 1/1 2/2 \\\n5/3\n", "bad.obj:9: face index 5 is out of range: there are 4 positions"},
        {"\nf 1/1 2/2 3/-5\n", "bad.obj:10: face index -5 is out of range: there are 4 texture coordinates"},
        {"f 1/1 2/2 0/3\n", "bad.obj:9: face index 0 is out of range"},
        {"f 1/1 2/2 99999999999999999999/3\n", "bad.obj:9: '99999999999999999999' in a face"},
        {"f 1/1/1 2/2/1 3/3/1/1\n", "bad.obj:9: face index 1 is out of range: there are 0 normals"},
        {"f 1/1 2/2\n", "bad.obj:9: a face needs at least three corners"},
        {"f 1/1 2/2 3\n", "bad.obj:9: a face without texture coordinates"},
        {"l 1 2\n", "bad.obj: has no triangles"},
        {"f 1/1 1/1 1/1\n", "bad.obj: has no triangles"},
    };
    for (const auto& bad : cases) {
        Write("bad.obj", c_Square + bad.text);
        ExpectContains(ErrorOf(Options("bad.obj", "t.png")), bad.message);
    }
    const std::string face = c_Square + "usemtl a\nf 1/1 2/2 3/3\n";
    Write("bad.obj", face);
    ExpectContains(ErrorOf(Options("bad.obj")), "bad.obj:9: no material library read so far has the material 'a'");
    Write("bad.obj", "mtllib none.mtl\n" + face);
    ExpectContains(ErrorOf(Options("bad.obj")), "none.mtl: the material library cannot be read");
    Write("bad.obj", "mtllib m.mtl\n" + face);
    ExpectContains(ErrorOf(Options("bad.obj")), "m.mtl:4: map_Kd with the option -s is not supported");
    Write("bad.obj", "mtllib good.mtl\n" + face);
    ExpectContains(ErrorOf(Options("bad.obj")), "missing.png: the picture cannot be read: No such file");
    Write("bad.obj", c_Square + "f 1/1 2/2 3/3\n");
    ExpectContains(ErrorOf(Options("bad.obj")), "bad.obj: faces without a material");
}
