// Clips that many make together: `nimb plan`, `nimb encode --job`, `nimb join`, and `nimb encode --resume`.
#include "Authoring/Source/ImageFile.h"
#include "Tests/Support/Meshes.h"
#include "Tests/Tools/ToolTest.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

namespace ToolTest {
namespace {

namespace fs = std::filesystem;

constexpr int c_Frames = 42;
constexpr int c_Segments = 7;

#ifdef NIMB_SANITIZED
constexpr int c_Kills = 4;
#else
constexpr int c_Kills = 20;
#endif

/// A rippling sheet with another picture in every frame, and a tone.
class Job : public testing::Test {
protected:
    static void SetUpTestSuite() {
        s_Folder = std::make_unique<TemporaryFolder>();
        for (int frame = 0; frame < c_Frames; ++frame) {
            WriteText(Path("sheet_" + std::to_string(frame) + ".obj"), ObjText(frame));
            WriteTexture(frame);
        }
        ASSERT_EQ(RunCommand("ffmpeg -v error -f lavfi -i sine=440:duration=3 '" + Path("tone.wav") + "'").status, 0);
        ASSERT_EQ(RunNimb("encode " + Input() + " -q -j1 -o " + Path("one.mp4")).status, 0);
    }
    static void TearDownTestSuite() { s_Folder.reset(); }

    static std::string Path(const std::string& name) { return *s_Folder / name; }
    static std::string Input() {
        return "'" + Path("sheet_%d.obj") + "' --texture '" + Path("look_%d.png") + "' --audio " + Path("tone.wav") +
               " --key-interval 6 --segment-frames 6 --preset ultrafast";
    }

    static std::string ObjText(int frame) {
        constexpr int side = 9;
        std::string text;
        for (int i = 0; i < side * side; ++i) {
            const double x = i % side, z = i / side;
            text += "v " + std::to_string(x) + " " + std::to_string(std::sin(x + z * 0.5 + frame * 0.3)) + " " +
                    std::to_string(z) + "\nvt " + std::to_string(x / (side - 1)) + " " +
                    std::to_string(z / (side - 1)) + "\n";
        }
        for (int i = 1; i < side * side - side; ++i) {
            if (i % side != 0) {
                const auto corner = [](int vertex) {
                    return std::to_string(vertex) + "/" + std::to_string(vertex) + " ";
                };
                text += "f " + corner(i) + corner(i + 1) + corner(i + side) + "\nf " + corner(i + 1) +
                        corner(i + side + 1) + corner(i + side) + "\n";
            }
        }
        return text;
    }

    static void WriteTexture(int frame) {
        constexpr std::size_t side = 64;
        Nimb::Authoring::Image image(side, side);
        for (std::size_t i = 0; i < side * side; ++i) {
            const double wave = std::sin(static_cast<double>(i % side + static_cast<std::size_t>(frame)) * 0.3) *
                                std::cos(static_cast<double>(i / side) * 0.2);
            image.rgba[i * 4] = static_cast<BYTE>(std::lround(128 + 100 * wave));
            image.rgba[i * 4 + 1] = static_cast<BYTE>(i * 37 % (frame < 12 ? 256 : 32));
            image.rgba[i * 4 + 3] = 255;
        }
        Nimb::Authoring::WritePng(Path("look_" + std::to_string(frame) + ".png"), image);
    }

    /// Plans `folder` anew.
    static void Plan(const std::string& folder, const std::string& options = "") {
        const ToolResult result = RunNimb("plan " + Input() + " -y -o " + folder + " " + options);
        ASSERT_EQ(result.status, 0) << result.err;
    }
    static void Encode(const std::string& folder, const std::string& segments) {
        const ToolResult result = RunNimb("encode --job " + folder + " --segments " + segments);
        ASSERT_EQ(result.status, 0) << result.err;
    }
    static ToolResult Join(const std::string& folder, const std::string& clip) {
        return RunNimb("join " + folder + " -q -y -o " + clip);
    }
    static void ExpectTheClip(const std::string& clip) {
        EXPECT_TRUE(ReadFile(clip) == ReadFile(Path("one.mp4"))) << clip << " is not the clip of one run";
    }
    static std::string Segment(const std::string& folder, int segment) {
        return folder + "/segments/0000" + std::to_string(segment) + ".segment";
    }

