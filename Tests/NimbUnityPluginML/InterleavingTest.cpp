// Random sequences of calls from a script thread against render events and a platform that is late, refuses and stalls.
//
// Every call has to return in time, states are those of a model, and nothing may be left behind. The seed of a sequence
// that fails is printed; NIMB_SOAK_SEED runs that one alone, NIMB_SOAK_SEQUENCES sets how many there are.
#include "Tests/NimbUnityPluginML/CallWatch.h"
#include "Tests/NimbUnityPluginML/PluginTest.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <random>

#include <malloc.h>

using namespace PluginTest;

namespace {

unsigned FromEnvironment(const char* name, unsigned otherwise) {
    const char* const value = std::getenv(name);
    return value != nullptr ? static_cast<unsigned>(std::strtoul(value, nullptr, 10)) : otherwise;
}

/// Issues events for all ids that it is told of, as fast as it can.
class RenderThread {
public:
    RenderThread() : m_Thread([this] { Run(); }) {}
    ~RenderThread() {
        m_Done = true;
        m_Thread.join();
    }

    void Add(int id) {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Ids.push_back(id);
    }
    /// Returns when no event for it is under way.
    void Remove(int id) {
        const std::lock_guard<std::mutex> lock(m_Mutex);
        m_Ids.erase(std::remove(m_Ids.begin(), m_Ids.end(), id), m_Ids.end());
    }

private:
    void Run() {
        FakeGl::MakeCurrent(FakeGl::TheContext());
        const auto render = GetUnityRenderModeEventFunc();
        while (!m_Done) {
            {
                const std::lock_guard<std::mutex> lock(m_Mutex);
                for (const int id : m_Ids) {
                    render(id);
                }
            }
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
    }

    std::mutex m_Mutex;
    std::vector<int> m_Ids;
    std::atomic<bool> m_Done{false};
    std::thread m_Thread;
};

/// One player and what its state has to be.
class Sequence {
public:
    Sequence(std::uint32_t seed, CallWatch& watch, RenderThread& renderThread, const std::vector<std::string>& paths)
        : m_Random(seed), m_Watch(watch), m_RenderThread(renderThread), m_Paths(paths) {}

    void Run() {
        Create();
        for (int step = 0; step < 14 && !testing::Test::HasFailure(); ++step) {
            Step();
            if (Roll(3) == 0) {
                std::this_thread::sleep_for(std::chrono::microseconds(Roll(4000)));  // at any moment of playback
            }
        }
        Destroy();
    }

private:
    unsigned Roll(unsigned bound) { return static_cast<unsigned>(m_Random()) % bound; }

    template <class Call>
    auto Watch(const std::string& what, Call&& call) {
        m_History += what + " ";
        return m_Watch(what, call, m_History);
    }

    void Create() {
        m_Player = Watch("Create", [] { return std::make_unique<Player>(); });
        m_Screen = std::make_unique<Screen>(*m_Player);
        m_State = NimbState_Initialized;
        m_HasFile = m_WasOpened = false;
        m_RenderThread.Add(m_Player->Id());
    }

    void Destroy() {
        m_RenderThread.Remove(m_Player->Id());
        Watch("Destroy", [this] {
            m_Player.reset();
            return 0;
        });
    }

