// Calls in any order at any moment, and the same for a long time. Longer: NIMB_SOAK_SEQUENCES, NIMB_SOAK_SEEKS,
// NIMB_SOAK_ROUNDS and NIMB_SOAK_LOOPS say how many.
#include "Tests/NimbUnityPluginML/CallWatch.h"
#include "Tests/NimbUnityPluginML/RealClips/Watcher.h"
#include "Tests/Support/TestClip.h"

#include <gtest/gtest.h>

#include <malloc.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <optional>
#include <random>

namespace ClipTest {
namespace {

using Nimb::EngineStandIn::Player;

int FromEnvironment(const char* name, int otherwise) {
    const char* const value = std::getenv(name);
    return value != nullptr ? std::atoi(value) : otherwise;
}

double ResidentMegabytes() {
    malloc_trim(0);
    std::ifstream statm("/proc/self/statm");
    double total = 0, resident = 0;
    statm >> total >> resident;
    return resident * 4096 / 1048576;
}

/// Sanitizers hold on to what is freed: their figures are printed only.
template <class Call>
void ExpectFlatMemory(const char* what, double limitMegabytes, Call&& call) {
    const double before = ResidentMegabytes();
    call();
    const double growth = ResidentMegabytes() - before;
    std::printf("%s: %+.1f MB on %.1f MB\n", what, growth, before);
    EXPECT_TRUE(c_IsSanitized || growth < limitMegabytes) << growth;
}

class SoakTest : public testing::Test {
protected:
    SoakTest() {
        ClipRecipe recipe;
        recipe.frameCount = 20;
        recipe.frameRate = 60;
        MakeClip(m_Clips[0], recipe);
        recipe.audioSeconds = 0.4;
        recipe.width = 96;
        MakeClip(m_Clips[1], recipe);
        recipe.frameCount = 60;
        recipe.frameRate = 30;
        recipe.audioSeconds = 2;
        MakeClip(m_Clips[2], recipe);
    }

    TemporaryFolder m_Folder;
    std::string m_Clips[3] = {m_Folder / "a.mp4", m_Folder / "b.mp4", m_Folder / "c.mp4"};
    LogCapture m_Log;
    Engine& m_Engine = Engine::Instance();
};

/// One player's life: a dozen calls with some render events between them.
class Sequence {
public:
    Sequence(unsigned seed, const std::string (&clips)[3], CallWatch& watch)
        : m_Random(seed), m_Clips(clips), m_Watch(watch) {}

    void Run() {
        Open();
        for (int step = 0; step < 12; ++step) {
            m_Player->PostRender();  // the call falls into an event or next to one
            Step();
            m_Watcher->Pass(Below(20));
        }
        const Watcher::Seen seen = m_Watcher->Now();
        EXPECT_EQ(seen.mismatches, 0) << seen.firstMismatch;
        m_Watcher.reset();
        m_Watch("DestroyQuorObject", [this] { m_Player.reset(); });
    }

private:
    int Below(unsigned bound) { return static_cast<int>(m_Random() % bound); }

    void Open() {
        const std::string& clip = m_Clips[Below(3)];
        const bool autoLoop = Below(2) == 0, disableAudio = Below(4) == 0;
        // A player that was told to play without a file has to be closed before it opens one.
        const int state = Engine::Instance().plugin->GetQuorState(m_Player->Id());
        const bool isReady = m_HasFile || state == NimbState_Initialized || state == NimbState_Closed;
        const auto open = [&] { return m_Player->Open(clip, autoLoop, disableAudio); };
        EXPECT_EQ(m_Watch("OpenQuorObject", open), isReady) << "state " << state;
        if (!isReady) {
            Close();
            EXPECT_TRUE(m_Watch("OpenQuorObject", open));
        }
        m_HasFile = true;
        m_Watch("SetUnityBuffers", [this] { m_Player->CreateBuffers(); });
    }

