#include "Tests/Authoring/Source/SourceTest.h"

#include <cmath>
#include <sstream>
#include <thread>

using namespace Nimb::Authoring;

namespace {

class SequenceTest : public SourceTest {
protected:
    /// A triangle whose first vertex is at x = `x`.
    void WriteMesh(const std::string& name, int x, const std::string& head = "") const {
        Write(name,
              head + "v " + std::to_string(x) + " 0 0\nv 1 2 3\nv 0 1 0\nvt 0 0\nvn 0 1 0\nf 1/1/1 2/1/1 3/1/1\n");
    }

    static std::string FirstPositions(const SourceOptions& options) {
        const std::unique_ptr<MeshSource> source = OpenMeshSource(options);
        std::string text;
        for (std::size_t i = 0; i < source->FrameCount(); ++i) {
            text += std::to_string(std::lround(source->Frame(i).meshes.at(0).mesh.positions.at(0).x)) + " ";
        }
        return text;
    }
};

}  // namespace

TEST_F(SequenceTest, PatternsGlobsAndFoldersMeanFilesInOrder) {
    WritePicture("t.png", 2, 0);
    for (const int i : {8, 9, 10, 11}) {
        WriteMesh("scan/f" + std::to_string(i) + ".obj", i);
    }
    Write("scan/f008.obj.txt", "not a mesh");
    Write("scan/notes.txt", "not a mesh");
    Write("scan/._f9.obj", "what macOS leaves");
    EXPECT_EQ(FirstPositions(Options("scan", "t.png")), "8 9 10 11 ");
    EXPECT_EQ(FirstPositions(Options("scan/f?.obj", "t.png")), "8 9 ");
    SourceOptions options = Options("scan/f%d.obj", "t.png");
    EXPECT_EQ(FirstPositions(options), "8 9 10 11 ");
    options.firstFrame = 9;
    options.lastFrame = 10;
    EXPECT_EQ(FirstPositions(options), "9 10 ") << "a pattern's frames go by the numbers in the names";
    EXPECT_EQ(OpenMeshSource(options)->FrameName(1), PathOf("scan/f10.obj"));
    options = Options("scan", "t.png");
    options.firstFrame = 3;
    EXPECT_EQ(FirstPositions(options), "11 ");
    EXPECT_EQ(FirstPositions(Options("scan/f8.obj", "t.png")), "8 ");
}

TEST_F(SequenceTest, MissingAndMixedFilesAreNamed) {
    WritePicture("t.png", 2, 0);
    for (const int i : {1, 2, 4, 5}) {
        WriteMesh("gap/f_000" + std::to_string(i) + ".obj", i);
    }
    ExpectContains(ErrorOf(Options("gap/f_%04d.obj", "t.png")), "gap/f_0003.obj: missing in the sequence");
    ExpectContains(ErrorOf(Options("gap", "t.png")), "frame 3 is missing");
    ExpectContains(ErrorOf(Options("gap/*.obj", "t.png")), "frame 3 is missing");
    SourceOptions behind = Options("gap/f_%04d.obj", "t.png");
    behind.firstFrame = 4;
    EXPECT_EQ(FirstPositions(behind), "4 5 ") << "a gap outside the range does not matter";
    behind.lastFrame = 6;
    ExpectContains(ErrorOf(behind), "there is no frame 6; frames are 1 to 5");
    WriteMesh("gap/f_01.obj", 1);
    ExpectContains(ErrorOf(Options("gap", "t.png")), "have the same number");

    WriteMesh("mixed/a.obj", 0);
    Write("mixed/a.ply", "");
    ExpectContains(ErrorOf(Options("mixed")), "there are files of two formats");
    Write("empty/readme.txt", "");
    ExpectContains(ErrorOf(Options("empty")), "no mesh file in this folder");
    ExpectContains(ErrorOf(Options("empty/*.txt")),
                   "readme.txt: its name is not that of a mesh file (obj, ply, glb, gltf)");
    ExpectContains(ErrorOf(Options("none.obj")), "none.obj: no such file or folder");
    ExpectContains(ErrorOf(Options("none_%d.obj")), "none_%d.obj: no such files");
    ExpectContains(ErrorOf(Options("none_%x.obj")), "a pattern needs a number");
}

