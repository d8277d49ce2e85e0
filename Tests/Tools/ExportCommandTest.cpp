// `nimb export`: other programs' loader finds the meshes and textures that went into the clip, the right way up.
#include "Authoring/Source/ImageFile.h"
#include "Tests/Support/CounterFrame.h"
#include "Tests/Support/DecodedClip.h"
#include "Tests/Tools/ToolTest.h"

#include <assimp/postprocess.h>
#include <assimp/scene.h>
#include <gtest/gtest.h>

#include <assimp/Importer.hpp>
#include <cmath>
#include <cstdlib>
#include <filesystem>

namespace ToolTest {
namespace {

constexpr int c_Size = 64;

class ExportCommand : public testing::Test {
protected:
    const TemporaryFolder m_Folder;
    const std::string m_Clip = m_Folder / "clip.mp4";
    const std::string m_Frames = m_Folder / "frames";

    ToolResult Export(const std::string& options, const std::string& before = "") {
        return RunNimb("export " + m_Clip + " " + m_Frames + " " + options, before);
    }
    std::string FrameFile(int number, const std::string& format) const {
        return m_Frames + "/frame_000" + std::to_string(number) + "." + format;
    }
};

Nimb::Authoring::Image TextureOf(const aiScene& scene, const std::string& folder) {
    const aiMaterial& material = *scene.mMaterials[scene.mMeshes[0]->mMaterialIndex];
    aiString name;
    EXPECT_EQ(material.GetTexture(aiTextureType_DIFFUSE, 0, &name), aiReturn_SUCCESS);
    const aiTexture* const embedded = scene.GetEmbeddedTexture(name.C_Str());
    if (embedded != nullptr) {
        return Nimb::Authoring::DecodeImage(reinterpret_cast<const BYTE*>(embedded->pcData), embedded->mWidth,
                                            "embedded");
    }
    return Nimb::Authoring::ReadImage(folder + "/" + name.C_Str());
}

void ExpectPicture(const Nimb::Authoring::Image& image, int number) {
    ASSERT_EQ(image.width, std::size_t{c_Size});
    ASSERT_EQ(image.height, std::size_t{c_Size});
    const std::vector<std::uint8_t> painted = ClipTest::PaintNumber(number, c_Size, c_Size);
    double error = 0;
    for (std::size_t i = 0; i < painted.size(); ++i) {
        error += std::abs(painted[i] - image.rgba[i]);
    }
    EXPECT_LT(error / static_cast<double>(painted.size()), 6);
}

/// Vertices of the numbered sheet have their place in their texture coordinates; the loader has v upwards.
void ExpectSheet(const aiMesh& mesh, int number, bool hasNormals) {
    ASSERT_EQ(mesh.mNumFaces, 198u);
    ASSERT_NE(mesh.mTextureCoords[0], nullptr);
    for (unsigned i = 0; i < mesh.mNumVertices; ++i) {
        const aiVector3D p = mesh.mVertices[i];
        const aiVector3D t = mesh.mTextureCoords[0][i];
        EXPECT_NEAR(p.x, static_cast<float>(number) + 0.2f * t.x, 0.003f);
        EXPECT_NEAR(p.y, 1 - t.y, 0.003f);
        EXPECT_NEAR(p.z, 0, 0.003f);
        if (hasNormals) {
            EXPECT_NEAR(mesh.mNormals[i].x, 0.6f, 0.01f);
            EXPECT_NEAR(mesh.mNormals[i].z, 0.8f, 0.01f);
        }
    }
    for (unsigned i = 0; i < mesh.mNumFaces; ++i) {
        const unsigned* const v = mesh.mFaces[i].mIndices;
        const aiVector3D a = mesh.mVertices[v[1]] - mesh.mVertices[v[0]];
        const aiVector3D b = mesh.mVertices[v[2]] - mesh.mVertices[v[0]];
        EXPECT_GT((a ^ b).z, 0) << "face " << i << " is turned over";
    }
    EXPECT_EQ(mesh.HasNormals(), hasNormals);
}

TEST_F(ExportCommand, EveryFormatHoldsMeshAndTextureAndCanBeEncodedAgain) {
    for (const bool hasNormals : {false, true}) {
        ClipTest::ClipRecipe recipe;
        recipe.frameCount = 5;
        recipe.storeNormals = hasNormals;
        ClipTest::MakeClip(m_Clip, recipe);
        for (const std::string format : {"obj", "ply", "glb"}) {
            SCOPED_TRACE(format + (hasNormals ? " with normals" : ""));
            std::filesystem::remove_all(m_Frames);
            const ToolResult exported = Export("--format " + format);
            ASSERT_EQ(exported.status, 0) << exported.err;
            EXPECT_EQ(FilesIn(m_Frames).size(), format == "obj" ? 15u : format == "ply" ? 10u : 5u);
            for (int number = 0; number < 5; ++number) {
                Assimp::Importer importer;
                const aiScene* const scene =
                    importer.ReadFile(FrameFile(number, format), aiProcess_JoinIdenticalVertices);
                ASSERT_NE(scene, nullptr) << importer.GetErrorString();
                ASSERT_EQ(scene->mNumMeshes, 1u);
                ExpectSheet(*scene->mMeshes[0], number, hasNormals);
                ExpectPicture(TextureOf(*scene, m_Frames), number);
            }
            const std::string again = m_Folder / "again.mp4";
            const ToolResult encoded = RunNimb("encode " + m_Frames + " -y -o " + again);
            ASSERT_EQ(encoded.status, 0) << encoded.err;
            const ToolResult verified = RunNimb("verify " + again);
            EXPECT_EQ(verified.out, "ok, 5 frames\n") << verified.err;
        }
    }
}

TEST_F(ExportCommand, StripsAndSubMeshesBecomeTriangles) {
    Nimb::Authoring::FrameEncoder encoder;
    Nimb::Authoring::KeyFrameOptions strips;
    strips.indices = Nimb::Authoring::IndexCoding::Strips2;
    const Nimb::Authoring::EncodedFrame strip = encoder.KeyFrame(ClipTest::MakeNumberedMesh(0), strips);
    ClipTest::WriteClip(m_Clip, {strip, ClipTest::EncodeTemporal(encoder, 1, false)});
    ASSERT_EQ(Export("--format ply").status, 0);
    Assimp::Importer importer;
    ExpectSheet(*importer.ReadFile(FrameFile(0, "ply"), 0)->mMeshes[0], 0, false);
    const aiMesh& merged = *importer.ReadFile(FrameFile(1, "ply"), 0)->mMeshes[0];
    EXPECT_EQ(merged.mNumFaces, 198u + 24u);
    EXPECT_EQ(merged.mNumVertices, 140u);
}

TEST_F(ExportCommand, ARangeIsThatRangeAndOtherFilesAreLeftAlone) {
    ClipTest::MakeClip(m_Clip, {});
    ASSERT_EQ(Export("--format glb --first 7 --last 9").status, 0);
    EXPECT_EQ(FilesIn(m_Frames), (std::vector<std::string>{"frame_0007.glb", "frame_0008.glb", "frame_0009.glb"}));
    Assimp::Importer importer;
    ExpectSheet(*importer.ReadFile(FrameFile(9, "glb"), aiProcess_JoinIdenticalVertices)->mMeshes[0], 9, false);

    WriteText(FrameFile(8, "glb"), "mine");
    EXPECT_EQ(Export("--format glb --first 6 --last 8").status, 2);
    EXPECT_EQ(FilesIn(m_Frames).size(), 3u);
    EXPECT_EQ(ReadFile(FrameFile(8, "glb")).size(), 4u);
    EXPECT_EQ(Export("--format glb --first 6 --last 8 -y").status, 0);
    EXPECT_GT(ReadFile(FrameFile(8, "glb")).size(), 1000u);

    EXPECT_EQ(Export("--format glb --first 9 --last 7").status, 2);
    EXPECT_EQ(Export("--format stl").status, 2);
    const ToolResult beyond = Export("--format glb --first 30");
    EXPECT_EQ(beyond.status, 2);
    EXPECT_NE(beyond.err.find("30 frames"), std::string::npos) << beyond.err;
}

TEST_F(ExportCommand, FailuresLeaveNoHalfFrameAndSayWhatIsWrong) {
    ClipTest::ClipRecipe recipe;
    recipe.frameCount = 6;
    recipe.delta = std::nullopt;
    recipe.damage = [](int number, Nimb::Authoring::Bytes& mesh) {
        if (number == 2) {
            mesh.resize(50);
        } else if (number == 4) {
            mesh.clear();
        }
    };
    ClipTest::MakeClip(m_Clip, recipe);
    const ToolResult damaged = Export("--format ply");
    EXPECT_EQ(damaged.status, 1);
    EXPECT_NE(damaged.err.find("frame 2, byte "), std::string::npos) << damaged.err;
    EXPECT_NE(damaged.err.find("frame 4, byte "), std::string::npos) << damaged.err;
    EXPECT_EQ(FilesIn(m_Frames).size(), 8u);

    // Pictures fit, meshes do not.
    std::filesystem::remove_all(m_Frames);
    const ToolResult full = Export("--format obj", "trap '' XFSZ; ulimit -f 4;");
    EXPECT_EQ(full.status, 4) << full.err;
    EXPECT_NE(full.err.find("File too large"), std::string::npos) << full.err;
    EXPECT_EQ(FilesIn(m_Frames), std::vector<std::string>());

    WriteText(m_Folder / "file", "");
    EXPECT_EQ(RunNimb("export " + m_Clip + " " + (m_Folder / "file") + " --format obj").status, 4);
    EXPECT_EQ(RunNimb("export " + m_Clip + " " + (m_Folder / "file/frames") + " --format obj").status, 4);
    EXPECT_EQ(RunNimb("export " + (m_Folder / "none.mp4") + " " + m_Frames + " --format obj").status, 3);
}

}  // namespace
}  // namespace ToolTest
