// The plug-in for editors: what ends a headset's process is trouble here, and the device may come, go and be another.
#include "Tests/NimbUnityPluginML/RealClips/Watcher.h"
#include "Tests/Support/TestClip.h"

#include <GLES3/gl3.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <thread>

namespace ClipTest {
namespace {

using Nimb::EngineStandIn::Player;
using Nimb::EngineStandIn::PluginLibrary;
using Nimb::EngineStandIn::RenderThread;

class EditorPlugin : public testing::Test {
protected:
    NimbDeviceInfo DeviceInfo() {
        NimbDeviceInfo info{};
        EXPECT_EQ(m_Plugin->GetDeviceInfo(&info), 1);
        return info;
    }

    PluginLibrary m_Plugin{NIMB_EDITOR_PLUGIN_FILE};
    TemporaryFolder m_Folder;
};

TEST_F(EditorPlugin, ADamagedClipPlaysOnAndSaysWhichFrameIsDamaged) {
    ClipRecipe recipe;
    recipe.delta = std::nullopt;
    recipe.damage = [](int number, Nimb::Authoring::Bytes& mesh) {
        mesh.resize(number == 9 ? mesh.size() / 2 : mesh.size());
    };
    MakeClip(m_Folder / "clip.mp4", recipe);
    const LogCapture log;
    RenderThread renderThread;
    renderThread.Run([this] { m_Plugin->GetDeviceEventFunc()(11); });
    ASSERT_EQ(DeviceInfo().status, NimbDevice_Ready);
    Player player(m_Plugin, renderThread);
    ASSERT_TRUE(player.Open(m_Folder / "clip.mp4"));
    player.CreateBuffers();
    m_Plugin->SetClockScale(player.Id(), c_PlayableSpeed);
    ASSERT_TRUE(m_Plugin->PlayQuorObject(player.Id()));
    std::set<std::int64_t> damaged, lost, shown;
    const Clock::time_point limit = Clock::now() + std::chrono::seconds(20);
    while (player.FrameInfo().endOfStream == 0 && Clock::now() < limit) {
        renderThread.Run([&] { player.OnRender(); });
        for (NimbTrouble trouble{}; m_Plugin->TakeTrouble(player.Id(), &trouble) != 0;) {
            (trouble.reason == NimbTroubleReason_DamagedMesh ? damaged : lost).insert(trouble.frame);
        }
        NimbShownFrame record{};
        EXPECT_EQ(m_Plugin->GetShownFrame(player.Id(), &record), 1);
        shown.insert(record.frame);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    EXPECT_EQ(damaged, std::set<std::int64_t>{9});
    EXPECT_EQ(lost.count(9), 1u);
    EXPECT_EQ(shown.count(9), 0u);
    EXPECT_GT(shown.size(), static_cast<std::size_t>(recipe.frameCount) * 3 / 4);
}

TEST_F(EditorPlugin, ContextsAreToldApartAndNoneIsNoEnd) {
    EXPECT_EQ(DeviceInfo().status, NimbDevice_Unknown);
    std::thread([this] { m_Plugin->GetDeviceEventFunc()(11); }).join();  // an engine that draws with something else
    EXPECT_EQ(DeviceInfo().status, NimbDevice_NoContext);
    const auto announce = [this](RenderThread& renderThread) {
        renderThread.Run([this] { m_Plugin->GetDeviceEventFunc()(11); });
        EXPECT_EQ(DeviceInfo().status, NimbDevice_Ready);
        EXPECT_EQ(renderThread.Run([] { return glGetError(); }), 0u);
        return DeviceInfo().context;
    };
    EGLContext first = EGL_NO_CONTEXT;
    {
        RenderThread renderThread;
        EXPECT_EQ(announce(renderThread), 1u);
        EXPECT_EQ(announce(renderThread), 1u);
        first = renderThread.Run([] { return eglGetCurrentContext(); });
    }
    bool isAtTheSameAddress = false;
    for (int i = 0; i < 30 && !isAtTheSameAddress; ++i) {
        RenderThread renderThread;
        isAtTheSameAddress = renderThread.Run([] { return eglGetCurrentContext(); }) == first;
        if (isAtTheSameAddress || i == 29) {
            EXPECT_EQ(announce(renderThread), 2u);
            EXPECT_EQ(announce(renderThread), 2u);
        }
    }
    std::printf("%s\n", isAtTheSameAddress ? "at the same address" : "at another address");
}

}  // namespace
}  // namespace ClipTest