TEST_F(SequenceTest, WeldingKeepsFramesInOneTopology) {
    // A quad of two triangles without a vertex in common, as a line for each frame. The second pair of equal corners
    // comes apart in the last frame; in the second one an edge is so short that its ends coincide.
    WritePicture("t.png", 2, 0);
    const char* const frames[] = {
        "0 0 0  1 0 0  1 1 0  0 0 0  1 1 0  0 1 0", "1 1 0  1 0 0  1 1 0  1 1 0  1 1 0  0 1 0",
        "0 0 0  1 0 0  2 1 0  -0 0 0  2 1 0  0 1 0", "0 0 0  1 0 0  1 1 0  0 0 0  1 2 0  0 1 0"};
    const auto write = [&](const std::string& name, const std::string& numbers, const std::string& faces) {
        std::istringstream words(numbers);
        std::string text = "vt 0.5 0.5\n", x, y, z;
        while (words >> x >> y >> z) {
            text += "v " + x + " " + y + " " + z + "\n";
        }
        Write(name, text + faces);
    };
    for (std::size_t i = 0; i < 4; ++i) {
        write("s/" + std::to_string(i) + ".obj", frames[i], "f 1/1 2/1 3/1\nf 4/1 5/1 6/1\n");
        write("bare/" + std::to_string(i) + ".obj", frames[i], "mtllib m.mtl\nusemtl a\nf 1 2 3\nf 4 5 6\n");
    }
    const std::unique_ptr<MeshSource> source = OpenMeshSource(Options("s", "t.png"));
    const auto textOf = [&](std::size_t frame) {
        const SourceFrame loaded = source->Frame(frame);
        std::string text = std::to_string(loaded.welded) + ":";
        for (const TarnMeshFace& face : loaded.meshes.at(0).mesh.faces) {
            for (const UINT32 v : face.v) {
                text += " " + std::to_string(v);
            }
        }
        return text;
    };
    for (const std::size_t frame : {0U, 1U, 2U}) {
        EXPECT_EQ(textOf(frame), "2: 0 1 2 0 2 3") << frame;
    }
    EXPECT_EQ(textOf(3), "1: 0 1 2 0 3 4");
    SourceOptions first = Options("s", "t.png");
    first.firstFrame = 1;
    EXPECT_EQ(OnlyMesh(first, 0).positions.size(), 6U)
        << "ends of a short edge, and what coincides with them, stay apart";
    EXPECT_EQ(OnlyMesh(first, 1).positions.size(), 6U) << "as in the first frame";
    Write("bare/m.mtl", "newmtl a\nKd 1 0 0\n");
    EXPECT_EQ(OnlyMesh(Options("bare"), 0).positions.size(), 6U) << "without texture coordinates";
}

TEST_F(SequenceTest, EachFrameHasThePictureOfItsNumber) {
    for (const int i : {1, 2, 3}) {
        WriteMesh("m" + std::to_string(i) + ".obj", i);
        WriteMesh("names/" + std::string(static_cast<std::size_t>(i), 'm') + ".obj", i);
        WritePicture("p" + std::to_string(i) + ".png", 4, static_cast<BYTE>(10 * i));
    }
    SourceOptions options = Options("m%d.obj", "p%d.png");
    options.firstFrame = 2;
    const std::unique_ptr<MeshSource> source = OpenMeshSource(options);
    EXPECT_EQ(source->Texture(0, 0)->rgba[0], 20) << "pictures of the frames in the range";
    EXPECT_EQ(source->Texture(1, 0)->rgba[0], 30);
    EXPECT_EQ(source->Texture(1, 0), source->Texture(1, 0));
    const std::unique_ptr<MeshSource> same = OpenMeshSource(Options("m%d.obj", "p1.png"));
    EXPECT_EQ(same->Texture(0, 0), same->Texture(2, 0)) << "one picture for all frames is one pointer";
    EXPECT_EQ(OpenMeshSource(Options("names", "p%d.png"))->Texture(2, 0)->rgba[0], 30) << "by order without numbers";

    ExpectContains(ErrorOf(Options("m?.obj", "p[13].png")), "there is no picture 2");
    WritePicture("p4.png", 4, 0);
    ExpectContains(ErrorOf(Options("m%d.obj", "p%d.png")), "p4.png: " + PathOf("m%d.obj") + " has no frame 4");
    ExpectContains(ErrorOf(Options("names", "p%d.png")), "4 pictures for the 3 frames");
    options.lastFrame = 3;
    EXPECT_EQ(ErrorOf(options), "") << "beside the range nothing matters";
    WritePicture("p3.png", 8, 0);
    ExpectContains(ErrorOf(options),
                   "p3.png: the picture of " + PathOf("m3.obj") + " is 8x8, that of the first frame 4x4");
    Write("p3.png", "no picture");
    ExpectContains(ErrorOf(options), "p3.png: not a picture that can be read");
}

