// `nimb encode` as a user meets it: files in, a clip or a message out.
#include "Authoring/Source/ImageFile.h"
#include "Tests/Support/DecodedClip.h"
#include "Tests/Tools/ToolTest.h"

#include <gtest/gtest.h>

#include <sys/types.h>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <future>
#include <nlohmann/json.hpp>

namespace ToolTest {
namespace {

using Json = nlohmann::json;

/// A sequence of OBJ files frame_0.obj, ... with a texture.
class EncodeCommand : public testing::Test {
protected:
    void WriteSequence(int frames) {
        for (int frame = 0; frame < frames; ++frame) {
            WriteFrame(frame, ObjText(frame));
        }
        WriteText(folder / "body.mtl", "newmtl body\nmap_Kd body.png\n");
        WriteTexture("body.png", 64);
    }

    void WriteFrame(int frame, const std::string& text) {
        WriteText(folder / ("frame_" + std::to_string(frame) + ".obj"), text);
    }

    void WriteTexture(const std::string& name, std::size_t size) {
        Nimb::Authoring::Image image(size, size);
        NimbTest::Random random(1);
        for (BYTE& value : image.rgba) {
            value = static_cast<BYTE>(random.Next());
        }
        for (std::size_t i = 3; i < image.rgba.size(); i += 4) {
            image.rgba[i] = 255;
        }
        Nimb::Authoring::WritePng(folder / name, image);
    }

    /// A square that rises.
    static std::string ObjText(int frame) {
        const std::string y = std::to_string(frame * 0.01);
        return "mtllib body.mtl\nusemtl body\nv 0 " + y + " 0\nv 1 " + y + " 0\nv 1 " + y + " 1\nv 0 " + y +
               " 1\nvt 0 0\nvt 1 0\nvt 1 1\nvt 0 1\nf 1/1 2/2 3/3\nf 1/1 3/3 4/4\n";
    }

    ToolResult Encode(const std::string& options = "", const std::string& before = "") {
        return RunNimb("encode '" + (folder / "frame_%d.obj") + "' -o " + (folder / "clip.mp4") + " " + options,
                       before);
    }

    /// The status, all of the texts in the message, and no trace of an output.
    void ExpectFailure(const ToolResult& result, int status, const std::vector<std::string>& texts) {
        EXPECT_EQ(result.status, status) << result.err;
        for (const std::string& text : texts) {
            EXPECT_NE(result.err.find(text), std::string::npos) << "'" << text << "' in: " << result.err;
        }
        EXPECT_EQ(result.out, "");
        for (const std::string& name : FilesIn(folder / "")) {
            EXPECT_EQ(name.find("clip"), std::string::npos) << name;
        }
    }

