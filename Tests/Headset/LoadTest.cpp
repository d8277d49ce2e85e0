// The built library itself, as a process loads it: this program is linked against it and has the scripted platform,
// whose functions stand before the stand-ins' that the library was linked with.
#include "Tests/NimbUnityPluginML/PluginTest.h"

#include <filesystem>
#include <fstream>
#include <string>

#include <dlfcn.h>

using namespace PluginTest;

namespace {

bool ThreadsSleep() {
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        std::ifstream file(task.path() / "stat");
        std::string id, name, state;
        if (file >> id >> name >> state && (name == "(NimbMesh)" || name == "(NimbPlayback)") && state != "S") {
            return false;
        }
    }
    return true;
}

using LoadTest = PluginFixture;

TEST_F(LoadTest, TheBuiltLibraryPlaysAClipToItsEnd) {
    Dl_info library;
    ASSERT_NE(dladdr(reinterpret_cast<void*>(&CreateQuorObject), &library), 0);
    EXPECT_NE(std::string(library.dli_fname).find("libNimbUnityPluginML.so"), std::string::npos) << library.dli_fname;

    ClipOptions options;
    options.intervalUs = 20000;
    options.audioSamples = 8;  // of 512 bytes: one buffer of the sound's
    options.deltaFrames = true;
    const Fake::Clip clip = MakeClip(options);
    Player player;
    Screen screen(player);
    ASSERT_TRUE(player.Open(AddFile(clip)));
    NimbFileInfo file{};
    EXPECT_EQ(GetQuorObjectFileInfo(player.Id(), &file), 1);
    EXPECT_EQ(file.hasAudio, 1);
    EXPECT_EQ(file.textureWidth, 640u);
    ASSERT_TRUE(player.Play());
    EXPECT_TRUE(screen.RenderUntil([&] { return screen.Picture() == 11; }));
    EXPECT_TRUE(WaitFor([&] { return player.FrameInfo().endOfStream != 0; }));
    for (const auto& [picture, mesh] : screen.shown) {
        EXPECT_EQ(picture, mesh);
    }
    EXPECT_TRUE(WaitFor([&] { return Fake::PlayedSound() == SoundOf(clip); }));
}

}  // namespace

// The library hides its queues, so the threads are watched: those that fill and empty the mesh thread's both sleep.
// Twice, because they are looked at one by one.
bool PluginTest::AwaitMeshes(int) {
    return WaitFor([] { return ThreadsSleep() && ThreadsSleep(); });
}