    static std::unique_ptr<TemporaryFolder> s_Folder;
};
std::unique_ptr<TemporaryFolder> Job::s_Folder;

TEST_F(Job, TheClipIsTheSameHoweverTheWorkIsShared) {
    ASSERT_EQ(RunNimb("encode " + Input() + " -q -j3 -o " + Path("threads.mp4")).status, 0);
    ExpectTheClip(Path("threads.mp4"));
    const std::vector<std::string> shards[] = {
        {"0-6"}, {"4-6", "0-3"}, {"5,6", "0,4", "1-3"}, {"6", "3", "0", "5", "2", "4", "1"}};
    for (const std::vector<std::string>& shares : shards) {
        SCOPED_TRACE(shares.size());
        Plan(Path("job"));
        EXPECT_EQ(Join(Path("job"), Path("early.mp4")).status, 3);
        // Each at the same time as the one before, which they share a segment with.
        std::vector<std::future<ToolResult>> workers;
        for (std::size_t i = 0; i < shares.size(); ++i) {
            const std::string also = i > 0 ? "," + shares[i - 1] : "";
            workers.push_back(std::async(std::launch::async, [&, i, also] {
                return RunNimb("encode --job " + Path("job") + " --segments " + shares[i] + also + " -q -j" +
                               std::to_string(i % 2 + 1));
            }));
        }
        for (std::future<ToolResult>& worker : workers) {
            const ToolResult result = worker.get();
            EXPECT_EQ(result.status, 0) << result.err;
        }
        auto other = std::async(std::launch::async, [] { return Join(Path("job"), Path("joined.mp4")); });
        EXPECT_EQ(Join(Path("job"), Path("joined.mp4")).status, 0);
        EXPECT_EQ(other.get().status, 0);
        ExpectTheClip(Path("joined.mp4"));
    }
    EXPECT_FALSE(fs::exists(Path("early.mp4")));
}

TEST_F(Job, WhatWasKilledGoesOnWhereItWas) {
    const std::string clip = Path("killed.mp4"), folder = clip + ".job";
    const std::string run = "encode " + Input() + " --resume -q -j2 -o " + clip;
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(RunNimb(run).status, 0);
    const double whole = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_FALSE(fs::exists(folder));
    ExpectTheClip(clip);
    NimbTest::Random random(1);
    for (int kill = 0; kill < c_Kills; ++kill) {
        SCOPED_TRACE(kill);
        fs::remove(clip);
        const auto done = [&folder] {
            std::map<std::string, fs::file_time_type> files;
            for (int i = 0; i < c_Segments; ++i) {
                if (fs::exists(Segment(folder, i))) {
                    files[Segment(folder, i)] = fs::last_write_time(Segment(folder, i));
                }
            }
            return files;
        };
        const double after = whole * (random.Next() % 1000) / 1000;
        RunNimb(run, "timeout -s KILL " + std::to_string(after));
        const bool isPlanned = fs::exists(folder + "/plan.json");
        const auto before = done();
        if (isPlanned && kill % 2 == 0) {
            Encode(folder, "0-6");
            for (const auto& [file, time] : before) {
                EXPECT_EQ(fs::last_write_time(file), time) << file << " was encoded twice";
            }
        }
        const ToolResult result = RunNimb(run + (fs::exists(clip) ? " -y" : ""));
        ASSERT_EQ(result.status, 0) << result.err;
        ExpectTheClip(clip);
        EXPECT_FALSE(fs::exists(folder));
    }
}

/// Something that goes wrong with a job whose segments are all there, and what the message has to name.
struct Damage {
    std::function<void()> doIt;
    std::vector<std::string> texts;
};

TEST_F(Job, EveryDamageIsNamedAndNoneGetsIntoTheClip) {
    const std::string job = Path("damaged"), clip = Path("damaged.mp4");
    Plan(job);
    Encode(job, "0-6");
    Plan(Path("other"), "--quality 30");
    Encode(Path("other"), "3");
    const auto edit = [](const std::string& file, const std::function<void(std::vector<unsigned char>&)>& change) {
        std::vector<unsigned char> bytes = ReadFile(file);
        change(bytes);
        ClipTest::WriteFile(file, bytes);
    };
    const auto replace = [](const std::string& file, const std::string& from, const std::string& to) {
        const std::vector<unsigned char> bytes = ReadFile(file);
        std::string text(bytes.begin(), bytes.end());
        const std::size_t at = text.find(from);
        ASSERT_NE(at, std::string::npos) << from;
        WriteText(file, text.replace(at, from.size(), to));
    };
    std::vector<Damage> damages;
    NimbTest::Random random(1);
    for (int i = 0; i < 36; ++i) {
        const std::string file = Segment(job, i % c_Segments);
        const std::uint32_t place = random.Next();
        damages.push_back(
            {[=] { edit(file, [place](auto& bytes) { bytes[place % bytes.size()] ^= 1u << place % 8; }); }, {file}});
    }
    for (const std::size_t cut : {std::size_t{1}, std::size_t{40}, std::size_t{200}, std::size_t{5000}}) {
        damages.push_back({[=] {
                               edit(Segment(job, 2),
                                    [cut](auto& bytes) { bytes.resize(bytes.size() - std::min(cut, bytes.size())); });
                           },
                           {Segment(job, 2)}});
    }
    damages.push_back({[=] {
                           fs::remove(Segment(job, 1));
                           fs::remove(Segment(job, 2));
                           fs::remove(Segment(job, 5));
                       },
                       {"not encoded yet: 1 to 2, 5"}});
    damages.push_back({[=] { fs::copy_file(Segment(job, 4), Segment(job, 3), fs::copy_options::overwrite_existing); },
                       {Segment(job, 3), "is segment 4"}});
    damages.push_back(
        {[=] { fs::copy_file(Segment(Path("other"), 3), Segment(job, 3), fs::copy_options::overwrite_existing); },
         {Segment(job, 3), "another plan"}});
    damages.push_back(
        {[=] { replace(job + "/plan.json", "\"quality\": 20", "\"quality\": 21"); }, {"plan.json", "changed"}});
    damages.push_back({[=] { replace(job + "/plan.json", "libavcodec ", "libavcodec 1"); }, {"plan.json", "changed"}});
    damages.push_back({[=] { edit(job + "/plan.json", [](auto& bytes) { bytes.resize(bytes.size() / 2); }); },
                       {"plan.json", "damaged"}});
    damages.push_back({[=] { fs::remove(job + "/plan.json"); }, {"plan.json"}});
    // Inputs, which come back below.
    const std::vector<std::string> inputs = {"sheet_7.obj", "look_41.png", "tone.wav"};
    for (const std::string& name : inputs) {
        const std::string file = Path(name);
        damages.push_back({[=] { edit(file, [](auto& bytes) { bytes.back() ^= 1; }); }, {file, "has changed"}});
        damages.push_back({[=] { edit(file, [](auto& bytes) { bytes.push_back('\n'); }); }, {file, "has changed"}});
        damages.push_back({[=] { fs::remove(file); }, {file}});
    }
    ASSERT_GE(damages.size(), 50u);
    fs::copy(job, Path("good"), fs::copy_options::recursive);
    std::map<std::string, std::vector<unsigned char>> good;
    for (const std::string& name : inputs) {
        good[name] = ReadFile(Path(name));
    }
    for (std::size_t i = 0; i < damages.size(); ++i) {
        SCOPED_TRACE(i);
        damages[i].doIt();
        const ToolResult result = Join(job, clip);
        EXPECT_EQ(result.status, 3);
        for (const std::string& text : damages[i].texts) {
            EXPECT_NE(result.err.find(text), std::string::npos) << "'" << text << "' in: " << result.err;
        }
        EXPECT_FALSE(fs::exists(clip));
        fs::copy(Path("good"), job, fs::copy_options::recursive | fs::copy_options::overwrite_existing);
        for (const auto& [name, bytes] : good) {
            ClipTest::WriteFile(Path(name), bytes);
        }
    }
    EXPECT_EQ(Join(job, clip).status, 0);
    ExpectTheClip(clip);
    // Workers look, too: at what they read, and at damaged work, which they do again.
    edit(Segment(job, 2), [](auto& bytes) { bytes[9] ^= 1; });
    edit(Path("look_13.png"), [](auto& bytes) { bytes.back() ^= 1; });
    const ToolResult worker = RunNimb("encode --job " + job + " --segment 2");
    EXPECT_EQ(worker.status, 3);
    EXPECT_NE(worker.err.find("look_13.png: has changed"), std::string::npos) << worker.err;
    edit(Path("look_13.png"), [](auto& bytes) { bytes.back() ^= 1; });
    Encode(job, "2");
    EXPECT_EQ(Join(job, clip).status, 0);
    ExpectTheClip(clip);
}

TEST_F(Job, WrongUsageIsRefused) {
    Plan(Path("usage"));
    const auto expect = [](const std::string& arguments, int status, const std::string& text) {
        const ToolResult result = RunNimb(arguments);
        EXPECT_EQ(result.status, status) << arguments;
        EXPECT_NE(result.err.find(text), std::string::npos) << "'" << text << "' in: " << result.err;
    };
    const std::string encode = "encode --job " + Path("usage");
    expect(encode, 2, "--segment is missing");
    expect(encode + " --segment 7", 2, "they are 0 to 6");
    expect(encode + " --segments 3-", 2, "not numbers");
    expect(encode + " --segment 1 --quality 3", 2, "--quality cannot be given with --job");
    expect("encode --job " + Path("") + " --segment 1", 3, "not a job's folder");
    expect("plan " + Input() + " -o " + Path("usage"), 2, "has a plan already");
    expect("encode " + Input() + " --segment 1 -o " + Path("x.mp4"), 2, "--job is missing");
    expect("join " + Path("usage") + " -o " + Path("x.mov"), 2, "must end in .mp4");
}

TEST_F(Job, ABitRateIsKeptWhoeverEncodes) {
    for (const int kilobits : {150, 600}) {
        const std::string rate = " --bitrate " + std::to_string(kilobits);
        ASSERT_EQ(RunNimb("encode " + Input() + rate + " -y -q -o " + Path("rate.mp4")).status, 0);
        Plan(Path("rate"), rate);
        Encode(Path("rate"), "4-6");
        Encode(Path("rate"), "0-3");
        ASSERT_EQ(Join(Path("rate"), Path("shared.mp4")).status, 0);
        EXPECT_TRUE(ReadFile(Path("rate.mp4")) == ReadFile(Path("shared.mp4")));
        const auto info = nlohmann::json::parse(RunNimb("info --json " + Path("rate.mp4")).out);
        const double pictures = info["summary"]["bytes"]["video"].get<double>();
        EXPECT_NEAR(pictures * 8 / (c_Frames / 30.0) / 1000, kilobits, kilobits * 0.05);
    }
}

}  // namespace
}  // namespace ToolTest
