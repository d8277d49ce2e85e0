// What the plug-in's tests share: clips whose meshes say which picture they belong to, players that clean up after
// themselves, and the engine's objects, which tell what is on show.
#pragma once

#include "NimbUnityPluginML/NimbUnityPluginML.h"
#include "Tests/NimbUnityPluginML/FakeGl.h"
#include "Tests/NimbUnityPluginML/FakePlatform.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace PluginTest {

constexpr std::size_t c_MeshVertices = 9;
constexpr std::size_t c_MeshIndices = 24;

/// How long a call may take. Without anything to wait for it takes milliseconds, but machines can be busy.
constexpr std::chrono::seconds c_CallLimit{10};

/// Numbers of picture and mesh.
using Pairs = std::vector<std::pair<std::int64_t, std::int64_t>>;

struct ClipOptions {
    std::size_t frames = 12;
    std::int64_t intervalUs = 2000;
    std::size_t audioSamples = 0;  ///< spread over the video samples
    std::size_t audioBytes = 512;
    std::set<std::size_t> withoutMesh{};
    std::set<std::size_t> damagedMesh{};
    bool deltaFrames = false;         ///< all but the first
    std::size_t meshKeyInterval = 0;  ///< with delta frames: each of these is a key frame; 0: the first alone
    std::size_t pictureKeyInterval = 1;
};

/// A clip whose frame n shows picture n and a mesh with frame id n and smallest x = n. Audio bytes count upwards.
Fake::Clip MakeClip(const ClipOptions& options);

/// All audio bytes of a clip.
Fake::Bytes SoundOf(const Fake::Clip& clip);

/// The end of a file with an attribute atom.
Fake::Bytes TailWithAtom();

/// A file for the player to read the tail of, known to the fake extractor as `clip`. Returns its path.
std::string AddFile(const Fake::Clip& clip, const Fake::Bytes& contents = TailWithAtom());

/// The same with the index that such a clip's file has, in milliseconds: frames can be gone to.
std::string AddIndexedFile(const ClipOptions& options);

/// Formats as the log does.
#if defined(__GNUC__)
__attribute__((format(printf, 1, 2)))
#endif
std::string
Text(const char* format, ...);

int Logged(MLLogLevel level, const std::string& text);  ///< how often
int LoggedWith(const std::string& part);                ///< how many lines have it in them

template <class Condition>
bool WaitFor(Condition&& condition, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    return true;
}

/// Waits until all meshes of a player that are on their way are decoded. False when they take too long. Defined in
/// MeshBarrier.cpp; a program that sees no more of the player than its interface defines it in its own way.
bool AwaitMeshes(int id);

/// A player that is destroyed in time.
class Player {
public:
    Player() : m_Id(CreateQuorObject()) {}
    ~Player() {
        if (m_Id >= 0) {
            DestroyQuorObject(m_Id);
        }
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    int Id() const { return m_Id; }
    bool Open(const std::string& path, bool autoLoop = false, bool disableAudio = false) {
        NimbOpenInfo info{};
        info.autoLoop = autoLoop ? 1 : 0;
        info.disableAudio = disableAudio ? 1 : 0;
        return OpenQuorObject(m_Id, path.c_str(), &info) != 0;
    }
    bool Play() { return PlayQuorObject(m_Id) != 0; }
    bool Pause() { return PauseQuorObject(m_Id) != 0; }
    bool Rewind() { return RewindQuorObject(m_Id) != 0; }
    bool Close() { return CloseQuorObject(m_Id) != 0; }
    int State() { return GetQuorState(m_Id); }
    NimbFrameInfo FrameInfo() {
        NimbFrameInfo info;
        EXPECT_EQ(GetQuorObjectFrameInfo(m_Id, &info), 1);
        return info;
    }

    /// The log's lines with this player's "[id] " before them.
    std::string Line(const std::string& text) const { return "[" + std::to_string(m_Id) + "] " + text; }
    int Logged(MLLogLevel level, const std::string& text) const { return PluginTest::Logged(level, Line(text)); }

private:
    int m_Id;
};

/// The engine's texture and buffers of one player, and its render events.
class Screen {
public:
    explicit Screen(Player& player, std::size_t vertices = c_MeshVertices, std::size_t indices = c_MeshIndices);

    /// One render event, and a look at what it changed. A device's decoder has a latency, so that meshes come before
    /// their pictures; the fake has none, so the event waits for the meshes of all pictures that it could show.
    void Render();

    /// The same without waiting: it finds the meshes that are there. What the player says is shown must be so.
    void Event();

    NimbShownFrame Record() const;

    template <class Condition>
    bool RenderUntil(Condition&& condition, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        return WaitFor(
            [&] {
                Render();
                return condition();
            },
            limit);
    }

    std::int64_t Picture() const;
    std::int64_t Mesh() const;  ///< smallest x in the vertex buffer; -1 before the first upload

    Pairs shown;  ///< picture and mesh after every event that changed either

    GLuint texture;
    GLuint vertexBuffer;
    GLuint indexBuffer;
    std::size_t vertices;
    std::size_t indices;
    bool arePicturesFrames = true;  ///< picture n is frame n of its file, and the codec says so

    void HandOver();  ///< SetUnityBuffers

private:
    Player& m_Player;
};

/// Where a hook of the platform stops a thread until it is let go.
class Halt {
public:
    ~Halt() { LetGo(); }

    /// For Fake::At and Fake::AtLine.
    std::function<void()> Hook() {
        return [state = m_State] {
            state->reached = true;
            WaitFor([&state] { return state->letGo.load(); });
        };
    }
    bool IsReached() const {
        return WaitFor([this] { return m_State->reached.load(); });
    }
    void LetGo() { m_State->letGo = true; }

private:
    struct State {
        std::atomic<bool> reached{false};
        std::atomic<bool> letGo{false};
    };
    std::shared_ptr<State> m_State = std::make_shared<State>();
};

/// A player with its screen, which plays a clip from the start.
class Playback {
public:
    explicit Playback(const Fake::Clip& clip, bool autoLoop = false) : screen(player) {
        EXPECT_TRUE(player.Open(AddFile(clip), autoLoop));
        EXPECT_TRUE(player.Play());
    }
    explicit Playback(const ClipOptions& options, bool autoLoop = false) : Playback(MakeClip(options), autoLoop) {}

    template <class Condition>
    bool Until(Condition&& condition, std::chrono::milliseconds limit = std::chrono::seconds(10)) {
        return screen.RenderUntil(condition, limit);
    }
    bool UntilPicture(std::int64_t picture) {
        return Until([&] { return screen.Picture() == picture; });
    }
    bool UntilEnd() {
        return Until([&] { return player.FrameInfo().endOfStream != 0; });
    }
    const Pairs& Shown() const { return screen.shown; }

    Player player;
    Screen screen;
};

/// Starts from a fresh platform with the engine's context current, and finds what was left behind.
class PluginFixture : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

/// Pairs (first, first) .. (last, last).
Pairs Matching(std::int64_t first, std::int64_t last);

}  // namespace PluginTest