    void Step() {
        switch (Roll(12)) {
            case 0:
            case 1:
                Open();
                break;
            case 2:
            case 3:
            case 4: {
                const bool may =
                    m_State == NimbState_Opened || m_State == NimbState_Paused || m_State == NimbState_Closed;
                EXPECT_EQ(Watch("Play", [this] { return m_Player->Play(); }), may) << m_History;
                m_State = may ? NimbState_Playing : m_State;
                break;
            }
            case 5:
                EXPECT_EQ(Watch("Pause", [this] { return m_Player->Pause(); }), m_State == NimbState_Playing);
                m_State = m_State == NimbState_Playing ? NimbState_Paused : m_State;
                break;
            case 6:
                if (m_WasOpened) {
                    EXPECT_TRUE(Watch("Rewind", [this] { return m_Player->Rewind(); }));
                    m_State = NimbState_Paused;
                }
                break;
            case 7:
                Watch("SetClockScale", [this] {
                    constexpr float scales[] = {0.5f, 1.0f, 2.0f, 0.0f, -1.0f, 1000.0f};
                    SetClockScale(m_Player->Id(), scales[Roll(6)]);
                    return 0;
                });
                break;
            case 8:
                Watch("SetUnityBuffers", [this] {
                    m_Screen->vertices = Roll(2) == 0 ? c_MeshVertices : c_MeshVertices / 2;
                    m_Screen->HandOver();
                    SetComputeNormals(m_Player->Id(), static_cast<std::uint8_t>(Roll(2)));
                    return 0;
                });
                break;
            case 9:
                Close();
                break;
            case 10:
                Watch("Info", [this] {
                    NimbFileInfo file{};
                    EXPECT_EQ(GetQuorObjectFileInfo(m_Player->Id(), &file), 1);
                    m_Player->FrameInfo();
                    return 0;
                });
                break;
            default:
                ChangeThePlatform();
        }
        EXPECT_EQ(m_Player->State(), m_State) << m_History;
    }

    void Open() {
        const bool closes = m_HasFile;
        const bool may = closes || m_State == NimbState_Initialized || m_State == NimbState_Closed;
        const std::string& path = m_Paths[Roll(static_cast<unsigned>(m_Paths.size()))];
        const bool autoLoop = Roll(2) == 0, disableAudio = Roll(4) == 0;
        const bool opened = Watch("Open", [&] { return m_Player->Open(path, autoLoop, disableAudio); });
        EXPECT_TRUE(may || !opened) << m_History;
        m_State = opened ? NimbState_Opened : closes ? NimbState_Closed : m_State;
        m_HasFile = opened;
        m_WasOpened = m_WasOpened || opened;
    }

    void Close() {
        const bool may = m_State != NimbState_Initialized;
        EXPECT_EQ(Watch("Close", [this] { return m_Player->Close(); }), may) << m_History;
        m_State = may ? NimbState_Closed : m_State;
        m_HasFile = m_HasFile && !may;
    }

    void ChangeThePlatform() {
        Fake::Script& script = Fake::TheScript();
        std::atomic<bool>* const holds[] = {
            &script.holdVideoInput, &script.holdVideoOutput,   &script.holdAudioInput,   &script.holdAudioOutput,
            &script.holdSound,      &script.dropFramesOnFlush, &script.repeatFrameNumber};
        for (std::atomic<bool>* const hold : holds) {
            *hold = Roll(4) == 0;
        }
        script.callbackDelayUs = Roll(3) == 0 ? static_cast<int>(Roll(3000)) : 0;
        script.audioChunk = Roll(2) == 0 ? 0 : 100 + Roll(9000);
        script.soundRefusals = static_cast<int>(Roll(3));
        m_History += "(platform) ";
    }

