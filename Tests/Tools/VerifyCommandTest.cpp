// `nimb verify`: silent about sound clips, and each fault with its name, frame and byte.
#include "Clip/Read/ClipInspection.h"
#include "Tests/Support/CounterFrame.h"
#include "Tests/Support/DecodedClip.h"
#include "Tests/Tools/ToolTest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>

namespace ToolTest {
namespace {

using Nimb::Authoring::Bytes;
using Nimb::Authoring::EncodedFrame;
using Nimb::Authoring::FrameEncoder;
using Json = nlohmann::json;

struct Expected {
    std::string kind;
    int frame;         // -1: of the file
    std::string text;  // that is part of the message
};

class VerifyCommand : public testing::Test {
protected:
    const TemporaryFolder m_Folder;
    const std::string m_Clip = m_Folder / "clip.mp4";
    const std::string m_Bad = m_Folder / "bad.mp4";

    std::string MakeBad(const ClipTest::ClipRecipe& recipe) {
        ClipTest::MakeClip(m_Bad, recipe);
        return m_Bad;
    }
    std::string MakeBad(std::vector<unsigned char> bytes) {
        ClipTest::WriteFile(m_Bad, bytes);
        return m_Bad;
    }
    std::string MakeBad(const std::vector<EncodedFrame>& frames) {
        ClipTest::WriteClip(m_Bad, frames);
        return m_Bad;
    }
    /// The clip through the ffmpeg program.
    std::string Convert(const std::string& options) {
        EXPECT_EQ(RunCommand("ffmpeg -v error -y -i " + m_Clip + " " + options + " " + m_Bad).status, 0);
        return m_Bad;
    }

    Json Verify(const std::string& path) {
        const ToolResult result = RunNimb("verify --json " + path);
        EXPECT_EQ(result.err, "");
        const Json json = Json::parse(result.out);
        EXPECT_EQ(result.status, json["problems"].empty() ? 0 : 1);
        EXPECT_EQ(json["ok"], json["problems"].empty());
        return json["problems"];
    }

