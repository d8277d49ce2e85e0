// `nimb remux`: what editors leave of a clip becomes a clip again, with the same samples. Samples are looked at with
// the ffmpeg tool.
#include "Tests/Tools/ToolTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <sstream>

namespace ToolTest {
namespace {

using Json = nlohmann::json;
using Lines = std::vector<std::string>;

/// Playback can begin at frames 0, 10 and 20.
ClipTest::ClipRecipe Recipe() {
    ClipTest::ClipRecipe recipe;
    recipe.pictureKeyInterval = 1;
    recipe.meshKeyInterval = 10;
    recipe.audioSeconds = 1;
    return recipe;
}

class RemuxCommand : public testing::Test {
protected:
    void SetUp() override { ClipTest::MakeClip(m_Clip, Recipe()); }

    void Ffmpeg(const std::string& arguments) {
        const auto result = RunCommand("cd " + (m_Folder / "") + " && ffmpeg -nostdin -v error -y " + arguments);
        ASSERT_EQ(result.status, 0) << arguments << ": " << result.output;
    }

    /// The checksum of every sample of a track ('v', 'a') as the file stores it; none without such a track.
    Lines Samples(const std::string& path, char track) {
        const bool isMatroska = path.find(".mkv") != std::string::npos;
        const auto result =
            RunCommand("ffmpeg -nostdin -v error " + std::string(isMatroska ? "" : "-ignore_editlist 1") + " -i " +
                       path + (track == 'v' ? " -an" : " -vn") + " -c copy -f framemd5 - | grep -v '^#'");
        Lines samples;
        std::istringstream lines(result.output);
        for (std::string line; std::getline(lines, line);) {
            samples.push_back(line.substr(line.rfind(' ') + 1));
        }
        return samples;
    }

    Json Info(const std::string& path) { return Json::parse(RunNimb("info --json " + path).out); }

    std::string Remux(const std::string& arguments, int status = 0) {
        const ToolResult result = RunNimb("remux -y " + arguments + " -o " + m_Out);
        EXPECT_EQ(result.status, status) << arguments << ": " << result.err;
        return result.out + result.err;
    }

    void ExpectRefusal(const std::string& arguments, int status, const std::string& text) {
        const std::vector<std::string> before = FilesIn(m_Folder / "");
        const ToolResult result = RunNimb("remux " + arguments);
        EXPECT_EQ(result.status, status) << arguments << ": " << result.err;
        EXPECT_NE(result.err.find(text), std::string::npos) << arguments << ": " << result.err;
        EXPECT_EQ(FilesIn(m_Folder / ""), before) << arguments;
    }

    /// Seconds at which the sound of a clip begins to be heard.
    double FirstSound(const std::string& path) {
        const std::string raw = m_Folder / "raw";
        Ffmpeg("-i " + path + " -f s16le -ac 1 -ar 48000 " + raw);
        const std::vector<unsigned char> bytes = ReadFile(raw);
        std::size_t at = 0;
        while (at + 1 < bytes.size() && std::abs(static_cast<std::int16_t>(bytes[at] | bytes[at + 1] << 8)) < 2000) {
            at += 2;
        }
        return static_cast<double>(at) / 2 / 48000;
    }