    std::minstd_rand m_Random;
    CallWatch& m_Watch;
    RenderThread& m_RenderThread;
    const std::vector<std::string>& m_Paths;
    std::unique_ptr<Player> m_Player;
    std::unique_ptr<Screen> m_Screen;
    int m_State = NimbState_NotFound;
    bool m_HasFile = false;
    bool m_WasOpened = false;
    std::string m_History;
};

class InterleavingTest : public PluginFixture {
protected:
    static std::vector<std::string> AddClips() {
        const ClipOptions plain{12, 1000}, sound{12, 1000, 12, 3000}, broken{12, 1000, 4, 512, {2, 3}, {5, 7}},
            endless{5, 600 * 1000000ll};
        Fake::Clip empty = MakeClip(plain);
        empty.samples.clear();
        std::vector<std::string> paths{AddFile(empty)};
        for (const ClipOptions& options : {plain, sound, broken, endless}) {
            paths.push_back(AddFile(MakeClip(options)));
        }
        return paths;
    }
};

TEST_F(InterleavingTest, EveryCallReturnsAndNothingIsLeft) {
    const std::vector<std::string> paths = AddClips();
    const unsigned only = FromEnvironment("NIMB_SOAK_SEED", 0);
    const unsigned first = only != 0 ? only : 1;
    const unsigned last = only != 0 ? only : FromEnvironment("NIMB_SOAK_SEQUENCES", 300);
    Fake::KeepLog(false);
    CallWatch watch(c_CallLimit);
    RenderThread renderThread;
    for (unsigned seed = first; seed <= last && !HasFailure(); ++seed) {
        Fake::SetChaos(seed, seed % 3 == 0 ? 0 : 20, 50, 1500);
        Sequence(seed, watch, renderThread, paths).Run();
        EXPECT_EQ(Fake::LiveHandles(), 0);
        EXPECT_FALSE(HasFailure()) << "NIMB_SOAK_SEED=" << seed << " has it again";
        FakeGl::ClearCalls();
    }
    EXPECT_LT(watch.Longest(), 2.0) << watch.LongestName();
}

/// Rounds of `round` may cost memory at first, but not for ever.
template <class Round>
void ExpectFlatMemory(int rounds, Round&& round) {
    for (int i = 0; i < rounds / 4; ++i) {
        round();
    }
    malloc_trim(0);
    const std::size_t before = mallinfo2().uordblks;
    for (int i = 0; i < rounds; ++i) {
        round();
    }
    malloc_trim(0);
    const std::size_t after = mallinfo2().uordblks;
    EXPECT_LT(after, before + 200000) << "from " << before << " bytes";
}

TEST_F(InterleavingTest, PlayersOpenAndCloseOnAnotherThreadWhileOthersPlay) {
    const std::string path = AddIndexedFile({40, 1000, 10});
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(path, true) && player.Play());
    RenderThread renderThread;
    renderThread.Add(player.Id());
    std::atomic<int> others{-1};
    std::atomic<bool> isDone{false};
    std::thread worker([&] {
        for (int round = 0; round < 40; ++round) {
            auto other = std::make_unique<Player>();
            others = other->Id();
            renderThread.Add(other->Id());  // before it opens, and after it is gone
            Screen objects(*other);
            EXPECT_TRUE(other->Open(path, true) && other->Play());
            const auto hasShown = [&](std::uint64_t count) { return objects.Record().count >= count; };
            EXPECT_TRUE(WaitFor([&] { return hasShown(2); }));
            EXPECT_TRUE(round % 2 == 0 || other->Open(path));
            EXPECT_TRUE(round % 3 == 0 || other->Close());
            const int id = other->Id();
            other.reset();
            renderThread.Remove(id);
        }
        isDone = true;
    });
    const auto count = [&] { return screen.Record().count; };
    while (!isDone) {
        const std::uint64_t before = count();
        EXPECT_TRUE(WaitFor([&] { return count() > before; }));  // nobody else holds it up
        NimbShownFrame shown{};
        NimbTrouble trouble{};
        GetShownFrame(others, &shown);  // whatever the other thread does with it
        TakeTrouble(others, &trouble);
        EXPECT_EQ(shown.time, std::max<std::int64_t>(shown.frame, 0) * 10000);
    }
    worker.join();
    renderThread.Remove(player.Id());
}

TEST_F(InterleavingTest, MemoryIsFlatOverRoundsAndLoops) {
    const std::string path = AddFile(MakeClip({4, 500, 2}));
    Fake::KeepLog(false);
    const int rounds = static_cast<int>(FromEnvironment("NIMB_SOAK_ROUNDS", 100));
    Player player;
    Screen screen(player);
    const auto playOnce = [&] {
        ASSERT_TRUE(screen.RenderUntil([&] { return player.FrameInfo().endOfStream != 0; }));
        screen.shown.clear();
        FakeGl::ClearCalls();
        Fake::ForgetPlayedSound();
    };
    ExpectFlatMemory(rounds, [&] {
        ASSERT_TRUE(player.Open(path));
        ASSERT_TRUE(player.Play());
        playOnce();
        ASSERT_TRUE(player.Close());
        ASSERT_EQ(Fake::LiveHandles(), 0);
    });
    ASSERT_TRUE(player.Open(path, true));
    ASSERT_TRUE(player.Play());
    ExpectFlatMemory(rounds, playOnce);
}

}  // namespace