    TemporaryFolder folder;
};

TEST_F(EncodeCommand, EveryCodingMakesAClipAndTheSummarySaysWhat) {
    WriteSequence(6);
    const char* const codings[][2] = {
        {"auto", "auto"},       {"plain", "list1"},  {"golomb", "list2"},  {"transform", "edgebreaker"},
        {"huffman", "strips1"}, {"none", "strips2"}, {"quantised", "auto"}};
    for (const auto& [delta, index] : codings) {
        const ToolResult result =
            Encode(std::string("-y --fps 25 --preset ultrafast --delta ") + delta + " --index " + index);
        ASSERT_EQ(result.status, 0) << delta << ": " << result.err;
        EXPECT_EQ(result.err, "");
        const bool keys = std::strcmp(delta, "none") == 0;
        for (const char* const text :
             {keys ? "6 frames (6 key)" : "6 frames (1 key)", "25 frames/s", "4 vertices, 2 faces, "}) {
            EXPECT_NE(result.out.find(text), std::string::npos) << result.out;
        }
        const DecodedClip clip = DecodeClip(folder / "clip.mp4", 64, 64, folder / "");
        ASSERT_EQ(clip.meshes.size(), 6u);
        ASSERT_EQ(clip.pictures.size(), 6u);
        EXPECT_NEAR(NimbTest::PositionOf(clip.meshes[5], 0, c_RecordBytes).y, 0.05, 2e-4) << delta;
    }
}

TEST_F(EncodeCommand, SoundIsCutAndPaddedToTheClip) {
    WriteSequence(25);
    for (const double seconds : {0.4, 3.0}) {
        ASSERT_EQ(RunCommand("ffmpeg -v error -y -f lavfi -i sine=frequency=1000:sample_rate=44100:duration=" +
                             std::to_string(seconds) + " -ac 1 " + (folder / "tone.flac"))
                      .status,
                  0);
        const ToolResult result =
            Encode("-y --fps 25 --preset ultrafast --audio " + (folder / "tone.flac") + " --audio-start 0.1");
        ASSERT_EQ(result.status, 0) << result.err;
        ASSERT_EQ(RunCommand("ffmpeg -v error -y -i " + (folder / "clip.mp4") + " -f f32le " + (folder / "pcm")).status,
                  0);
        const std::vector<unsigned char> bytes = ReadFile(folder / "pcm");
        std::vector<float> samples(bytes.size() / sizeof(float));
        std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
        EXPECT_NEAR(static_cast<double>(samples.size()) / 2 / 48000, 1.0, 0.03);
        const auto loudness = [&samples](double from, double to) {
            double sum = 0;
            const auto begin = static_cast<std::size_t>(from * 48000) * 2,
                       end = static_cast<std::size_t>(to * 48000) * 2;
            for (std::size_t i = begin; i < end; ++i) {
                sum += std::abs(samples.at(i));
            }
            return sum / static_cast<double>(end - begin);
        };
        EXPECT_GT(loudness(0.02, 0.28), 0.05);
        if (seconds < 1) {
            EXPECT_LT(loudness(0.35, 0.95), 0.001) << "silence behind the end of the sound";
        } else {
            EXPECT_GT(loudness(0.35, 0.95), 0.05);
        }
    }
}

TEST_F(EncodeCommand, FilesNamedOneByOneAreASequenceInNaturalOrder) {
    WriteSequence(12);
    for (int frame = 0; frame < 12; ++frame) {
        WriteTexture("tex" + std::to_string(frame) + ".png", 32);
    }
    const std::string files = (folder / "frame_*.obj") + " --texture " + (folder / "tex*.png");
    const ToolResult result = RunNimb("encode " + files + " --preset ultrafast -o " + (folder / "clip.mp4"));
    ASSERT_EQ(result.status, 0) << result.err;
    const DecodedClip clip = DecodeClip(folder / "clip.mp4", 32, 32, folder / "");
    ASSERT_EQ(clip.meshes.size(), 12u);
    for (std::size_t frame = 0; frame < 12; ++frame) {
        EXPECT_NEAR(NimbTest::PositionOf(clip.meshes[frame], 0, c_RecordBytes).y, 0.01 * static_cast<double>(frame),
                    2e-4);
    }
    std::remove((folder / "clip.mp4").c_str());
    std::remove((folder / "frame_7.obj").c_str());
    ExpectFailure(RunNimb("encode " + files + " -o " + (folder / "clip.mp4")), 3, {"frame 7 is missing"});
    ExpectFailure(RunNimb("encode " + (folder / "tex*.png") + " -o " + (folder / "clip.mp4")), 2, {"--texture"});
}

TEST_F(EncodeCommand, NumbersAreThoseOfInfoAndADryRunWritesNothing) {
    WriteSequence(6);
    const std::string clip = folder / "clip.mp4";
    const ToolResult dry = Encode("--dry-run --json");
    EXPECT_EQ(dry.status, 0) << dry.err;
    EXPECT_NE(RunNimb("encode --dry-run " + (folder / "frame_*.obj")).out.find("6 frames"), std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(clip));

    const Json json = Json::parse(Encode("--json").out), info = Json::parse(RunNimb("info --json " + clip).out);
    for (const auto& [name, value] : info.items()) {
        EXPECT_EQ(json[name], value) << name;
    }
    EXPECT_LE(json["error"]["max"], json["error"]["limit"]);
    EXPECT_EQ(json["keyFrames"], Json::parse(R"([{"frame": 0, "reason": "first"}])"));
    EXPECT_EQ(Json::parse(dry.out)["keyFrames"], json["keyFrames"]);
    EXPECT_EQ(Json::parse(dry.out)["frames"], info["summary"]["frames"]);
    EXPECT_EQ(Json::parse(dry.out)["box"], info["summary"]["box"]);
    EXPECT_EQ(Json::parse(dry.out)["error"]["limit"], json["error"]["limit"]);
    const std::string text = Encode("-y").out, infoText = RunNimb("info " + clip).out;
    const std::string shared = text.substr(0, text.find("key frames  "));
    EXPECT_EQ(infoText.substr(0, shared.size()), shared);
    EXPECT_EQ(Encode("-y -q").out, "");
    const std::string longest = folder / (std::string(251, 'x') + ".mp4");
    EXPECT_EQ(RunNimb("encode -q " + (folder / "frame_*.obj") + " -o " + longest).err, "");

    std::remove(clip.c_str());
    for (int frame = 0; frame < 6; ++frame) {
        WriteTexture("tex" + std::to_string(frame) + ".png", frame == 4 ? 32 : 64);
    }
    ExpectFailure(Encode("--dry-run --texture '" + (folder / "tex%d.png") + "'"), 3, {"tex4.png"});
}

TEST_F(EncodeCommand, NoFileThatIsReadIsReplaced) {
    namespace fs = std::filesystem;
    WriteSequence(3);
    WriteTexture("other.png", 64);
    ASSERT_EQ(RunCommand("ffmpeg -v error -f lavfi -i sine=duration=0.1 " + (folder / "sound.mp4")).status, 0);
    for (const std::string input : {"frame_1.obj", "body.mtl", "body.png", "other.png", "sound.mp4"}) {
        const std::vector<unsigned char> before = ReadFile(folder / input);
        for (const bool isHard : {false, true}) {
            isHard ? fs::create_hard_link(folder / input, folder / "out.mp4")
                   : fs::create_symlink(input, folder / "out.mp4");
            const ToolResult result = RunNimb(
                "encode '" + (folder / "frame_%d.obj") + "' -y -o " + (folder / "out.mp4") +
                (input[0] == 'o' ? " --texture " + (folder / input) : "") + " --audio " + (folder / "sound.mp4"));
            EXPECT_EQ(result.status, 2) << input << ": " << result.err;
            EXPECT_NE(result.err.find("is also an input (" + (folder / input)), std::string::npos) << result.err;
            EXPECT_EQ(ReadFile(folder / input), before);
            fs::remove(folder / "out.mp4");
        }
    }
    ExpectFailure(RunNimb("encode " + (folder / "frame_0.obj") + " --audio " + (folder / "sound.mp4") + " -y -o " +
                          (folder / "./sound.mp4")),
                  2, {"is also an input"});
}

TEST_F(EncodeCommand, BadInputIsNamed) {
    const std::string obj = ObjText(2);
    const auto with = [&](const std::string& from, const std::string& to) {
        std::string text = obj;
        return text.replace(text.find(from), from.size(), to);
    };
    WriteSequence(4);
    WriteFrame(2, with("f 1/1 2/2 3/3", "f 1/1 2/2 9/3"));
    ExpectFailure(Encode(), 3, {"frame_2.obj", "11"});
    WriteFrame(2, with("v 1 ", "v one "));
    ExpectFailure(Encode(), 3, {"frame_2.obj", "4"});
    WriteFrame(2, with("v 1 ", "v nan "));
    ExpectFailure(Encode(), 3, {"frame_2.obj"});
    WriteFrame(2, with("f 1/1 2/2 3/3", "f 1 2 3"));
    ExpectFailure(Encode(), 3, {"frame_2.obj", "texture coordinates"});
    ASSERT_EQ(std::remove((folder / "frame_2.obj").c_str()), 0);
    ExpectFailure(Encode(), 3, {"frame_", "2"});
    WriteFrame(2, obj);
    for (const char* const name : {"tex0.png", "tex1.png", "tex3.png"}) {
        WriteTexture(name, 64);
    }
    const std::string pictures = "--texture '" + (folder / "tex*.png") + "'";
    ExpectFailure(Encode(pictures), 3, {"tex"});
    WriteTexture("tex2.png", 32);
    ExpectFailure(Encode(pictures), 3, {"frame_2.obj", "32x32", "64x64"});
    ASSERT_EQ(std::remove((folder / "body.png").c_str()), 0);
    ExpectFailure(Encode(), 3, {"body.png", "--texture"});
    WriteTexture("body.png", 64);
    ExpectFailure(Encode("--audio " + (folder / "body.mtl")), 3, {"body.mtl"});
    ExpectFailure(Encode("--audio " + (folder / "body.png")), 3, {"body.png: has no sound"});
    ExpectFailure(RunNimb("encode " + (folder / "nothing.glb") + " -o " + (folder / "clip.mp4")), 3, {"nothing.glb"});
}

TEST_F(EncodeCommand, WhatIsDroppedIsAWarningAndStrictMakesItAnError) {
    WriteSequence(3);
    ASSERT_EQ(RunCommand("ffmpeg -v error -y -f lavfi -i sine=frequency=1000:sample_rate=44100:duration=0.5 " +
                         (folder / "tone.flac"))
                  .status,
              0);
    const std::string late = "--preset ultrafast --audio " + (folder / "tone.flac") + " --audio-start 2 ";
    ExpectFailure(Encode(late + "--strict"), 3, {"tone.flac: the sound ends before --audio-start 2", "--strict"});
    std::string far = ObjText(1);
    for (std::size_t at = 0; (at = far.find("\nv ", at)) != std::string::npos; at += 3) {
        far.replace(at, 3, "\nv 3000");
    }
    for (int frame = 0; frame < 3; ++frame) {
        WriteFrame(frame, far);
    }
    const ToolResult result = Encode(late);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 2) << result.err;
    EXPECT_NE(result.err.find("usual error limit of 0.000141; the limit is 0.00"), std::string::npos) << result.err;
    EXPECT_EQ(Encode("-y --preset ultrafast --max-error 0.02 --strict").err, "") << "asked for";
}

TEST_F(EncodeCommand, WrongUsageIsRefused) {
    WriteSequence(2);
    ExpectFailure(Encode("--delta best"), 2, {"--delta"});
    ExpectFailure(Encode("--max-error 0.0000001"), 2, {"which allows 1."});
    ExpectFailure(Encode("--index strips1 --normals"), 2, {"strip"});
    ExpectFailure(Encode("--atlas-size 31"), 2, {"even"});
    ExpectFailure(Encode("--atlas-size 64x"), 2, {"--atlas-size 64x"});
    ExpectFailure(Encode("--quality 20 --bitrate 500"), 2, {"--quality"});
    ExpectFailure(RunNimb("encode " + (folder / "frame_0.obj")), 2, {"-o is missing"});
    WriteText(folder / "old.mp4", "old");
    ExpectFailure(RunNimb("encode " + (folder / "frame_0.obj") + " -o " + (folder / "old.mp4")), 2, {"-y"});
    EXPECT_EQ(ReadFile(folder / "old.mp4").size(), 3u);
}

TEST_F(EncodeCommand, WhatCannotBeWrittenIsAnErrorAndLeavesNothing) {
    WriteSequence(12);
    ExpectFailure(RunNimb("encode " + (folder / "frame_0.obj") + " -o " + (folder / "nowhere/clip.mp4")), 4,
                  {"nowhere"});
    ExpectFailure(RunNimb("encode " + (folder / "frame_0.obj") + " -o /proc/clip.mp4"), 4, {"/proc/clip.mp4"});
    ASSERT_EQ(Encode("--preset ultrafast").status, 0);
    const std::size_t size = ReadFile(folder / "clip.mp4").size();
    ASSERT_EQ(std::remove((folder / "clip.mp4").c_str()), 0);
    // The disk fills up at any place, up to the last bytes of the file.
    const std::size_t blocks = size / 512;
    for (const std::size_t limit : {std::size_t{1}, blocks / 2, blocks - 2, blocks - 1, blocks}) {
        ExpectFailure(Encode("--preset ultrafast", "ulimit -f " + std::to_string(limit) + ";"), 4, {"clip.mp4"});
    }
}

TEST_F(EncodeCommand, AnInterruptedRunLeavesNothing) {
    WriteSequence(60);
    WriteTexture("body.png", 2048);
    std::future<ToolResult> run = std::async(std::launch::async, [this] { return Encode("--preset veryslow -j 1"); });
    // Its temporary file ends in its process id, and is there once it encodes.
    const std::string sign = "clip.mp4.part";
    pid_t tool = 0;
    while (tool == 0 && run.wait_for(std::chrono::milliseconds(1)) == std::future_status::timeout) {
        for (const std::string& name : FilesIn(folder / "")) {
            tool = name.rfind(sign, 0) == 0 ? std::stoi(name.substr(sign.size())) : tool;
        }
    }
    ASSERT_GT(tool, 0) << run.get().err;
    // Again and again, as an impatient user does; a shell in the background would have it ignore SIGINT.
    do {
        kill(tool, SIGTERM);
    } while (run.wait_for(std::chrono::milliseconds(100)) == std::future_status::timeout);
    ExpectFailure(run.get(), 143, {"interrupted"});
}

}  // namespace
}  // namespace ToolTest
