// Files as they should not be: each gives a result and a log line, nothing hangs, and the next Open works.
#include "Authoring/Codec/XtraAttributes.h"
#include "Tests/NimbUnityPluginML/RealClips/Watcher.h"
#include "Tests/Support/TestClip.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace ClipTest {
namespace {

using Nimb::EngineStandIn::Player;

class DamagedFileTest : public testing::Test {
protected:
    DamagedFileTest() { MakeClip(m_Good, m_Recipe); }
    // The good file, whatever the test did before.
    ~DamagedFileTest() override {
        EXPECT_TRUE(m_Player.Open(m_Good));
        m_Player.CreateBuffers();
        m_Engine.plugin->SetClockScale(m_Player.Id(), c_PlayableSpeed);
        Watcher watcher(m_Player);
        EXPECT_TRUE(m_Engine.plugin->PlayQuorObject(m_Player.Id()));
        EXPECT_TRUE(watcher.WaitForShown(4));
        EXPECT_EQ(watcher.Now().mismatches, 0) << watcher.Now().firstMismatch;
        EXPECT_LE(watcher.Now().shown.front(), 3);
    }

    std::string Bad(const std::vector<unsigned char>& bytes) {
        WriteFile(m_Folder / "bad.mp4", bytes);
        return m_Folder / "bad.mp4";
    }
    /// Plays what is open in buffers of the good file's size until the end or for a while. True at the end.
    bool PlayFor(Watcher& watcher, std::chrono::milliseconds patience) {
        EXPECT_TRUE(m_Engine.plugin->PlayQuorObject(m_Player.Id()));
        const bool hasEnded = watcher.WaitForEndOfStream(patience);
        watcher.Pass(5);
        return hasEnded;
    }
    void CreateBuffers() { m_Player.CreateBuffers({m_Recipe.width, m_Recipe.height, 200, 1000}); }

