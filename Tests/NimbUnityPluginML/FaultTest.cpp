// Out of memory and out of threads, at every place where that can happen: nothing throws into the engine, nothing is
// left behind, and the player goes on afterwards.
#include "Tests/NimbUnityPluginML/PluginTest.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <new>
#include <optional>

#include <dlfcn.h>
#include <pthread.h>

namespace {

constexpr char c_Script[] = "Script";

/// Something that fails on a thread of the player: the call after the next `skip`, `times` times in a row. What the
/// platform does for itself never fails.
struct Fault {
    std::atomic<bool> armed{false};
    std::atomic<const char*> thread{c_Script};
    std::atomic<int> skip{0};
    std::atomic<int> left{0};
    std::atomic<int> times{0};
    std::atomic<int> failures{0};

    bool FailsNow() {
        char name[16] = {};
        if (!armed || Fake::Inside::Any() || pthread_getname_np(pthread_self(), name, sizeof(name)) != 0 ||
            std::strcmp(name, thread) != 0 || failures >= times || left-- > 0) {
            return false;
        }
        left = skip.load();
        return ++failures > 0;
    }
};
Fault g_Allocation, g_Thread;

}  // namespace

extern "C" {

// The linker puts __wrap_X where the program calls X: operator new and operator new[].
// clang-format off
void* __real__Znwm(std::size_t size);
void* __real__Znam(std::size_t size);
void* __wrap__Znwm(std::size_t size) { return g_Allocation.FailsNow() ? throw std::bad_alloc() : __real__Znwm(size); }
void* __wrap__Znam(std::size_t size) { return g_Allocation.FailsNow() ? throw std::bad_alloc() : __real__Znam(size); }
// clang-format on

using ThreadFunction = void* (*)(void*);
using CreateThread = int(pthread_t*, const pthread_attr_t*, ThreadFunction, void*);

CreateThread __interceptor_pthread_create __attribute__((weak));  // a sanitizer's, which stands before the system's

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, ThreadFunction function,
                   void* argument) noexcept {
    static CreateThread* const real = __interceptor_pthread_create != nullptr
                                          ? &__interceptor_pthread_create
                                          : reinterpret_cast<CreateThread*>(dlsym(RTLD_NEXT, "pthread_create"));
    return g_Thread.FailsNow() ? EAGAIN : real(thread, attributes, function, argument);
}
}

using namespace PluginTest;

namespace {

class FaultTest : public PluginFixture {
protected:
    void SetUp() override {
        PluginFixture::SetUp();
        pthread_setname_np(pthread_self(), c_Script);
    }
    void TearDown() override {
        Plan(g_Allocation, c_Script, 0, 0);
        Plan(g_Thread, c_Script, 0, 0);
        PluginFixture::TearDown();
    }

    static void Plan(Fault& fault, const char* thread, int skip, int times = 1) {
        fault.thread = thread;
        fault.left = fault.skip = skip;
        fault.times = times;
        fault.failures = 0;
    }
    static int Failures() { return g_Allocation.failures + g_Thread.failures; }

    /// Faults happen in here alone.
    template <class Call>
    static auto Armed(Call&& call) {
        struct Scope {
            Scope() { g_Allocation.armed = g_Thread.armed = true; }
            ~Scope() { g_Allocation.armed = g_Thread.armed = false; }
        } const scope;
        return call();
    }

    /// The call succeeds, at once or after the fault.
    template <class Call>
    static void Try(const char* what, Call&& call) {
        const int before = Failures();
        if (!Armed(call)) {
            EXPECT_GT(Failures(), before) << what;
            EXPECT_TRUE(call()) << what;
        }
    }

    static void TryOpen(Player& player, const std::string& path) {
        Try("Open", [&] {
            const int before = player.State();
            const bool opened = player.Open(path);
            EXPECT_TRUE(opened || (player.State() == before && Fake::LiveHandles() == 0));
            return opened;
        });
    }