    void Close() {
        const Nimb::EngineStandIn::PluginLibrary& plugin = Engine::Instance().plugin;
        EXPECT_TRUE(m_Watch("CloseQuorObject", [&] { return plugin->CloseQuorObject(m_Player->Id()); }));
        EXPECT_EQ(plugin->GetQuorState(m_Player->Id()), NimbState_Closed);
        m_HasFile = false;
    }

    void Step() {
        const Nimb::EngineStandIn::PluginLibrary& plugin = Engine::Instance().plugin;
        const int id = m_Player->Id();
        switch (Below(12)) {
            case 0:
                return Open();
            case 1:
            case 2:
            case 3:
                m_Watch("PlayQuorObject", [&] { plugin->PlayQuorObject(id); });
                return;
            case 4:
            case 5:
                m_Watch("PauseQuorObject", [&] { plugin->PauseQuorObject(id); });
                return;
            case 6:
            case 7:
                EXPECT_TRUE(m_Watch("RewindQuorObject", [&] { return plugin->RewindQuorObject(id); }));
                return;
            case 8: {
                const float scales[] = {0.5f, 1, 2, 3};
                return m_Watch("SetClockScale", [&] { plugin->SetClockScale(id, scales[Below(4)]); });
            }
            case 9:
                return m_Watch("SetUnityBuffers", [&] { m_Player->CreateBuffers(m_Player->Sizes()); });
            case 10:
                m_Watch("SetComputeNormals", [&] { plugin->SetComputeNormals(id, Below(2) == 0); });
                return;
            default:
                Close();
                if (Below(2) == 0) {
                    Open();
                }
        }
    }

