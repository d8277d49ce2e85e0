// Straight playback, loops, pauses, rewinds and speeds: whatever is shown, picture and mesh are of the same frame.
#include "Tests/NimbUnityPluginML/RealClips/Watcher.h"
#include "Tests/Support/TestClip.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <ostream>
#include <random>
#include <thread>

namespace ClipTest {
namespace {

using Nimb::Authoring::DeltaCoding;
using Nimb::Authoring::IndexCoding;
using Nimb::EngineStandIn::Player;

class PlaybackTest : public testing::Test {
protected:
    /// Makes a clip of the recipe and opens it.
    void Open(const ClipRecipe& recipe, bool autoLoop = false) {
        MakeClip(m_Path, recipe);
        ASSERT_TRUE(m_Player.Open(m_Path, autoLoop));
        m_Player.CreateBuffers();
    }
    void Play() { EXPECT_TRUE(m_Engine.plugin->PlayQuorObject(m_Player.Id())); }
    void Rewind() { EXPECT_TRUE(m_Engine.plugin->RewindQuorObject(m_Player.Id())); }

    static void ExpectNoMismatch(const Watcher& watcher) {
        const Watcher::Seen seen = watcher.Now();
        EXPECT_EQ(seen.mismatches, 0) << "of " << seen.events << "; first: " << seen.firstMismatch;
    }

    /// Waits for the end, with each picture and its mesh together on the way, and tells what was seen.
    static Watcher::Seen PlayToEnd(Watcher& watcher) {
        EXPECT_TRUE(watcher.WaitForEndOfStream());
        watcher.Pass(5);
        ExpectNoMismatch(watcher);
        return watcher.Now();
    }

