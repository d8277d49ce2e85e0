// `nimb play` on a clip in whose pictures everything can be told apart: sides, up and down, left and right, frames.
#include "Authoring/Frame/FrameEncoder.h"
#include "Authoring/Source/ImageFile.h"
#include "Clip/Read/ClipReader.h"
#include "Tests/Tools/ToolTest.h"
#include "Tools/nimb/ExitStatus.h"
#include "Tools/nimb/Viewer/ClipIndex.h"
#include "Tools/nimb/Viewer/ContactSheet.h"
#include "Tools/nimb/Viewer/Navigation.h"
#include "Tools/nimb/Viewer/Renderer.h"
#include "Tools/nimb/Viewer/Report.h"
#include "Tools/nimb/Viewer/Timeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>

namespace ToolTest {
namespace {

using Nimb::Authoring::Image;
using Nimb::Authoring::Mesh;
using Nimb::Authoring::Vec3;

constexpr int c_FrameCount = 20;
constexpr int c_CellSize = 64;  // of a side's picture in the texture

struct Side {
    const char* view;
    Vec3 left, right;  ///< lower corners as seen from outside, whose upper ones are at y = 1
    Nimb::Tool::Colour colour;
};
constexpr float c_H = 0.5f;
const Side c_Sides[] = {{"front", {-c_H, 0, c_H}, {c_H, 0, c_H}, {230, 30, 30, 255}},
                        {"right", {c_H, 0, c_H}, {c_H, 0, -c_H}, {30, 200, 30, 255}},
                        {"back", {c_H, 0, -c_H}, {-c_H, 0, -c_H}, {40, 60, 240, 255}},
                        {"left", {-c_H, 0, -c_H}, {-c_H, 0, c_H}, {220, 210, 20, 255}}};
constexpr std::size_t c_SideCount = std::size(c_Sides);

int LevelOf(int frame) {
    return 30 + frame * 10;
}

/// A cell for each side: its colour in the upper left quarter, half as bright to the right of that; the lower half is
/// grey and says which frame it is.
Image PaintTexture(int frame) {
    Image image(c_CellSize * c_SideCount, c_CellSize);
    for (std::size_t y = 0; y < image.height; ++y) {
        for (std::size_t x = 0; x < image.width; ++x) {
            const Nimb::Tool::Colour& colour = c_Sides[x / c_CellSize].colour;
            const bool isLeft = x % c_CellSize < c_CellSize / 2, isUpper = y < c_CellSize / 2;
            for (std::size_t i = 0; i < 3; ++i) {
                const int value = isUpper ? colour[i] / (isLeft ? 1 : 2) : LevelOf(frame);
                image.Pixel(x, y)[i] = static_cast<BYTE>(value);
            }
            image.Pixel(x, y)[3] = 255;
        }
    }
    return image;
}

/// Four walls of a cube that stands on the ground. `isInsideOut` turns the front's triangles around.
Mesh MakeWalls(bool isInsideOut) {
    Mesh mesh;
    for (std::size_t side = 0; side < c_SideCount; ++side) {
        const Vec3 &a = c_Sides[side].left, &b = c_Sides[side].right;
        const float u0 = static_cast<float>(side) / c_SideCount, u1 = static_cast<float>(side + 1) / c_SideCount;
        const auto first = static_cast<UINT32>(mesh.positions.size());
        mesh.positions.insert(mesh.positions.end(), {a, b, {b.x, 1, b.z}, {a.x, 1, a.z}});
        mesh.texCoords.insert(mesh.texCoords.end(), {{u0, 1}, {u1, 1}, {u1, 0}, {u0, 0}});
        if (isInsideOut && side == 0) {
            mesh.faces.insert(mesh.faces.end(), {{{first, first + 2, first + 1}}, {{first, first + 3, first + 2}}});
        } else {
            mesh.faces.insert(mesh.faces.end(), {{{first, first + 1, first + 2}}, {{first, first + 2, first + 3}}});
        }
    }
    return mesh;
}

struct CubeClip {
    bool isInsideOut = false;
    double audioSeconds = 0;
    std::function<void(int number, Nimb::Authoring::Bytes& mesh)> damage;
};

void MakeCubeClip(const std::string& path, const CubeClip& recipe = {}) {
    const Nimb::Authoring::EncodedFrame frame = Nimb::Authoring::FrameEncoder().KeyFrame(MakeWalls(recipe.isInsideOut));
    std::vector<Nimb::Authoring::EncodedFrame> frames(c_FrameCount, frame);
    for (int number = 0; recipe.damage && number < c_FrameCount; ++number) {
        recipe.damage(number, frames[static_cast<std::size_t>(number)].bytes);
    }
    ClipTest::ClipTracks tracks;
    tracks.video.width = c_CellSize * static_cast<int>(c_SideCount);
    tracks.video.quality = 5;
    tracks.paint = [](int number) { return PaintTexture(number).rgba; };
    tracks.audioSeconds = recipe.audioSeconds;
    ClipTest::WriteClip(path, frames, ClipTest::AttributesOf(frames), tracks);
}

void ExpectColour(const Image& image, std::size_t x, std::size_t y, const Nimb::Tool::Colour& expected, int tolerance) {
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_NEAR(image.Pixel(x, y)[i], expected[i], tolerance) << "channel " << i << " at " << x << ", " << y;
    }
}

/// What one wall looks like that is seen head on in the picture's middle.
void ExpectWall(const Image& image, std::size_t left, std::size_t top, std::size_t size, const Side& side, int frame) {
    const std::size_t low = size * 3 / 8, high = size * 5 / 8;  // well inside each quarter
    const Nimb::Tool::Colour& c = side.colour;
    const auto half = [](BYTE value) { return static_cast<BYTE>(value / 2); };
    const auto level = static_cast<BYTE>(LevelOf(frame));
    ExpectColour(image, left + low, top + low, c, 12);
    ExpectColour(image, left + high, top + low, {half(c[0]), half(c[1]), half(c[2]), 255}, 12);
    ExpectColour(image, left + low, top + high, {level, level, level, 255}, 4);
    ExpectColour(image, left + high, top + high, {level, level, level, 255}, 4);
}

std::filesystem::path PluginFile() {
    return std::filesystem::path(NIMB_TOOL_FILE).parent_path() / "../lib/nimb/libNimbUnityPluginML.so";
}

class PlayCommand : public testing::Test {
protected:
    static void SetUpTestSuite() { unsetenv("DISPLAY"); }