    static void PlayToTheEnd(Player& player, Screen& screen, std::int64_t last) {
        EXPECT_TRUE(WaitFor([&] {
            const std::lock_guard<std::mutex> noPicture(Fake::PictureGate());
            AwaitMeshes(player.Id());
            Armed([&] { OnUnityRenderModeEvent(player.Id()); });
            return screen.Picture() == last;
        }));
    }

    static std::ptrdiff_t OpenFiles() {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    }
};

/// From Create to Destroy.
TEST_F(FaultTest, EveryCallSurvivesEveryFailedAllocation) {
    const std::string path = AddFile(MakeClip({4, 500, 3, 512, {}, {}, true}));
    const std::ptrdiff_t files = OpenFiles();
    int skip = 0;
    for (bool failed = true; failed && !HasFailure(); ++skip) {
        SCOPED_TRACE(skip);
        Fake::ClearLog();
        FakeGl::TheScript().shaderFailures[GL_VERTEX_SHADER] = skip % 2 == 0 ? "" : "some log";
        Plan(g_Allocation, c_Script, skip);
        std::optional<Player> player;
        Try("Create", [&] {
            player.emplace();
            return player->Id() >= 0;
        });
        Screen screen(*player, c_MeshVertices, c_MeshIndices + 6);
        OnUnityRenderModeEvent(player->Id());
        FakeGl::TheScript().shaderFailures.clear();
        TryOpen(*player, path);
        Try("GetFileInfo", [&] {
            NimbFileInfo info{};
            return GetQuorObjectFileInfo(player->Id(), &info) != 0;
        });
        Try("Play", [&] { return player->Play(); });
        PlayToTheEnd(*player, screen, 3);
        const Fake::Bytes indices = FakeGl::BufferBytes(screen.indexBuffer);
        EXPECT_EQ(std::count(indices.begin(), indices.end(), 0xC5), 0) << "left as the engine made them";
        Try("Rewind", [&] { return player->Rewind() && player->Play() && player->Pause(); });
        Try("Close", [&] { return player->Close(); });
        Try("Destroy", [&] {
            player.reset();
            return true;
        });
        failed = Failures() > 0;
        EXPECT_EQ(OpenFiles(), files);
        EXPECT_EQ(LoggedWith("std::bad_alloc"), failed ? 1 : 0);
    }
    EXPECT_GT(skip, 25);
}

TEST_F(FaultTest, WorkersSurviveEveryFailedAllocation) {
    const std::string path = AddFile(MakeClip({3, 500}));
    for (const char* const thread : {"NimbPlayback", "NimbMesh"}) {
        SCOPED_TRACE(thread);
        int skip = 0;
        for (bool failed = true; failed && !HasFailure(); ++skip) {
            SCOPED_TRACE(skip);
            Plan(g_Allocation, thread, skip, skip < 4 ? 9 : 1);  // more than there are slots
            Player player;
            Screen screen(player);
            ASSERT_TRUE(player.Open(path));
            Armed([&] {
                EXPECT_TRUE(player.Play());
                EXPECT_TRUE(screen.RenderUntil([&] { return player.FrameInfo().endOfStream != 0; }));
                AwaitMeshes(player.Id());
            });
            failed = Failures() > 0;
            ASSERT_TRUE(player.Open(path));
            ASSERT_TRUE(player.Play());
            EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 2 && screen.Mesh() == 2; }));
        }
        EXPECT_GT(skip, 2);
    }
}

TEST_F(FaultTest, AThreadThatCannotBeStartedFailsTheOpenAndTheNextOneWorks) {
    const std::string path = AddFile(MakeClip({4, 500, 3}));
    for (int skip = 0; skip < 4; ++skip) {
        SCOPED_TRACE(skip);
        Plan(g_Thread, c_Script, skip);
        Player player;
        Screen screen(player);
        TryOpen(player, path);
        EXPECT_EQ(Failures(), 1);
        ASSERT_TRUE(player.Play());
        PlayToTheEnd(player, screen, 3);
    }
}

}  // namespace