    TemporaryFolder m_Folder;
    const std::string m_Path = m_Folder / "clip.mp4";
    LogCapture m_Log;
    Engine& m_Engine = Engine::Instance();
    Player m_Player{m_Engine.plugin, m_Engine.renderThread};
};

struct NamedRecipe {
    const char* name;
    ClipRecipe recipe;
};

std::ostream& operator<<(std::ostream& out, const NamedRecipe& recipe) {
    return out << recipe.name;
}

ClipRecipe Recipe(int width, int height, int frameRate, int frameCount, int keyInterval, double audioSeconds,
                  IndexCoding indices, std::optional<DeltaCoding> delta, bool normals = false) {
    ClipRecipe recipe;
    recipe.width = width;
    recipe.height = height;
    recipe.frameRate = frameRate;
    recipe.frameCount = frameCount;
    recipe.pictureKeyInterval = keyInterval;
    recipe.audioSeconds = audioSeconds;
    recipe.indices = indices;
    recipe.delta = delta;
    recipe.storeNormals = normals;
    return recipe;
}

/// A small clip with so many frames, and sound.
ClipRecipe Frames(int count, double audioSeconds = 0) {
    ClipRecipe recipe;
    recipe.frameCount = count;
    recipe.audioSeconds = audioSeconds;
    return recipe;
}

class StraightPlayback : public PlaybackTest, public testing::WithParamInterface<NamedRecipe> {};

TEST_P(StraightPlayback, ShowsEveryFrameWithItsMesh) {
    const ClipRecipe& recipe = GetParam().recipe;
    Open(recipe);
    m_Engine.plugin->SetClockScale(m_Player.Id(), c_PlayableSpeed);
    // A busy machine can skip frames, but not every time.
    int skipped = recipe.frameCount;
    for (int attempt = 0; attempt < 4 && skipped > 0; ++attempt) {
        if (attempt > 0) {
            Rewind();
        }
        Watcher watcher(m_Player);
        m_Player.FrameInfo();  // forgets an earlier end of stream
        Play();
        std::vector<int> shown = PlayToEnd(watcher).shown;
        if (attempt > 0 && shown.size() > 1 && shown.front() > shown[1]) {
            shown.erase(shown.begin());  // still there from the time before
        }
        ExpectInOrder(shown, recipe.frameCount);
        skipped = recipe.frameCount - static_cast<int>(shown.size());
        std::printf("%d of %d frames skipped\n", skipped, recipe.frameCount);
    }
    EXPECT_LE(skipped, c_IsSanitized ? recipe.frameCount / 5 : 0);
    EXPECT_FALSE(m_Log.Has("[error]")) << m_Log.Text();
}

INSTANTIATE_TEST_SUITE_P(
    Clips, StraightPlayback,
    testing::Values(
        NamedRecipe{"smallest", Recipe(64, 64, 60, 60, 10, 1, IndexCoding::EdgeBreaker, DeltaCoding::Smallest)},
        NamedRecipe{"plain", Recipe(640, 368, 30, 30, 30, 0, IndexCoding::List1, DeltaCoding::Plain)},
        NamedRecipe{"golomb", Recipe(320, 240, 30, 30, 1, 1, IndexCoding::List2, DeltaCoding::Golomb)},
        NamedRecipe{"huffman", Recipe(66, 50, 24, 24, 250, 0, IndexCoding::EdgeBreaker, DeltaCoding::Huffman)},
        NamedRecipe{"transform", Recipe(128, 128, 50, 40, 20, 0.7, IndexCoding::List2, DeltaCoding::Transform)},
        NamedRecipe{"quantised", Recipe(128, 64, 15, 15, 5, 0, IndexCoding::List2, DeltaCoding::Quantised)},
        NamedRecipe{"keys", Recipe(1280, 720, 25, 25, 12, 1, IndexCoding::Strips1, std::nullopt)},
        NamedRecipe{"large", Recipe(2048, 2048, 10, 10, 5, 0, IndexCoding::Strips2, std::nullopt)},
        NamedRecipe{"normals", Recipe(64, 64, 30, 30, 10, 0, IndexCoding::List2, DeltaCoding::Golomb, true)}),
    testing::PrintToStringParamName());

/// The numbers cut into runs, each of which begins where the file does.
std::vector<std::vector<int>> RunsOf(const std::vector<int>& shown) {
    std::vector<std::vector<int>> runs;
    for (const int number : shown) {
        if (runs.empty() || number <= runs.back().back()) {
            runs.emplace_back();
        }
        runs.back().push_back(number);
    }
    return runs;
}

TEST_F(PlaybackTest, LoopsKeepPictureAndMeshTogether) {
    for (const double audioSeconds : {0.0, 0.5}) {
        SCOPED_TRACE(audioSeconds);
        ClipRecipe recipe = Frames(25, audioSeconds);
        recipe.frameRate = 50;
        Open(recipe, true);
        Watcher watcher(m_Player, std::chrono::milliseconds(1));
        Play();
        EXPECT_TRUE(watcher.WaitFor([](const auto& seen) { return RunsOf(seen.shown).size() > 10; }));
        ExpectNoMismatch(watcher);
        std::vector<std::vector<int>> runs = RunsOf(watcher.Now().shown);
        runs.pop_back();
        for (const std::vector<int>& run : runs) {
            ExpectInOrder(run, recipe.frameCount);
        }
    }
}

TEST_F(PlaybackTest, PausesAtAnyMomentLoseNothing) {
    Open(Frames(60, 2));
    Watcher watcher(m_Player);
    std::mt19937 random(1);
    for (int i = 0; i < 8; ++i) {
        Play();
        watcher.Pass(static_cast<int>(random() % 60));
        EXPECT_TRUE(m_Engine.plugin->PauseQuorObject(m_Player.Id()));
        watcher.Pass(1);  // an event that was on its way
        const std::vector<int> before = watcher.Now().shown;
        watcher.Pass(30);
        EXPECT_EQ(watcher.Now().shown, before);
    }
    Play();
    ExpectInOrder(PlayToEnd(watcher).shown, 60);
}

TEST_F(PlaybackTest, ClockScaleSetsTheSpeedAlsoAfterARewindOrAnotherOpenHalfway) {
    Open(Frames(30));
    const auto isHalfway = [](const Watcher::Seen& seen) { return seen.shown.size() > 10 && seen.shown.back() >= 20; };
    for (const float scale : {1.0f, 0.5f, 2.0f}) {
        for (const bool rewind : {true, false}) {
            SCOPED_TRACE(testing::Message() << scale << (rewind ? " rewound" : " opened"));
            if (rewind) {
                Rewind();
            } else {
                ASSERT_TRUE(m_Player.Open(m_Path));
            }
            m_Engine.plugin->SetClockScale(m_Player.Id(), scale);
            Watcher watcher(m_Player);
            const Clock::time_point start = Clock::now();
            Play();
            ASSERT_TRUE(watcher.WaitFor(isHalfway));
            const Watcher::Seen seen = watcher.Now();
            const std::vector<int> shown = RunsOf(seen.shown).back();
            ExpectInOrder(shown, shown.back() + 1);
            for (std::size_t i = 0; i < shown.size(); ++i) {
                const std::int64_t said = seen.fileTimes[seen.fileTimes.size() - shown.size() + i];
                EXPECT_NEAR(static_cast<double>(said), shown[i] / 30.0 * 1e7, 1000) << shown[i];
            }
            const auto secondsSince = [&](Clock::time_point time) {
                return std::chrono::duration<double>(seen.times.back() - time).count();
            };
            const double expected = shown.back() / 30.0 / static_cast<double>(scale);
            EXPECT_GT(secondsSince(start), expected * 0.95);  // the first one may be seen late
            EXPECT_LT(secondsSince(seen.times[seen.times.size() - shown.size()]), expected * 1.3 + 0.2);
        }
    }
}

TEST_F(PlaybackTest, SoundSetsTheEndWhenItIsLonger) {
    constexpr double soundSeconds = 3;
    Open(Frames(6, soundSeconds));
    EXPECT_EQ(m_Player.FileInfo().hasAudio, 1);
    EXPECT_TRUE(m_Engine.plugin->SetAudioVolume(m_Player.Id(), 0.5f));
    Watcher watcher(m_Player);
    const Clock::time_point start = Clock::now();
    Play();
    EXPECT_TRUE(watcher.WaitForEndOfStream());
    // All but what the two buffers of the sound hold has been played by then.
    EXPECT_GT(std::chrono::duration<double>(Clock::now() - start).count(), soundSeconds - 0.2);
    EXPECT_EQ(watcher.Now().shown.back(), 5);

    ASSERT_TRUE(m_Player.Open(m_Path, false, true));
    EXPECT_EQ(m_Player.FileInfo().hasAudio, 0);
    EXPECT_FALSE(m_Engine.plugin->SetAudioVolume(m_Player.Id(), 0.5f));
    const Clock::time_point silentStart = Clock::now();
    Play();
    EXPECT_TRUE(watcher.WaitForEndOfStream());
    EXPECT_LT(std::chrono::duration<double>(Clock::now() - silentStart).count(), soundSeconds - 0.2);
}

TEST_F(PlaybackTest, NormalsAreComputedOrTheFramesOwn) {
    ClipRecipe recipe = Frames(20);
    recipe.storeNormals = true;
    MakeClip(m_Path, recipe);
    for (const bool isComputed : {true, false}) {
        SCOPED_TRACE(isComputed);
        Player player(m_Engine.plugin, m_Engine.renderThread);
        m_Engine.plugin->SetComputeNormals(player.Id(), isComputed);
        ASSERT_TRUE(player.Open(m_Path));
        EXPECT_EQ(player.FileInfo().hasNormals, 1);
        player.CreateBuffers();
        Watcher watcher(player);
        EXPECT_TRUE(m_Engine.plugin->PlayQuorObject(player.Id()));
        const auto readNormal = [&] { return m_Engine.renderThread.Run([&] { return ReadNormal(player); }); };
        ASSERT_TRUE(watcher.WaitForShown(5));
        const Nimb::Authoring::Vec3 normal = readNormal();
        EXPECT_NEAR(normal.x, isComputed ? 0 : c_StoredNormal.x, 0.02);
        EXPECT_NEAR(normal.z, isComputed ? 1 : c_StoredNormal.z, 0.02);

        // Frames decoded for the other setting are converted: computed from stored is exact, stored from none is zero.
        m_Engine.plugin->SetComputeNormals(player.Id(), !isComputed);
        ExpectInOrder(PlayToEnd(watcher).shown, 20);
        const Nimb::Authoring::Vec3 converted = readNormal();
        EXPECT_NEAR(converted.x, 0, 0.02);
        EXPECT_NEAR(converted.z, isComputed ? 0 : 1, 0.02);
    }
}

TEST_F(PlaybackTest, PlayersPlaySideBySide) {
    Open(Frames(30));
    ClipRecipe recipe = Frames(30, 1);
    recipe.width = 128;
    recipe.frameRate = 24;
    MakeClip(m_Folder / "other.mp4", recipe);
    Watcher watcher(m_Player);
    // One that goes while the others play, and one that plays on.
    for (const bool goes : {true, false}) {
        Player other(m_Engine.plugin, m_Engine.renderThread);
        ASSERT_TRUE(other.Open(m_Folder / "other.mp4"));
        other.CreateBuffers();
        Watcher otherWatcher(other);
        EXPECT_TRUE(m_Engine.plugin->PlayQuorObject(other.Id()));
        if (goes) {
            Play();
            EXPECT_TRUE(otherWatcher.WaitForShown(3));
        } else {
            ExpectInOrder(PlayToEnd(watcher).shown, 30);
            ExpectInOrder(PlayToEnd(otherWatcher).shown, 30);
        }
    }
}

/// Pictures go by without their meshes, which then hold every slot while no further picture comes.
TEST_F(PlaybackTest, OthersOpenAndCloseOnAnotherThread) {
    Open(Frames(60), true);
    Watcher watcher(m_Player);
    Play();
    std::thread worker([this] {
        for (int round = 0; round < 6; ++round) {
            Player other(m_Engine.plugin, m_Engine.renderThread);
            Watcher others(other);  // render events from before the file is open until after it is closed
            ASSERT_TRUE(other.Open(m_Path, true));
            other.CreateBuffers();
            EXPECT_TRUE(m_Engine.plugin->PlayQuorObject(other.Id()));
            EXPECT_TRUE(others.WaitForShown(3));
            EXPECT_TRUE(round % 2 == 0 || m_Engine.plugin->CloseQuorObject(other.Id()));
            ExpectNoMismatch(others);
        }
    });
    for (int i = 0; i < 10; ++i) {
        EXPECT_TRUE(watcher.WaitForShown(watcher.Now().shown.size() + 5));
    }
    worker.join();
    ExpectNoMismatch(watcher);
    EXPECT_FALSE(m_Log.Has("[error]")) << m_Log.Text();
}

TEST_F(PlaybackTest, MeshesThatDecodeSlowerThanPicturesDoNotStallPlayback) {
    ClipRecipe recipe = Frames(60);
    recipe.frameRate = 1000;
    recipe.meshColumns = 250;
    recipe.meshRows = 200;
    recipe.delta = std::nullopt;
    Open(recipe);
    m_Player.CreateBuffers({64, 64, 1, 3});  // of the meshes, only their coming counts
    m_Engine.AddFrame(
        this, [this] { m_Player.OnRender(); }, std::chrono::microseconds(500));
    Play();
    bool hasEnded = false;
    for (const auto start = Clock::now(); !hasEnded && Clock::now() - start < std::chrono::seconds(60);) {
        hasEnded = m_Player.FrameInfo().endOfStream != 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    m_Engine.RemoveFrame(this);
    EXPECT_TRUE(hasEnded);
}

/// Eight pictures before the end nobody fetches any more: the restart takes them away, and their meshes hold every
/// slot.
TEST_F(PlaybackTest, ALoopWithoutRenderEventsDoesNotStallPlayback) {
    Open(Frames(20), true);
    for (int round = 0; round < 4; ++round) {
        {
            Watcher watcher(m_Player);
            if (round == 0) {
                Play();
            }
            ASSERT_TRUE(watcher.WaitFor([](const Watcher::Seen& seen) {
                return seen.shown.size() > 2 && seen.shown.back() == 11;
            })) << round;
            ExpectNoMismatch(watcher);
        }
        // Where render events are slow, the eight pictures may be behind the codec, and the restart be over, by now.
        for (int wait = 0; wait < 1000 && m_Log.Count("AutoLooping: restarting") <= round; ++wait) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        EXPECT_GT(m_Log.Count("AutoLooping: restarting"), round);
    }
}

}  // namespace
}  // namespace ClipTest
