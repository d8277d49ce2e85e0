// The built library itself, as a process loads it: this program is linked against it and has the scripted platform,
// whose functions stand before the stand-ins' that the library was linked with.
#include "Tests/NimbUnityPluginML/PluginTest.h"

#include <chrono>
#include <string>

#include <dlfcn.h>

using namespace PluginTest;

namespace {

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
    // The library hides its queues, so that no event can wait for meshes: a picture that comes before its mesh is
    // passed over. Once in so many passes the last one is not.
    const auto playToTheEnd = [&] {
        Fake::ForgetPlayedSound();
        bool hasEnded = false;
        return player.Play() && screen.RenderUntil(
                                    [&] {
                                        hasEnded = hasEnded || player.FrameInfo().endOfStream != 0;
                                        return hasEnded && screen.Picture() == 11;
                                    },
                                    std::chrono::seconds(2));
    };
    bool isShown = playToTheEnd();
    for (int pass = 0; pass < 20 && !isShown; ++pass) {
        ASSERT_TRUE(player.Rewind());
        isShown = playToTheEnd();
    }
    EXPECT_TRUE(isShown);
    for (const auto& [picture, mesh] : screen.shown) {
        EXPECT_EQ(picture, mesh);
    }
    EXPECT_TRUE(WaitFor([&] { return Fake::PlayedSound() == SoundOf(clip); }));
}

}  // namespace

bool PluginTest::AwaitMeshes(int) {
    return true;
}