    const TemporaryFolder m_Folder;
    const std::string m_Clip = m_Folder / "clip.mp4";
    const std::string m_Out = m_Folder / "out.mp4";
};

Lines Slice(const Lines& lines, std::size_t first, std::size_t end) {
    return {lines.begin() + static_cast<std::ptrdiff_t>(first), lines.begin() + static_cast<std::ptrdiff_t>(end)};
}

TEST_F(RemuxCommand, WhatFfmpegMakesOfAClipPlaysAgainWithTheSameSamples) {
    WriteText(m_Folder / "list", "file 'clip.mp4'\nfile 'clip.mp4'\n");
    const struct {
        std::string arguments, file;
        std::size_t frames;
    } ways[] = {{"-i clip.mp4 -c copy", "copy.mp4", 30},
                {"-i clip.mp4 -c copy -movflags faststart", "fast.mp4", 30},
                {"-i clip.mp4 -c copy -movflags frag_keyframe+empty_moov+default_base_moof", "fragments.mp4", 30},
                {"-i clip.mp4 -c copy", "matroska.mkv", 30},
                {"-i matroska.mkv -c copy", "back.mp4", 30},
                {"-ss 0.34 -i clip.mp4 -c copy", "cut.mp4", 20},
                {"-f concat -i list -c copy", "joined.mp4", 60},
                {"-i clip.mp4 -an -c copy", "silent.mp4", 30},
                {"-i clip.mp4 -c copy", "quicktime.mov", 30}};
    const Json original = Info(m_Clip)["attributes"];
    for (const auto& way : ways) {
        SCOPED_TRACE(way.arguments + " " + way.file);
        Ffmpeg(way.arguments + " " + way.file);
        const std::string edited = m_Folder / way.file;
        Remux(edited);
        EXPECT_EQ(RunNimb("verify " + m_Out).out, "ok, " + std::to_string(way.frames) + " frames\n");
        EXPECT_EQ(Samples(m_Out, 'v'), Samples(edited, 'v'));
        EXPECT_EQ(Samples(m_Out, 'v').size(), way.frames);
        if (way.frames == 30) {
            EXPECT_EQ(Samples(m_Out, 'v'), Samples(m_Clip, 'v'));
            EXPECT_EQ(Samples(m_Out, 'a'), way.file == "silent.mp4" ? Lines() : Samples(m_Clip, 'a'));
            Json attributes = Info(m_Out)["attributes"];
            attributes["offset"] = original["offset"];
            EXPECT_EQ(attributes, original);
        }
        if (way.frames == 30 && way.file != "fragments.mp4") {
            continue;  // the same samples play alike
        }
        const ToolResult played = RunNimb("play -y --size 64x64 --record " + (m_Folder / "record.mp4") + " " + m_Out);
        EXPECT_EQ(played.status, 0) << played.err;
        EXPECT_EQ(played.err.find("remux"), std::string::npos) << played.err;
    }
    // The times, too: not even the rounding of Matroska stays.
    Remux("--no-audio " + m_Clip);
    const std::vector<unsigned char> silent = ReadFile(m_Out);
    Remux("--no-audio " + (m_Folder / "matroska.mkv"));
    EXPECT_TRUE(ReadFile(m_Out) == silent);
}

TEST_F(RemuxCommand, AttributesThatATaggerHidesAreFoundAgain) {
    ClipTest::ClipRecipe recipe = Recipe();
    recipe.audioSeconds = 0;  // the nominal bit rate of sound would not come back
    ClipTest::MakeClip(m_Clip, recipe);
    const std::string tagged = m_Folder / "tagged.mp4";
    std::vector<unsigned char> bytes = ReadFile(m_Clip);
    const unsigned char box[] = {0, 0, 1, 124, 'f', 'r', 'e', 'e'};
    bytes.insert(bytes.end(), std::begin(box), std::end(box));
    bytes.resize(ReadFile(m_Clip).size() + 380);
    ClipTest::WriteFile(tagged, bytes);

    for (const std::string command : {"verify ", "info "}) {
        EXPECT_NE(RunNimb(command + tagged).out.find("nimb remux"), std::string::npos) << command;
    }
    const std::string play = "play -y --size 64x64 --background '#123456' --snapshot ";
    const ToolResult played = RunNimb(play + (m_Folder / "tagged.png") + " " + tagged);
    EXPECT_EQ(played.status, 0) << played.err;
    EXPECT_EQ(std::count(played.err.begin(), played.err.end(), '\n'), 1) << played.err;
    EXPECT_NE(played.err.find("nimb remux"), std::string::npos) << played.err;
    RunNimb(play + (m_Folder / "clip.png") + " " + m_Clip);
    EXPECT_TRUE(ReadFile(m_Folder / "tagged.png") == ReadFile(m_Folder / "clip.png"));

    Remux(tagged);
    EXPECT_TRUE(ReadFile(m_Out) == ReadFile(m_Clip));
}

TEST_F(RemuxCommand, CutsAtKeyFramesAndJoins) {
    const Lines frames = Samples(m_Clip, 'v');
    EXPECT_NE(Remux("--first 13 --last 24 " + m_Clip).find("frames 10 to 24"), std::string::npos);
    EXPECT_EQ(Samples(m_Out, 'v'), Slice(frames, 10, 25));
    EXPECT_EQ(RunNimb("verify " + m_Out).out, "ok, 15 frames\n");
    EXPECT_EQ(Info(m_Out)["attributes"]["frames"], 15);
    EXPECT_NEAR(Info(m_Out)["attributes"]["box"]["min"][0], 10, 0.01);  // meshes move with their numbers

    ClipTest::ClipRecipe everyMeshIsKey = Recipe();
    everyMeshIsKey.delta.reset();
    everyMeshIsKey.pictureKeyInterval = 12;
    const std::string keys = m_Folder / "keys.mp4";
    ClipTest::MakeClip(keys, everyMeshIsKey);
    const Json pictures = Json::parse(RunNimb("info --json --frames " + keys).out)["frames"];
    std::size_t start = 13;
    while (!pictures[start]["keyPicture"].get<bool>()) {
        --start;
    }
    EXPECT_NE(Remux("--first 13 " + keys).find("frames " + std::to_string(start) + " to 29"), std::string::npos);

    ClipTest::ClipRecipe other = Recipe();
    other.meshColumns = 20;
    other.storeNormals = true;
    const std::string second = m_Folder / "second.mp4";
    ClipTest::MakeClip(second, other);
    Lines both = Slice(frames, 20, 30);
    const Lines more = Samples(second, 'v');
    both.insert(both.end(), more.begin(), more.end());
    Remux("--first 20 " + m_Clip + " " + second);
    EXPECT_EQ(Samples(m_Out, 'v'), both);
    EXPECT_EQ(RunNimb("verify " + m_Out).out, "ok, 40 frames\n");
    const Json info = Info(m_Out);
    EXPECT_EQ(info["attributes"]["maxVertices"], 200);
    EXPECT_EQ(info["attributes"]["normals"], true);
    EXPECT_NEAR(info["tracks"][0]["frameRate"], 30, 1e-6);
    EXPECT_NEAR(info["tracks"][1]["seconds"], 40.0 / 30, 0.03);
}

TEST_F(RemuxCommand, WhatCannotBeIsRefusedAndLeavesNothing) {
    const std::string to = " -o " + m_Out;
    const auto make = [&](const std::string& name, const std::function<void(ClipTest::ClipRecipe&)>& change) {
        ClipTest::ClipRecipe recipe = Recipe();
        change(recipe);
        ClipTest::MakeClip(m_Folder / name, recipe);
        return m_Folder / name;
    };
    const std::string wide = make("wide.mp4", [](auto& recipe) { recipe.width = 96; });
    const std::string slow = make("slow.mp4", [](auto& recipe) { recipe.frameRate = 25; });
    const std::string bare = make("bare.mp4", [](auto& recipe) { recipe.damage = [](int, auto& m) { m.clear(); }; });
    const std::string late = make("late.mp4", [](auto& recipe) {
        recipe.damage = [](int i, auto& m) {
            if (i == 0) {
                m.clear();
            }
        };
    });
    Ffmpeg("-i clip.mp4 -c:v mpeg4 mpeg4.mp4");
    ExpectRefusal(m_Clip + " " + wide + to, 3, "its pictures are 96 x 64, the other's 64 x 64");
    ExpectRefusal(m_Clip + " " + slow + to, 3, "encoded with different settings");
    ExpectRefusal(m_Clip + " " + late + to, 3, "begin at frame 10: nimb remux --first 10 " + late);
    ExpectRefusal(bare + to, 3, "no frame has a mesh");
    ExpectRefusal((m_Folder / "mpeg4.mp4") + to, 3, "its pictures are mpeg4, not H.264");
    ExpectRefusal(m_Clip + " --first 30" + to, 2, "there is no frame 30");
    ExpectRefusal(m_Clip + " -y -o " + m_Clip, 2, "is also an input");
    ExpectRefusal(m_Clip + " --audio " + (m_Folder / "none.wav") + to, 3, "none.wav");
    const std::vector<std::string> before = FilesIn(m_Folder / "");
    EXPECT_EQ(RunNimb("remux " + m_Clip + to, "ulimit -f 8;").status, 4);
    EXPECT_EQ(FilesIn(m_Folder / ""), before);
}

TEST_F(RemuxCommand, FramesWithoutAMeshStayAndAreNamed) {
    ClipTest::ClipRecipe recipe = Recipe();
    recipe.damage = [](int number, Nimb::Authoring::Bytes& mesh) {
        if (number < 2) {
            mesh.clear();
        } else if (number == 12) {
            mesh.resize(40);
        }
    };
    ClipTest::MakeClip(m_Clip, recipe);
    const std::string said = Remux(m_Clip, 1);
    for (const char* text : {"frames 0 to 1", "it has no mesh", "frame 12 is kept as it is", "--first 10"}) {
        EXPECT_NE(said.find(text), std::string::npos) << text << ": " << said;
    }
    EXPECT_EQ(Samples(m_Out, 'v'), Samples(m_Clip, 'v'));
}

TEST_F(RemuxCommand, SoundIsReplacedRemovedAndStaysInStep) {
    Ffmpeg("-f lavfi -i \"aevalsrc=if(gt(t\\,0.6)\\,0.5*sin(6000*t)\\,0):s=44100:d=1\" beep.wav");
    Remux("--audio " + (m_Folder / "beep.wav") + " " + m_Clip);
    EXPECT_EQ(RunNimb("verify " + m_Out).out, "ok, 30 frames\n");
    EXPECT_EQ(Samples(m_Out, 'v'), Samples(m_Clip, 'v'));
    EXPECT_NEAR(FirstSound(m_Out), 0.6, 0.015);

    Ffmpeg("-i out.mp4 -c copy beep.mp4");
    Ffmpeg("-i out.mp4 -c:v copy -c:a flac beep.mkv");
    const std::string silent = m_Folder / "silent.mp4";
    EXPECT_EQ(RunNimb("remux --no-audio " + m_Clip + " -o " + silent).status, 0);
    EXPECT_EQ(Samples(silent, 'a'), Lines());

    const std::string beep = m_Folder / "beep.mp4", flac = m_Folder / "beep.mkv";
    const struct {
        std::string arguments;
        double seconds;
        bool isEncoded;
    } cases[] = {{"--first 10 " + beep, 0.6 - 10 / 30.0, false},
                 {silent + " " + beep, 1.6, true},
                 {flac, 0.6, true},
                 {"--first 10 " + flac, 0.6 - 10 / 30.0, true}};
    for (const auto& item : cases) {
        SCOPED_TRACE(item.arguments);
        EXPECT_EQ(Remux(item.arguments).find("is encoded again") != std::string::npos, item.isEncoded);
        EXPECT_EQ(Info(m_Out)["tracks"][1]["codec"], "aac");
        EXPECT_NEAR(FirstSound(m_Out), item.seconds, 0.015);
    }
}

}  // namespace
}  // namespace ToolTest
