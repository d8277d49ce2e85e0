#include "NimbUnityPluginML/PlayerRegistry.h"
#include "Tests/NimbUnityPluginML/PluginTest.h"

#include <chrono>
#include <future>
#include <memory>

namespace Nimb::Plugin {

/// Reaches for the queue of a player's mesh thread.
class MeshBarrier {
public:
    static bool Wait(int id) {
        const PlayerRegistry::Pin player = PlayerRegistry::Instance().Find(id);
        if (!player || !(*player).m_meshThread.joinable()) {
            return true;
        }
        const auto reached = std::make_shared<std::promise<void>>();
        (*player).m_meshTasks.Enqueue([reached] { reached->set_value(); });
        return reached->get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready;
    }
};

}  // namespace Nimb::Plugin

bool PluginTest::AwaitMeshes(int id) {
    return Nimb::Plugin::MeshBarrier::Wait(id);
}