    ClipRecipe m_Recipe = [] {
        ClipRecipe recipe;
        recipe.frameCount = 20;
        recipe.audioSeconds = 0.6;
        recipe.delta = std::nullopt;
        return recipe;
    }();
    TemporaryFolder m_Folder;
    std::string m_Good = m_Folder / "good.mp4";
    LogCapture m_Log;
    Engine& m_Engine = Engine::Instance();
    Player m_Player{m_Engine.plugin, m_Engine.renderThread};
};

TEST_F(DamagedFileTest, WhatIsNoMovieIsRefusedWithItsLine) {
    EXPECT_FALSE(m_Player.Open(m_Folder / "missing.mp4"));
    EXPECT_TRUE(m_Log.Has("failed to open file"));
    std::mt19937 random(1);
    std::vector<unsigned char> noise(100000);
    std::generate(noise.begin(), noise.end(), [&random] { return static_cast<unsigned char>(random()); });
    const std::vector<unsigned char> files[] = {{}, {'h', 'e', 'l', 'l', 'o'}, noise};
    int refusals = 0;
    for (const std::vector<unsigned char>& bytes : files) {
        EXPECT_FALSE(m_Player.Open(Bad(bytes)));
        EXPECT_EQ(m_Log.Count("MLMediaExtractorSetDataSourceForURI failed, error = "), ++refusals);
        EXPECT_EQ(m_Engine.plugin->GetQuorState(m_Player.Id()), NimbState_Initialized);
    }
}

TEST_F(DamagedFileTest, FilesCutAnywhereAreRefusedOrPlayToTheirEnd) {
    const std::vector<unsigned char> good = ReadFile(m_Good);
    Nimb::Authoring::FileAttributes attributes;
    attributes.hasVertexNormals = 0;
    const std::size_t atomSize = Nimb::Authoring::WriteAttributeAtom(attributes).size();
    for (std::size_t i = 0; i < 24; ++i) {
        const std::size_t size = (good.size() - atomSize - 1) * i / 23;
        EXPECT_FALSE(m_Player.Open(Bad({good.begin(), good.begin() + static_cast<std::ptrdiff_t>(size)}))) << size;
    }

    // With the index in front, the samples that are there play.
    ASSERT_EQ(RunCommand("ffmpeg -v error -y -i " + m_Good + " -c copy -movflags faststart " + (m_Folder / "fast.mp4"))
                  .status,
              0);
    const std::vector<unsigned char> fast = ReadFile(m_Folder / "fast.mp4");
    int last = 0;
    for (std::size_t i = 1; i <= 8; ++i) {
        SCOPED_TRACE(i);
        const std::size_t size = fast.size() * i / 8;
        if (!m_Player.Open(Bad({fast.begin(), fast.begin() + static_cast<std::ptrdiff_t>(size)}))) {
            continue;
        }
        CreateBuffers();
        Watcher watcher(m_Player);
        EXPECT_TRUE(PlayFor(watcher, std::chrono::seconds(10)));
        const Watcher::Seen seen = watcher.Now();
        EXPECT_EQ(seen.mismatches, 0) << seen.firstMismatch;
        if (!seen.shown.empty()) {
            ExpectInOrder(seen.shown, seen.shown.back() + 1);
            EXPECT_GE(seen.shown.back(), last);
            last = seen.shown.back();
        }
    }
    EXPECT_EQ(last, 19);
}

TEST_F(DamagedFileTest, TracksInTheWrongPlaceShowNothing) {
    for (const char* maps : {"-map 0:1", "-map 0:1 -map 0:0"}) {
        SCOPED_TRACE(maps);
        const std::string bad = m_Folder / "bad.mp4";
        ASSERT_EQ(RunCommand("ffmpeg -v error -y -i " + m_Good + " " + maps + " -c copy " + bad).status, 0);
        EXPECT_TRUE(m_Player.Open(bad));
        CreateBuffers();
        Watcher watcher(m_Player);
        EXPECT_FALSE(PlayFor(watcher, std::chrono::milliseconds(500)));
        EXPECT_TRUE(watcher.Now().shown.empty());
        const Clock::time_point start = Clock::now();
        EXPECT_TRUE(m_Engine.plugin->CloseQuorObject(m_Player.Id()));
        EXPECT_LT(Clock::now() - start, std::chrono::seconds(10));
    }
}

TEST_F(DamagedFileTest, DamagedAtomsLeaveTheRecordAloneAndTheFilePlays) {
    const std::vector<unsigned char> good = ReadFile(m_Good);
    const auto edited = [&good](const std::string& from, const std::string& to) {
        std::vector<unsigned char> bytes = good;
        const auto at = std::search(bytes.begin(), bytes.end(), from.begin(), from.end());
        EXPECT_NE(at, bytes.end());
        std::copy(to.begin(), to.end(), at);
        return bytes;
    };
    ClipRecipe bare = m_Recipe;
    bare.hasAttributes = false;
    MakeClip(m_Folder / "bare.mp4", bare);
    const std::vector<unsigned char> files[] = {ReadFile(m_Folder / "bare.mp4"), edited("Xtra", "Xtrb"),
                                                edited("{A5E5F089", "{a5e5f089"),
                                                std::vector<unsigned char>(good.begin(), good.end() - 100)};
    for (const std::vector<unsigned char>& bytes : files) {
        ASSERT_TRUE(m_Player.Open(Bad(bytes)));
        NimbFileInfo info{};
        info.frameCount = 4711;
        EXPECT_TRUE(m_Engine.plugin->GetQuorObjectFileInfo(m_Player.Id(), &info));
        EXPECT_EQ(info.frameCount, 4711u);
        EXPECT_EQ(info.textureWidth, 64u);
        EXPECT_EQ(info.hasAudio, 1);
        EXPECT_NEAR(static_cast<double>(info.duration), 20.0 / 30 * 1e7, 1e5);
        CreateBuffers();
        Watcher watcher(m_Player);
        EXPECT_TRUE(PlayFor(watcher, std::chrono::seconds(10)));
        ExpectInOrder(watcher.Now().shown, 20);
        EXPECT_EQ(watcher.Now().mismatches, 0) << watcher.Now().firstMismatch;
    }
    ASSERT_TRUE(m_Player.Open(m_Good));
    EXPECT_EQ(m_Player.FileInfo().frameCount, 20u);
}

}  // namespace
}  // namespace ClipTest