    /// Exactly these problems, in any order. Those of frames are in the mesh unit, or at it if it is missing or
    /// what is wrong is in the picture.
    void Expect(const std::string& path, const std::vector<Expected>& expected) {
        const Json problems = Verify(path);
        EXPECT_EQ(problems.size(), expected.size()) << problems.dump(1);
        for (const Expected& e : expected) {
            EXPECT_TRUE(std::any_of(problems.begin(), problems.end(),
                                    [&](const Json& problem) {
                                        return problem["kind"] == e.kind &&
                                               (e.frame < 0 ? problem["frame"].is_null()
                                                            : problem["frame"] == e.frame) &&
                                               problem["text"].get<std::string>().find(e.text) != std::string::npos;
                                    }))
                << e.kind << ", frame " << e.frame << ", " << e.text << "\nin " << problems.dump(1);
        }
    }
};

ClipTest::ClipRecipe Recipe(int frames) {
    ClipTest::ClipRecipe recipe;
    recipe.frameCount = frames;
    return recipe;
}

std::vector<EncodedFrame> KeyFrames(int count, const Nimb::Authoring::KeyFrameOptions& options = {}) {
    FrameEncoder encoder;
    std::vector<EncodedFrame> frames;
    for (int i = 0; i < count; ++i) {
        frames.push_back(encoder.KeyFrame(ClipTest::MakeNumberedMesh(i), options));
    }
    return frames;
}

void PutFloat(Bytes& frame, std::size_t offset, float value) {
    std::memcpy(&frame.at(offset), &value, sizeof(value));
}

TEST_F(VerifyCommand, GoodClipsOfEveryCodingHaveNoProblem) {
    using Nimb::Authoring::DeltaCoding;
    using Nimb::Authoring::IndexCoding;
    ClipTest::ClipRecipe recipe = Recipe(12);
    recipe.audioSeconds = 0.4;
    recipe.storeNormals = true;
    for (const auto delta : {DeltaCoding::Quantised, DeltaCoding::Plain, DeltaCoding::Golomb, DeltaCoding::Transform,
                             DeltaCoding::Huffman}) {
        recipe.delta = delta;
        ClipTest::MakeClip(m_Clip, recipe);
        EXPECT_EQ(RunNimb("verify " + m_Clip).out, "ok, 12 frames\n") << static_cast<int>(delta);
    }
    for (const auto indices : {IndexCoding::List1, IndexCoding::List2, IndexCoding::Strips1, IndexCoding::Strips2}) {
        Nimb::Authoring::KeyFrameOptions options;
        options.indices = indices;
        EXPECT_EQ(Verify(MakeBad(KeyFrames(3, options))), Json::array()) << static_cast<int>(indices);
    }
    FrameEncoder encoder;
    Expect(MakeBad({ClipTest::EncodeTemporal(encoder, 0, false), ClipTest::EncodeTemporal(encoder, 1, true)}), {});
}

TEST_F(VerifyCommand, DamagedMeshesAreNamedWithFrameAndByte) {
    ClipTest::ClipRecipe recipe = Recipe(24);  // key frames 0, 8, 16
    recipe.delta = Nimb::Authoring::DeltaCoding::Plain;
    recipe.damage = [](int number, Bytes& mesh) {
        if (number == 3) {
            mesh.clear();
        } else if (number == 5) {
            mesh.resize(mesh.size() - 10);
        } else if (number == 16) {
            mesh[2] = 3;  // a header version that there is not
        } else if (number == 20) {
            mesh.push_back(0);
        }
    };
    const Json problems = Verify(MakeBad(recipe));
    const std::vector<std::size_t> offsets = MeshOffsets(ReadFile(m_Bad));
    const auto meshOf = [&](std::size_t frame) { return offsets[frame < 3 ? frame : frame - 1]; };
    Expect(m_Bad, {{"mesh-missing", 3, "no mesh"},
                   {"mesh-damaged", 5, "numBytes == bytesRead"},
                   {"mesh-undefined", 6, "2 delta frames build on the damaged frame 5"},
                   {"mesh-damaged", 16, "Unknown old format encountered"},
                   {"mesh-undefined", 17, "7 delta frames build on the damaged frame 16"},
                   {"mesh-damaged", 20, "1 bytes are left over after the mesh"}});
    for (const Json& problem : problems) {
        if (problem["frame"] != 3) {
            EXPECT_EQ(problem["offset"], meshOf(problem["frame"])) << problem;
        }
    }

    FrameEncoder encoder;
    encoder.KeyFrame(ClipTest::MakeNumberedMesh(0));
    const EncodedFrame delta = encoder.DeltaFrame(ClipTest::MakeNumberedMesh(1));
    Expect(MakeBad({delta, KeyFrames(2)[1]}), {{"mesh-key-missing", 0, "has had no key frame"}});

    // A key frame of fewer indices that fails at its index section: what follows has the indices of the one before.
    EncodedFrame half = KeyFrames(2)[1];
    half.bytes[3] = 9;      // an index version that there is not
    half.bytes[36] = 0x4F;  // 591 indices instead of 594
    Expect(MakeBad({KeyFrames(1)[0], half, delta}), {{"mesh-damaged", 1, "Unexpected file version"},
                                                     {"mesh-undefined", 2, "1 delta frames"},
                                                     {"mesh-counts", 2, "says 591 indices, but its buffer holds 594"}});
}

TEST_F(VerifyCommand, MeshesThatDecodeToNonsenseAreNamed) {
    constexpr std::size_t boxMin = 4, boxMax = 16;  // in the frame header
    std::vector<EncodedFrame> frames = KeyFrames(6, [] {
        Nimb::Authoring::KeyFrameOptions options;
        options.indices = Nimb::Authoring::IndexCoding::List1;
        return options;
    }());
    PutFloat(frames[1].bytes, boxMax + 8, -1.0f);                                    // z from 0 to -1
    PutFloat(frames[2].bytes, boxMin + 4, std::numeric_limits<float>::quiet_NaN());  // y
    PutFloat(frames[3].bytes, boxMax, 100.0f);                                       // beyond the file's
    std::fill(frames[4].bytes.end() - 4, frames[4].bytes.end(), BYTE{1});            // the last index
    Expect(MakeBad(frames), {{"box-invalid", 1, "z from 0 to -1"},
                             {"box-invalid", 2, "y from nan"},
                             {"not-a-number", 2, "120 of 120 vertices have positions that"},
                             {"attributes-box", 3, "to 100, not within x from 0 to 5.19999981"},
                             {"index-range", 4, "1 of 594 indices are out of range; index 593 is 16843009"}});

    std::vector<EncodedFrame> numbered;
    for (const UINT32 id : {7u, 8u, 8u, 0u}) {
        Nimb::Authoring::KeyFrameOptions options;
        if (id != 0) {
            options.frameId = id;
        }
        numbered.push_back(KeyFrames(1, options)[0]);
    }
    Expect(MakeBad(numbered), {{"frame-id", 2, "frame id 8 follows frame id 8"}, {"frame-id", 3, "no frame id"}});

    FrameEncoder encoder;
    EncodedFrame temporal = ClipTest::EncodeTemporal(encoder, 0, false);
    PutFloat(temporal.bytes, boxMax, 0.1f);  // the sub-meshes reach to 0.2
    temporal.box.max.x = 0.2f;
    const Json problems = Verify(MakeBad({temporal}));
    ASSERT_EQ(problems.size(), 3u) << problems.dump(1);
    EXPECT_EQ(problems[0]["text"],
              "the frame's box does not hold that of sub-mesh 1 (x from 0 to 0.200000003, not "
              "within x from 0 to 0.100000001)");
}

TEST_F(VerifyCommand, AtomsThatDoNotFitAreNamed) {
    ClipTest::MakeClip(m_Clip, Recipe(4));
    const std::vector<unsigned char> good = ReadFile(m_Clip);
    const std::string text(good.begin(), good.end());
    constexpr std::size_t valueInEntry = 50;  // from its name
    const auto edited = [&](const char* name, std::size_t offset, unsigned char byte) {
        std::vector<unsigned char> bytes = good;
        bytes.at(text.rfind(name) + offset) = byte;
        return bytes;
    };
    Expect(MakeBad(edited("{36B53E4E", valueInEntry, 9)), {{"attributes-count", -1, "9 frames, but the file has 4"}});
    Expect(MakeBad(edited("{A5E5F089", valueInEntry, 119)), {{"attributes-maximum", 0, "120 vertices"},
                                                             {"attributes-maximum", 1, "at most 119"},
                                                             {"attributes-maximum", 2, "120 vertices"},
                                                             {"attributes-maximum", 3, "120 vertices"}});
    Expect(MakeBad(edited("{DE7A5734", valueInEntry, 1)), {{"attributes-normals", -1, "no frame stores any"}});
    Expect(MakeBad(edited("{A5E5F089", 1, 'a')),
           {{"attributes-missing", -1, "couldn't find attribute for guid {A5E5F089"}});
    Expect(MakeBad(edited("Xtra", 0, 'x')), {{"attributes-missing", -1, "didn't find Xtra atom"}});
    Expect(MakeBad(std::vector<unsigned char>(good.begin(), good.end() - 100)),
           {{"file-damaged", -1, "the box 'Xtra'"}, {"attributes-missing", -1, ""}});
    EXPECT_EQ(Verify(MakeBad(edited("Xtra", 0, 'x')))[0]["offset"], good.size() - 1024);
}

TEST_F(VerifyCommand, SamplesThatAreDamagedAreNamed) {
    ClipTest::ClipRecipe recipe = Recipe(6);
    recipe.delta = Nimb::Authoring::DeltaCoding::Plain;
    ClipTest::MakeClip(m_Clip, recipe);
    const std::vector<unsigned char> good = ReadFile(m_Clip);
    const Json frame = Json::parse(RunNimb("info --json --frames " + m_Clip).out)["frames"][2];
    ASSERT_EQ(frame["meshOffset"], MeshOffsets(good)[2]);
    // The sample is the mesh unit and one slice, each with its length before it.
    const auto sample = static_cast<std::ptrdiff_t>(frame["offset"]);
    const auto mesh = static_cast<std::ptrdiff_t>(frame["meshOffset"]);
    const auto slice = sample + static_cast<std::ptrdiff_t>(frame["meshBytes"]);
    const auto end = slice + static_cast<std::ptrdiff_t>(frame["videoBytes"]);
    ASSERT_EQ(mesh, sample + 4);

    std::vector<unsigned char> bytes = good;
    std::rotate(bytes.begin() + sample, bytes.begin() + slice, bytes.begin() + end);
    Expect(MakeBad(bytes), {{"mesh-position", 2, "after a slice"}});

    bytes = good;
    bytes[static_cast<std::size_t>(mesh) + 9] += 12;  // low byte of the payload's size
    const Json overrun = Verify(MakeBad(bytes));
    ASSERT_FALSE(overrun.empty());
    EXPECT_EQ(overrun[0]["kind"], "mesh-damaged");
    EXPECT_NE(overrun[0]["text"].get<std::string>().find("reach beyond the unit"), std::string::npos) << overrun[0];

    bytes = good;
    bytes[static_cast<std::size_t>(mesh) + 13] = 0x80;  // the size becomes negative
    Expect(MakeBad(bytes), {{"mesh-damaged", 2, "the mesh unit cannot be read"}});

    bytes = good;
    bytes[static_cast<std::size_t>(slice) + 1] = 0xFF;  // the slice's length
    Expect(MakeBad(bytes), {{"sample-damaged", 2, "its NAL units do not fit into it"}});

    bytes = good;
    std::mt19937 random(1);
    std::generate(bytes.begin() + slice + 6, bytes.begin() + end, [&] { return static_cast<unsigned char>(random()); });
    const Json picture = Verify(MakeBad(bytes));
    ASSERT_FALSE(picture.empty());
    EXPECT_EQ(picture[0]["kind"], "picture-damaged");
    EXPECT_EQ(picture[0]["frame"], 2);
    EXPECT_EQ(picture[0]["offset"], sample);
}

TEST_F(VerifyCommand, TracksThatThePlayerCannotTakeAreNamed) {
    ClipTest::ClipRecipe recipe = Recipe(10);
    recipe.audioSeconds = 0.3;
    ClipTest::MakeClip(m_Clip, recipe);
    const Expected noAtom = {"attributes-missing", -1, "didn't find Xtra atom"};  // other writers drop it
    Expect(Convert("-map 0:1 -map 0:0 -c copy"),
           {{"track-layout", -1, "the video is track 1"}, {"track-layout", -1, "the audio is track 0"}, noAtom});
    Expect(Convert("-map 0:0 -map 0:1 -map 0:1 -c copy"), {{"track-layout", -1, "track 2 is another audio"}, noAtom});
    Expect(Convert("-c:v copy -c:a aac -ar 44100 -ac 1"),
           {{"audio-format", -1, "44100 samples a second and 1"}, noAtom});
    Expect(Convert("-c:v copy -c:a libmp3lame"), {{"audio-format", -1, "track 1 is mp3, not AAC"}, noAtom});

    const Json reordered = Verify(Convert("-an -c:v libx264 -bf 2 -x264-params b-adapt=0"));
    const auto isKind = [](const char* kind) {
        return [kind](const Json& problem) { return problem["kind"] == kind; };
    };
    EXPECT_EQ(std::count_if(reordered.begin(), reordered.end(), isKind("mesh-missing")), 10);
    const auto order = std::find_if(reordered.begin(), reordered.end(), isKind("sample-order"));
    ASSERT_NE(order, reordered.end());
    EXPECT_EQ((*order)["frame"], 2);
    const Json mpeg4 = Verify(Convert("-an -c:v mpeg4"));
    EXPECT_EQ(std::count_if(mpeg4.begin(), mpeg4.end(), isKind("video-codec")), 1);
}

TEST_F(VerifyCommand, CutFilesAreNamedOrNotOpened) {
    ClipTest::MakeClip(m_Clip, Recipe(10));
    const std::vector<unsigned char> fast = ReadFile(Convert("-c copy -movflags faststart"));
    const std::vector<unsigned char> good = ReadFile(m_Clip);
    const auto part = [](const std::vector<unsigned char>& bytes, std::size_t size) {
        return std::vector<unsigned char>(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
    };
    const Json cut = Verify(MakeBad(part(fast, fast.size() * 3 / 4)));
    EXPECT_TRUE(std::any_of(cut.begin(), cut.end(), [](const Json& problem) {
        return problem["kind"] == "file-damaged" &&
               problem["text"].get<std::string>().find(" of the 10 samples of track 0 can be read") !=
                   std::string::npos;
    })) << cut.dump(1);

    for (const auto& [bytes, reason] : {std::pair{part(good, good.size() / 2), "it has no 'moov' box"},
                                        {part(fast, 300), "ends inside its index"},
                                        {std::vector<unsigned char>(5000, 'x'), "it has no 'moov' box"},
                                        {std::vector<unsigned char>(), "it has no 'moov' box"}}) {
        const ToolResult result = RunNimb("verify " + MakeBad(bytes));
        EXPECT_EQ(result.status, 3);
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err.find(reason), std::string::npos) << result.err;
    }
    Convert("-c copy -movflags frag_keyframe+empty_moov");
    for (const std::string& command :
         {"verify " + m_Bad, "info --frames " + m_Bad, "export --format ply " + m_Bad + " frames"}) {
        const ToolResult fragments = RunNimb(command);
        EXPECT_EQ(fragments.status, 3) << command;
        EXPECT_EQ(fragments.out, "");
        EXPECT_NE(fragments.err.find(m_Bad + ": the file is fragmented; nimb remux makes one"), std::string::npos);
    }
    EXPECT_TRUE(Nimb::Authoring::FindAttributes(m_Bad)) << "players take fragments";
    EXPECT_EQ(RunNimb("verify " + (m_Folder / "missing.mp4")).status, 3);
    EXPECT_EQ(RunNimb("verify " + (m_Folder / "")).status, 3);
    EXPECT_EQ(RunNimb("verify").status, 2);
}

/// Whatever bytes change, the program says something and ends by itself.
TEST_F(VerifyCommand, ChangedBytesNeverCrash) {
    ClipTest::ClipRecipe recipe = Recipe(6);
    recipe.audioSeconds = 0.1;
    ClipTest::MakeClip(m_Clip, recipe);
    const std::vector<unsigned char> good = ReadFile(m_Clip);
    std::mt19937 random(7);
    for (int i = 0; i < 20; ++i) {
        std::vector<unsigned char> bytes = good;
        for (int k = 0; k < 8; ++k) {
            bytes[random() % bytes.size()] = static_cast<unsigned char>(random());
        }
        const ToolResult result = RunNimb("verify " + MakeBad(bytes));
        EXPECT_TRUE(result.status == 0 || result.status == 1 || result.status == 3) << result.status << result.err;
        EXPECT_FALSE(result.out.empty() && result.err.empty());
    }
}

}  // namespace
}  // namespace ToolTest