TEST_F(SequenceTest, MaterialsOfLaterFramesAreThoseOfTheFirst) {
    Write("s/m.mtl", "newmtl a\nKd 1 0 0\nnewmtl b\nKd 0 1 0\nnewmtl c\nKd 0 0 1\n");
    const std::string face = "f -3/1 -2/1 -1/1\n";
    const std::string head = "mtllib m.mtl\nv 0 0 0\nv 1 0 0\nv 0 1 0\nvt 0 0\n";
    Write("s/1.obj", head + "usemtl a\n" + face + "usemtl b\n" + face + face);
    Write("s/2.obj", head + "usemtl b\n" + face + face + "usemtl a\n" + face);
    Write("s/3.obj", head + "usemtl b\n" + face);
    Write("s/4.obj", head + "usemtl c\n" + face + "usemtl a\n" + face + face);
    const std::unique_ptr<MeshSource> source = OpenMeshSource(Options("s"));
    const auto materials = [&](std::size_t frame) {
        std::string text;
        for (const MaterialMesh& materialMesh : source->Frame(frame).meshes) {
            text += std::to_string(materialMesh.material) + ":" + std::to_string(materialMesh.mesh.faces.size()) + " ";
        }
        return text;
    };
    EXPECT_EQ(materials(0), "0:1 1:2 ");
    EXPECT_EQ(materials(1), "0:1 1:2 ") << "by name";
    EXPECT_EQ(materials(2), "1:1 ") << "one may be missing";
    EXPECT_EQ(materials(3), "0:1 1:2 ") << "by order where the names differ";
    EXPECT_EQ(source->Texture(3, 0)->rgba[2], 255);
    Write("s/5.obj", head + "usemtl c\n" + face);
    ExpectContains(ErrorOf(Options("s")), "5.obj: the first frame has no material 'c'");
}

TEST_F(SequenceTest, AxisAndScaleChangePositionsAndNormals) {
    WriteMesh("a.obj", 1);
    WritePicture("t.png", 2, 0);
    SourceOptions options = Options("a.obj", "t.png");
    options.upAxis = UpAxis::Z;
    options.scale = 0.5;
    const Mesh mesh = OnlyMesh(options);
    EXPECT_EQ(CornersOf(mesh), "(0.5 0 0)(0.5 1.5 -1)(0 0 -0.5) ");
    EXPECT_EQ(mesh.normals.at(0).z, -1.0F);
    EXPECT_EQ(mesh.normals.at(0).y, 0.0F);
    options.scale = 1e39;
    ExpectContains(ErrorOf(options), "a.obj: a position is too large");
    options.scale = 0;
    EXPECT_THROW(OpenMeshSource(options), std::invalid_argument);
}

TEST_F(SequenceTest, SeveralThreadsLoadFramesAndABrokenOneConcernsOnlyItself) {
    WritePicture("t.png", 2, 0);
    constexpr int c_Frames = 24, c_Broken = 13;
    for (int i = 0; i < c_Frames; ++i) {
        WriteMesh("f" + std::to_string(i) + ".obj", i, i == c_Broken ? "v broken\n" : "");
    }
    const std::unique_ptr<MeshSource> source = OpenMeshSource(Options("f%d.obj", "t.png"));
    std::vector<std::thread> threads;
    std::vector<int> good(4), bad(4);
    for (std::size_t t = 0; t < good.size(); ++t) {
        threads.emplace_back([&, t] {
            for (std::size_t i = 0; i < c_Frames; ++i) {
                try {
                    const float x = source->Frame(i).meshes.at(0).mesh.positions.at(0).x;
                    good[t] += std::lround(x) == static_cast<long>(i) && source->Texture(i, 0)->width == 2 ? 1 : 0;
                } catch (const InputError&) {
                    ++bad[t];
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(good, std::vector<int>(4, c_Frames - 1));
    EXPECT_EQ(bad, std::vector<int>(4, 1));
}