    static ToolResult Play(const std::string& arguments, const std::string& before = "") {
        return RunNimb("play " + arguments, before);
    }
    std::string Clip(const CubeClip& recipe = {}) const {
        MakeCubeClip(m_Clip, recipe);
        return m_Clip;
    }

    TemporaryFolder m_Folder;
    const std::string m_Clip = m_Folder / "clip.mp4";
    const std::string m_Output = m_Folder / "output";
};

TEST_F(PlayCommand, ContactSheetShowsEverySideOfEveryFrameTheRightWayUp) {
    const std::string output = m_Output + ".png";
    const ToolResult result =
        Play(Clip() + " --contact-sheet " + output + " --views front,right,back,left --columns 7 --cell 64x64");
    ASSERT_EQ(result.status, 0) << result.err;
    const Image sheet = Nimb::Authoring::ReadImage(output);
    const std::vector<int> frames = Nimb::Tool::SpreadFrames(c_FrameCount, 7);
    EXPECT_EQ(frames, (std::vector<int>{0, 3, 6, 10, 13, 16, 19}));
    const Nimb::Tool::ContactSheet layout(frames, std::vector<Nimb::Tool::View>(c_SideCount), 64, 64, 30);
    ASSERT_EQ(sheet.width, layout.Picture().width);
    for (std::size_t row = 0; row < c_SideCount; ++row) {
        for (std::size_t column = 0; column < frames.size(); ++column) {
            SCOPED_TRACE(std::string(c_Sides[row].view) + " of frame " + std::to_string(frames[column]));
            ExpectWall(sheet, layout.CellX(column), layout.CellY(row), 64, c_Sides[row], frames[column]);
        }
    }
}

TEST_F(PlayCommand, SnapshotIsOfTheMomentAskedFor) {
    const std::string output = m_Output + ".png", clip = Clip();
    const std::pair<const char*, int> moments[] = {{"", 10}, {"--at 0", 0}, {"--at 0.25s", 7}, {"--at 100%", 19}};
    for (const auto& [arguments, frame] : moments) {
        SCOPED_TRACE(arguments);
        const ToolResult result =
            Play(clip + " -y --size 96x96 --background none --snapshot " + output + " " + arguments);
        ASSERT_EQ(result.status, 0) << result.err;
        const Image image = Nimb::Authoring::ReadImage(output);
        ExpectWall(image, 0, 0, 96, c_Sides[0], frame);
        ExpectColour(image, 1, 1, {0, 0, 0, 0}, 0);
        std::size_t rim = 0;  // the wall's left edge, which covers its pixels in part
        while (image.Pixel(rim, 36)[3] == 0) {
            ++rim;
        }
        EXPECT_LT(image.Pixel(rim, 36)[3], 255);
        EXPECT_NEAR(image.Pixel(rim, 36)[0], c_Sides[0].colour[0], 12) << "dark rim";
    }
    EXPECT_EQ(Play(clip + " -y --at 20 --snapshot " + output).status, 2);
}

TEST_F(PlayCommand, WindingErrorsShowWhenAskedFor) {
    const std::string output = m_Output + ".png";
    CubeClip recipe;
    recipe.isInsideOut = true;
    const std::string common = Clip(recipe) + " -y --size 64x64 --at 0 --snapshot " + output + " --back-faces ";
    ASSERT_EQ(Play(common + "show").status, 0);
    ExpectWall(Nimb::Authoring::ReadImage(output), 0, 0, 64, c_Sides[0], 0);
    ASSERT_EQ(Play(common + "mark").status, 0);
    ExpectColour(Nimb::Authoring::ReadImage(output), 32, 32, {255, 0, 255, 255}, 0);
    ASSERT_EQ(Play(common + "cull --background '#102030'").status, 0);
    ExpectColour(Nimb::Authoring::ReadImage(output), 32, 32, {0x10, 0x20, 0x30, 255}, 0);
}

/// Grey levels of a recorded video, where the front wall says which frame it is.
std::vector<int> RecordedFrames(const std::string& path, std::size_t size, const std::string& folder) {
    const std::string pixels = folder + "/pixels.rgba";
    EXPECT_EQ(RunCommand("ffmpeg -v error -y -i " + path + " -f rawvideo -pix_fmt rgba " + pixels).status, 0);
    const std::vector<unsigned char> bytes = ReadFile(pixels);
    std::vector<int> frames;
    for (std::size_t at = (size * 5 / 8 * size + size / 2) * 4; at < bytes.size(); at += size * size * 4) {
        frames.push_back((bytes[at] - LevelOf(0) + 5) / 10);
    }
    return frames;
}

TEST_F(PlayCommand, RecordingHasEveryFrameOnceAndTheSound) {
    const std::string output = m_Output + ".mp4";
    CubeClip recipe;
    recipe.audioSeconds = 0.6;
    const ToolResult result = Play(Clip(recipe) + " --size 128x128 --record " + output);
    ASSERT_EQ(result.status, 0) << result.err;
    std::vector<int> expected;
    for (int number = 0; number < c_FrameCount; ++number) {
        expected.push_back(number);
    }
    EXPECT_EQ(RecordedFrames(output, 128, m_Folder / ""), expected);
    const Nimb::Authoring::ClipReader reader(output);
    ASSERT_EQ(reader.Tracks().size(), 2u);
    EXPECT_NEAR(reader.Tracks()[0].Rate(), 30, 0.01);
    EXPECT_NEAR(reader.Tracks()[1].seconds, 0.6, 0.05);
}

TEST_F(PlayCommand, AFrameWithoutAMeshIsReportedAndNotMistakenForAnother) {
    std::vector<int> expected;
    for (int number = 0; number < c_FrameCount; ++number) {
        expected.push_back(number == 6 ? 5 : number);
    }
    const std::string video = m_Output + ".mp4", picture = m_Output + ".png";
    for (const int divisor : {2, 1000000}) {  // half a mesh, and none
        SCOPED_TRACE(divisor);
        CubeClip recipe;
        recipe.damage = [divisor](int number, Nimb::Authoring::Bytes& mesh) {
            if (number == 6) {
                mesh.resize(mesh.size() / static_cast<std::size_t>(divisor));
            }
        };
        const ToolResult result = Play(Clip(recipe) + " -y --size 64x64 --record " + video);
        EXPECT_EQ(result.status, 1);
        EXPECT_NE(result.err.find("frame 6 cannot be shown"), std::string::npos) << result.err;
        EXPECT_EQ(RecordedFrames(video, 64, m_Folder / ""), expected) << result.err;
        EXPECT_EQ(Play(m_Clip + " --at 6 --snapshot " + picture).status, 1);
        EXPECT_FALSE(std::filesystem::exists(picture));
    }
    // Played, all later meshes come with the wrong pictures.
    const ToolResult shifted = Play(m_Clip + " --headless --size 64x64");
    EXPECT_EQ(shifted.status, 1);
    EXPECT_NE(shifted.err.find("frame 6 has no mesh"), std::string::npos) << shifted.err;
}

/// What the window's keys and its bar do, without the window.
TEST_F(PlayCommand, StepsDragsAndRangesLeadToTheirFrames) {
    const std::string clip = Clip();
    const Nimb::Tool::ClipIndex index = Nimb::Tool::ReadClipIndex(clip);
    const Nimb::EngineStandIn::PluginLibrary plugin(PluginFile().string());
    Nimb::EngineStandIn::RenderThread thread;
    Nimb::EngineStandIn::StartPlugin(plugin, thread);
    Nimb::Tool::PlaybackOptions options;
    options.path = clip;
    Nimb::Tool::Playback playback(plugin, thread, index, options);
    Nimb::Tool::Navigation navigation(playback, index);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    // The frame that the picture says it is.
    const auto frameInTexture = [&] {
        const auto pixel = thread.Run([&] { return playback.Player().ReadTexture(8, c_CellSize * 3 / 4, 1, 1); });
        return (pixel[0] - LevelOf(0) + 5) / 10;
    };
    const auto next = [&] {
        std::optional<Nimb::Tool::ShownFrame> shown;
        while (!shown && std::chrono::steady_clock::now() < deadline) {
            shown = playback.Render();
            navigation.OnRendered(shown);
        }
        EXPECT_TRUE(shown && shown->number);
        EXPECT_EQ(frameInTexture(), shown ? shown->number.value_or(-1) : -1);
        return frameInTexture();
    };
    const auto arrival = [&] {
        int frame = next();
        while (playback.IsSeeking() && std::chrono::steady_clock::now() < deadline) {
            frame = next();
        }
        EXPECT_EQ(navigation.Notice(), "");
        EXPECT_EQ(navigation.Position(), frame);
        return frame;
    };
    navigation.GoTo(4);
    EXPECT_EQ(arrival(), 4);
    EXPECT_TRUE(playback.IsPlaying());
    navigation.StepBy(1);
    EXPECT_EQ(navigation.Position(), arrival());
    EXPECT_FALSE(playback.IsPlaying());
    navigation.ToLast();
    EXPECT_EQ(arrival(), c_FrameCount - 1);
    navigation.StepBy(-10);
    EXPECT_EQ(arrival(), c_FrameCount - 11);
    navigation.ToFirst();
    EXPECT_EQ(arrival(), 0);
    for (int frame = 1; frame <= 17; ++frame) {
        navigation.Drag(frame);
        navigation.OnRendered(playback.Render());
        EXPECT_EQ(navigation.Position(), frame);
    }
    navigation.Drop(17);
    EXPECT_EQ(arrival(), 17);
    EXPECT_FALSE(playback.IsPlaying());

    navigation.SetRangeEnd();
    navigation.StepBy(-3);
    EXPECT_EQ(arrival(), 14);
    navigation.SetRangeStart();
    EXPECT_EQ(arrival(), 14);
    for (int previous = 14, turns = 0; turns < 3 && !HasFailure();) {
        const int frame = next();
        EXPECT_GE(frame, 14);
        EXPECT_LE(frame, 17);
        turns += frame < previous ? 1 : 0;
        previous = frame;
    }
    navigation.SetRangeEnd();
    EXPECT_FALSE(navigation.HasRange() || navigation.RangeStart() || navigation.RangeEnd());
}

int ReportedCount(const std::string& report, const std::string& name) {
    const std::size_t at = report.find(name);
    return at == std::string::npos ? -1 : std::atoi(report.c_str() + at + name.size());
}

TEST_F(PlayCommand, HeadlessPlaybackReportsEveryPass) {
    const ToolResult result = Play(Clip() + " --loop 2 --size 64x64");
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_NE(result.err.find("no display can be opened"), std::string::npos) << result.err;
    // What a busy machine drops is counted, too.
    const int shown = ReportedCount(result.out, "frames shown"), dropped = ReportedCount(result.out, "frames dropped");
    EXPECT_EQ(shown + dropped, 2 * c_FrameCount) << result.out;
    EXPECT_GT(shown, c_FrameCount);
    EXPECT_EQ(ReportedCount(result.out, "wanted rate"), 30);
    EXPECT_GE(ReportedCount(result.out, "frames late"), 0);

    // Sixty render events a second cannot keep up with 480 frames.
    const std::string tooMuch = m_Clip + " --headless --speed 16 --size 64x64 ";
    for (const auto& [options, status] : {std::pair("", 0), {"--strict", 1}}) {
        const ToolResult slow = Play(tooMuch + options);
        EXPECT_EQ(slow.status, status) << slow.err;
        EXPECT_NE(slow.err.find("could not keep up"), std::string::npos) << slow.out << slow.err;
    }
}

TEST_F(PlayCommand, APlugInThatCannotGoToFramesStillPlays) {
    std::vector<unsigned char> plugin = ReadFile(PluginFile().string());
    const std::string name = "getPlayerFeatures";
    for (auto at = plugin.begin(); (at = std::search(at, plugin.end(), name.begin(), name.end())) != plugin.end();) {
        *at = 'G';  // nobody finds it under this name
    }
    const std::string old = m_Folder / "old.so", before = "NIMB_PLUGIN=" + old;
    ClipTest::WriteFile(old, plugin);
    EXPECT_EQ(Play(Clip() + " --headless --size 64x64", before).status, 0);
    const ToolResult result = Play(m_Clip + " --snapshot " + m_Output + ".png", before);
    EXPECT_EQ(result.status, 3);
    EXPECT_NE(result.err.find("cannot go to frames"), std::string::npos) << result.err;
}

TEST_F(PlayCommand, WhatCannotBeDoneIsSaid) {
    const std::string clip = Clip(), output = m_Output + ".png";
    const std::vector<unsigned char> bytes = ReadFile(clip);
    ClipTest::WriteFile(m_Folder / "cut.mp4", std::vector<unsigned char>(bytes.begin(), bytes.begin() + 900));
    WriteText(m_Folder / "there.png", "kept");
    struct Case {
        std::string arguments;
        std::string before;
        int status;
        std::string says;
    };
    const Case cases[] = {
        {m_Folder / "nowhere.mp4", "", 3, "nowhere.mp4"},
        {m_Folder / "cut.mp4", "", 3, "cut.mp4"},
        {clip, "NIMB_PLUGIN=/nowhere.so", 3, "/nowhere.so"},
        {clip + " --headless", "EGL_PLATFORM=x11", 4, "OpenGL ES 3 context"},
        {clip + " --snapshot /nowhere/a.png", "", 4, "/nowhere"},
        {clip + " --snapshot " + (m_Folder / "there.png"), "", 2, "-y"},
        {clip + " --record " + output + " --size 101x100", "", 2, "even"},
        {clip + " --snapshot " + output + " --views front,back", "", 2, "--views"},
        {clip + " --snapshot " + output + " --at soon", "", 2, "soon"},
        {clip + " --headless --at 3", "", 2, "--at"},
        {clip + " --snapshot " + output + " --background red", "", 2, "red"},
    };
    for (const Case& c : cases) {
        const ToolResult result = Play(c.arguments, c.before);
        EXPECT_EQ(result.status, c.status) << c.arguments << ": " << result.err;
        EXPECT_NE(result.err.find(c.says), std::string::npos) << c.arguments << ": " << result.err;
        EXPECT_EQ(result.out, "") << c.arguments;
    }
    EXPECT_EQ(FilesIn(m_Folder / ""), (std::vector<std::string>{"clip.mp4", "cut.mp4", "there.png"}));
}

TEST(PlayParts, TimesTellFramesThroughDropsSpeedsAndRanges) {
    Nimb::Tool::ClipIndex index;
    for (int frame = 0; frame < 2000; ++frame) {
        index.times.push_back(static_cast<std::int64_t>(frame) * 1001000 / 30);
    }
    // As the player's clock computes it, from where it has begun to count.
    const auto scaled = [&index](int frame, float speed, int base = 0) {
        const auto at = [&index](int i) { return index.times[static_cast<std::size_t>(i)]; };
        return static_cast<std::int64_t>(static_cast<float>(at(frame) - at(base)) / speed);
    };
    for (const float speed : {1.0f, 16.0f, 0.25f, 1.37f}) {
        Nimb::Tool::Timeline timeline(index, static_cast<double>(speed));
        for (int frame = 0; frame < 1900; frame += 37) {
            EXPECT_EQ(timeline.Follow(scaled(frame, speed)), frame) << speed;
        }
        // The new speed is set when frame 1899 is shown, and holds for what is decoded from 1907 on.
        timeline.Follow(scaled(1899, speed));
        timeline.SetSpeed(3);
        const std::int64_t change = scaled(1907, speed);
        for (const int frame : {1900, 1906, 1908, 1909, 1915}) {
            const std::int64_t time = frame <= 1907 ? scaled(frame, speed) : change + scaled(frame, 3, 1907);
            EXPECT_EQ(timeline.Follow(time), frame) << speed;
        }
        timeline.Start();
        EXPECT_EQ(timeline.Follow(scaled(2, 3)), 2);
    }

    Nimb::Tool::Timeline timeline(index, 1);
    EXPECT_EQ(timeline.Follow(16000), std::nullopt);
    EXPECT_EQ(timeline.Follow(scaled(1, 1)), std::nullopt);
    timeline.Place(100, 16000);
    timeline.SetRange(100, 102);
    for (const int later : {1, 2, 3, 5, 6}) {
        EXPECT_EQ(timeline.Follow(16000 + scaled(100 + later, 1, 100)), 100 + later % 3);
    }
    timeline.ClearRange();  // has the player turned back again, ahead of what it shows?
    EXPECT_EQ(timeline.Follow(16000 + scaled(107, 1, 100)), std::nullopt);
}

TEST(PlayParts, ReportCountsGapsAndLateFramesButNotPauses) {
    using namespace std::chrono_literals;
    Nimb::Tool::ClipIndex index;
    index.rateNumerator = 20;
    for (int frame = 0; frame < 10; ++frame) {
        index.times.push_back(frame * 50000);
    }
    Nimb::Tool::Report report(index);
    const Nimb::Tool::Report::Clock::time_point start{};
    report.OnStart(true, 0.5f);
    report.OnFrame(1, start);
    report.OnFrame(2, start + 100ms);
    report.OnFrame(5, start + 400ms);
    report.OnStart(false, 0.5f);
    report.OnFrame(6, start + 9s);
    report.OnFrame(7, start + 9100ms);
    report.OnEnd();
    EXPECT_EQ(report.Shown(), 5);
    EXPECT_EQ(report.Dropped(), 1 + 2 + 2);
    EXPECT_EQ(report.Late(), 0);
    EXPECT_DOUBLE_EQ(report.LongestGap(), 0.3);
    EXPECT_DOUBLE_EQ(report.MeanRate(), 3 / 0.5);
    EXPECT_DOUBLE_EQ(report.WantedRate(), 10);
    EXPECT_FALSE(report.HasKeptUp());
    // From a frame of unknown number on, nothing is said of the rest of a pass.
    report.OnStart(true, 1);
    report.OnFrame(0, start + 20s);
    report.OnFrame(std::nullopt, start + 20100ms);
    report.OnFrame(9, start + 21s);
    report.OnEnd();
    EXPECT_EQ(report.Dropped(), 5);

    // Frame 0 came late itself; 3 is a frame and a render event behind the soonest, 4 a little more, 5 a little less.
    Nimb::Tool::Report second(index);
    second.OnStart(true, 1);
    int number = 0;
    for (const auto time : {30ms, 50ms, 100ms, 215ms, 268ms, 300ms, 310ms, 350ms, 400ms, 450ms}) {
        second.OnFrame(number++, start + time);
    }
    EXPECT_EQ(second.Late(), 1);
    EXPECT_FALSE(second.HasKeptUp());
}

}  // namespace
}  // namespace ToolTest
