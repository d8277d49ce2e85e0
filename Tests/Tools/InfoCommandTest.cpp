// `nimb info`: what it says of a clip is what went into it.
#include "Authoring/Source/ImageFile.h"
#include "Tests/Support/DecodedClip.h"
#include "Tests/Tools/ToolTest.h"

#include <gtest/gtest.h>

#include <array>
#include <nlohmann/json.hpp>
#include <set>

namespace ToolTest {
namespace {

using Json = nlohmann::json;

class InfoCommand : public testing::Test {
protected:
    const TemporaryFolder m_Folder;
    const std::string m_Clip = m_Folder / "clip.mp4";
};

TEST_F(InfoCommand, NumbersAddUpAndAreThoseOfTheFile) {
    ClipTest::ClipRecipe recipe;
    recipe.frameCount = 20;
    recipe.delta = Nimb::Authoring::DeltaCoding::Golomb;
    recipe.storeNormals = true;
    recipe.audioSeconds = 0.5;
    std::vector<std::size_t> meshBytes;
    recipe.damage = [&](int number, Nimb::Authoring::Bytes& mesh) {
        if (number == 11) {
            mesh.clear();
        } else if (number == 13) {
            mesh.resize(40);
        }
        meshBytes.push_back(mesh.size());
    };
    ClipTest::MakeClip(m_Clip, recipe);
    const std::vector<unsigned char> file = ReadFile(m_Clip);
    const ToolResult result = RunNimb("info --json --frames " + m_Clip);
    ASSERT_EQ(result.status, 0) << result.err;
    const Json json = Json::parse(result.out);

    EXPECT_EQ(json["tracks"][0]["codec"], "h264");
    EXPECT_EQ(json["tracks"][0]["width"], 64);
    EXPECT_NEAR(json["tracks"][0]["frameRate"], 30, 1e-6);
    EXPECT_EQ(json["tracks"][1]["sampleRate"], 48000);
    EXPECT_EQ(json["attributes"]["frames"], 20);
    EXPECT_EQ(json["attributes"]["normals"], true);

    EXPECT_EQ(json["frames"][0]["keyPicture"], true);
    std::size_t sum = 0;
    std::size_t found = 0;
    for (std::size_t i = 0; i < 20; ++i) {
        const Json& frame = json["frames"][i];
        SCOPED_TRACE(frame.dump(1));
        EXPECT_EQ(frame["kind"], i == 11 ? "empty" : i == 13 ? "damaged" : i % 8 == 0 ? "key" : "delta");
        EXPECT_NEAR(frame["seconds"], static_cast<double>(i) / 30, 1e-4);
        sum += frame["meshBytes"].get<std::size_t>() + frame["videoBytes"].get<std::size_t>();
        if (i != 11) {
            EXPECT_EQ(frame["meshOffset"], MeshOffsets(file)[found++]);
            EXPECT_GE(frame["meshBytes"], meshBytes[i] + 35);  // the unit's own bytes
            EXPECT_LE(frame["meshBytes"], meshBytes[i] + meshBytes[i] / 10 + 36);
        }
        if (i != 11 && i != 13) {
            const Json& part = frame["parts"][0];
            EXPECT_EQ(part["vertexCoding"], i % 8 == 0 ? "records" : "Golomb");
            EXPECT_EQ(part["indexCoding"], i % 8 == 0 ? Json("EdgeBreaker") : Json());
            EXPECT_EQ(frame["vertices"], 120);
            EXPECT_EQ(frame["faces"], 198);
            const std::size_t header = i % 8 == 0 ? 40 : 28;
            EXPECT_EQ(part["vertexBytes"].get<std::size_t>() + part["normalBytes"].get<std::size_t>() +
                          part["indexBytes"].get<std::size_t>() + header,
                      meshBytes[i]);
            EXPECT_NEAR(frame["box"]["min"][0], static_cast<double>(i), 0.01);
        }
    }
    const Json& summary = json["summary"];
    const Json& bytes = summary["bytes"];
    EXPECT_EQ(sum, bytes["mesh"].get<std::size_t>() + bytes["video"].get<std::size_t>());
    EXPECT_EQ(sum + bytes["audio"].get<std::size_t>() + bytes["overhead"].get<std::size_t>(), file.size());
    EXPECT_GT(bytes["audio"], 1000);
    EXPECT_EQ(summary["kinds"]["key"]["frames"], 3);
    EXPECT_EQ(summary["kinds"]["delta"]["frames"], 15);
    EXPECT_EQ(summary["vertexCodings"]["Golomb"]["frames"], 15);
    EXPECT_EQ(summary["maxIndices"], 594);

    const std::string text = RunNimb("info --frames " + m_Clip).out;
    for (const char* words : {"20 frames", "Golomb", "EdgeBreaker", "bits of mesh", "64 x 64", "48000 Hz", "damaged"}) {
        EXPECT_NE(text.find(words), std::string::npos) << words;
    }
}

TEST_F(InfoCommand, TemporalFramesListTheirSubMeshes) {
    Nimb::Authoring::FrameEncoder encoder;
    ClipTest::WriteClip(m_Clip,
                        {ClipTest::EncodeTemporal(encoder, 0, false), ClipTest::EncodeTemporal(encoder, 1, true)});
    const Json frames = Json::parse(RunNimb("info --json --frames " + m_Clip).out)["frames"];
    for (const Json& frame : frames) {
        EXPECT_EQ(frame["kind"], "temporal");
        EXPECT_EQ(frame["vertices"], 140);
        ASSERT_EQ(frame["parts"].size(), 2u);
        EXPECT_EQ(frame["parts"][1]["subMesh"], 2);
        EXPECT_EQ(frame["parts"][1]["vertices"], 20);
    }
    EXPECT_EQ(frames[0]["parts"][0]["kind"], "key");
    EXPECT_EQ(frames[1]["parts"][0]["vertexCoding"], "plain");
}

TEST_F(InfoCommand, DecodingIsTimedForEveryFrameThatDecodes) {
    ClipTest::ClipRecipe recipe;
    recipe.damage = [](int number, Nimb::Authoring::Bytes& mesh) {
        mesh.resize(number == 11 ? 0 : number == 13 ? 40 : mesh.size());
    };
    ClipTest::MakeClip(m_Clip, recipe);
    const Json json = Json::parse(RunNimb("info --json --decode " + m_Clip).out)["decode"];
    const Json& all = json["all"];
    double sum = 0, slowest = 0;
    for (std::size_t i = 0; i < 30; ++i) {
        const Json& frame = json["frames"][i];
        EXPECT_EQ(frame["time"].is_null(), i == 11 || i == 13) << frame;
        EXPECT_EQ(frame.contains("problem"), i == 11 || i == 13) << frame;
        sum += frame["time"].is_null() ? 0 : frame["time"].get<double>();
        slowest = std::max(slowest, frame["time"].is_null() ? 0 : frame["time"].get<double>());
    }
    EXPECT_EQ(json["frames"].size(), 30u);
    EXPECT_EQ(all["frames"], 28);
    EXPECT_NEAR(all["mean"], sum / 28, 1e-9);
    EXPECT_EQ(all["slowest"], slowest);
    EXPECT_EQ(json["frames"][all["slowestFrame"].get<std::size_t>()]["time"], slowest);
    EXPECT_LE(all["median"], all["percentile99"]);
    const Json &key = json["kinds"]["key"], &delta = json["kinds"]["delta"];
    EXPECT_EQ(key["frames"], 4);
    EXPECT_EQ(delta["frames"], 24);
    EXPECT_EQ(key["bytes"].get<int>() + delta["bytes"].get<int>(), all["bytes"]);

    const std::string text = RunNimb("info --decode " + m_Clip).out;
    for (const char* words :
         {"one thread", "32 bytes a vertex", "not decoded      2 frames", "  delta           24 "}) {
        EXPECT_NE(text.find(words), std::string::npos) << words << text;
    }
}

TEST_F(InfoCommand, ThePlotShowsEveryKindAndIsNotOverwritten) {
    ClipTest::ClipRecipe recipe;
    recipe.damage = [](int number, Nimb::Authoring::Bytes& mesh) {
        if (number == 4) {
            mesh.clear();
        }
    };
    ClipTest::MakeClip(m_Clip, recipe);
    const std::string plot = m_Folder / "plot.png";
    ASSERT_EQ(RunNimb("info --plot " + plot + " " + m_Clip).status, 0);
    const Nimb::Authoring::Image image = Nimb::Authoring::ReadImage(plot);
    std::set<std::array<BYTE, 3>> colours;
    for (std::size_t i = 0; i < image.rgba.size(); i += 4) {
        colours.insert({image.rgba[i], image.rgba[i + 1], image.rgba[i + 2]});
    }
    EXPECT_EQ(colours.size(), 7u);  // paper, ink, grid, key, delta, video, no mesh

    const std::vector<unsigned char> before = ReadFile(plot);
    EXPECT_EQ(RunNimb("info --plot " + plot + " " + m_Clip).status, 2);
    EXPECT_EQ(RunNimb("info -y --plot " + plot + " " + m_Clip).status, 0);
    EXPECT_EQ(ReadFile(plot), before);
    EXPECT_EQ(RunNimb("info --plot " + (m_Folder / "nowhere/plot.png") + " " + m_Clip).status, 4);
    const ToolResult noClip = RunNimb("info " + plot);
    EXPECT_EQ(noClip.status, 3);
    EXPECT_NE(noClip.err.find(plot + ": not an MP4 file"), std::string::npos) << noClip.err;
}

}  // namespace
}  // namespace ToolTest