    std::mt19937 m_Random;
    const std::string (&m_Clips)[3];
    CallWatch& m_Watch;
    bool m_HasFile = false;
    std::unique_ptr<Player> m_Player =
        std::make_unique<Player>(Engine::Instance().plugin, Engine::Instance().renderThread);
    std::unique_ptr<Watcher> m_Watcher = std::make_unique<Watcher>(*m_Player);
};

TEST_F(SoakTest, CallsInAnyOrderReturnSoonAndKeepPictureAndMeshTogether) {
    const int sequences = FromEnvironment("NIMB_SOAK_SEQUENCES", 40);
    CallWatch watch{std::chrono::seconds(30)};
    for (int seed = 0; seed < sequences && !HasFailure(); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Sequence(static_cast<unsigned>(seed), m_Clips, watch).Run();
        EXPECT_LT(watch.Longest(), 10.0) << watch.LongestName();
    }
    std::printf("%d sequences, longest call %.0f ms (%s)\n", sequences, watch.Longest() * 1000,
                watch.LongestName().c_str());
}

/// Requests for frames among everything else: each ends once, with its frame, and nothing is shown before that.
TEST_F(SoakTest, EveryRequestEndsWithItsFrame) {
    const int requests = FromEnvironment("NIMB_SOAK_SEEKS", 150);
    constexpr int frameCount = 60;
    const Nimb::EngineStandIn::PluginLibrary& plugin = m_Engine.plugin;
    Player player(plugin, m_Engine.renderThread);
    ASSERT_TRUE(player.Open(m_Clips[2], true));
    player.CreateBuffers();
    Watcher watcher(player);
    std::mt19937 random(1);
    const auto below = [&random](unsigned bound) { return static_cast<int>(random() % bound); };
    std::int64_t last = 0;
    for (int i = 0; i < requests && !HasFailure(); ++i) {
        SCOPED_TRACE("request " + std::to_string(i));
        switch (below(6)) {
            case 0:
                plugin->RewindQuorObject(player.Id());
                break;
            case 1:
                ASSERT_TRUE(player.SetPlayRange(below(30), below(2) == 0 ? -1 : 30 + below(30), true));
                plugin->PlayQuorObject(player.Id());
                watcher.Pass(below(20));
                break;
            case 2:
                plugin->PlayQuorObject(player.Id());
                watcher.Pass(below(40));
                break;
            case 3:
                if (below(4) == 0) {
                    plugin->CloseQuorObject(player.Id());
                    ASSERT_TRUE(player.Open(m_Clips[2], true));
                    last = 0;
                }
                break;
            default:
                break;
        }
        plugin->PauseQuorObject(player.Id());
        watcher.Pass(2);
        const std::vector<int> before = watcher.Now().shown;
        const int target = below(frameCount);
        const int superseded = below(4);
        for (int j = 0; j < superseded; ++j) {
            // Near the target, where one may take over what the other has begun; often the target itself.
            player.Seek(std::min(target + std::max(below(24) - 8, 0), frameCount - 1), NimbSeekOption_Pause);
            std::this_thread::sleep_for(std::chrono::microseconds(below(4) * below(1500)));
        }
        const std::int64_t ticket = player.Seek(target, below(2) == 0 ? NimbSeekOption_Pause : 0);
        std::optional<NimbSeekEnd> end;
        std::vector<int> expected = before;
        ASSERT_TRUE(watcher.WaitFor([&](const Watcher::Seen&) {
            while (const std::optional<NimbSeekEnd> taken = player.TakeSeekEnd()) {
                EXPECT_GT(taken->ticket, last) << "ended twice, or out of order";
                last = taken->ticket;
                end = taken->ticket == ticket ? taken : end;
                const int frame = static_cast<int>(taken->frame);
                if (taken->result == NimbSeekResult_Done && (expected.empty() || expected.back() != frame)) {
                    expected.push_back(frame);  // that of one that was superseded, too, if it was quick
                }
            }
            return end.has_value();
        })) << "lost";
        EXPECT_EQ(end->result, NimbSeekResult_Done) << "reason " << end->reason << ", frame " << end->frame;
        watcher.Pass(1);  // a request ends before the event does that shows its frame
        std::vector<int> shown = watcher.Now().shown;
        ASSERT_GE(shown.size(), expected.size());
        shown.resize(expected.size());
        EXPECT_EQ(shown, expected);
    }
    EXPECT_EQ(watcher.Now().mismatches, 0) << watcher.Now().firstMismatch;
}

TEST_F(SoakTest, MemoryStaysFlatOverRounds) {
    const int rounds = FromEnvironment("NIMB_SOAK_ROUNDS", 60);
    Player player(m_Engine.plugin, m_Engine.renderThread);
    const auto playRound = [&](int round) {
        ASSERT_TRUE(player.Open(m_Clips[round % 2]));
        player.CreateBuffers();
        Watcher watcher(player);
        ASSERT_TRUE(m_Engine.plugin->PlayQuorObject(player.Id()));
        ASSERT_TRUE(watcher.WaitForShown(3));
        ASSERT_TRUE(m_Engine.plugin->CloseQuorObject(player.Id()));
    };
    for (int round = 0; round < 20; ++round) {
        playRound(round);
    }
    ExpectFlatMemory("rounds", 4.0 + rounds * 0.005, [&] {
        for (int round = 0; round < rounds && !HasFailure(); ++round) {
            playRound(round);
        }
    });
}

TEST_F(SoakTest, MemoryStaysFlatOverLoops) {
    const int loops = FromEnvironment("NIMB_SOAK_LOOPS", 20);
    Player player(m_Engine.plugin, m_Engine.renderThread);
    ASSERT_TRUE(player.Open(m_Clips[1], true));
    player.CreateBuffers();
    Watcher watcher(player);
    ASSERT_TRUE(m_Engine.plugin->PlayQuorObject(player.Id()));
    const auto playLoops = [&](int count) {
        const int target = m_Log.Count("AutoLooping: restarting") + count;
        return watcher.WaitFor(
            [&](const Watcher::Seen& seen) {
                return seen.events % 50 == 0 && m_Log.Count("AutoLooping: restarting") >= target;
            },
            std::chrono::seconds(30 + count));
    };
    ASSERT_TRUE(playLoops(8));
    ExpectFlatMemory("loops", 4.0, [&] { ASSERT_TRUE(playLoops(loops)); });
    EXPECT_EQ(watcher.Now().mismatches, 0) << watcher.Now().firstMismatch;
}

}  // namespace
}  // namespace ClipTest
