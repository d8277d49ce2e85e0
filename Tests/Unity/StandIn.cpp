// The engine for the managed tests: a render thread with a GL context, objects to fill and to read back, clips to play.
// Functions are called from the script thread; what fails ends the process with a message.
#include "EngineStandIn/Player.h"
#include "NimbUnityPluginML/NimbUnityPluginML.h"
#include "Tests/Support/CounterFrame.h"
#include "Tests/Support/TestClip.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>

#define STAND_IN_API extern "C" __attribute__((visibility("default")))

namespace {

using Nimb::EngineStandIn::Player;

struct Engine {
    Nimb::EngineStandIn::PluginLibrary plugin{"libNimbUnityPluginML.so"};
    Nimb::EngineStandIn::RenderThread renderThread;
};

Engine& GetEngine() {
    static Engine* const engine = new Engine;  // outlives the managed side's last object
    return *engine;
}

template <class Function>
auto OrDie(Function&& function) {
    try {
        return function();
    } catch (const std::exception& error) {
        std::fprintf(stderr, "stand-in: %s\n", error.what());
        std::exit(3);
    }
}

/// Lines of record, record.field or enumeration.value, with two numbers: offset and size, or the value and 0.
std::string DescribeLayout() {
    std::ostringstream lines;
#define RECORD(record) lines << #record << " 0 " << sizeof(record) << "\n";
#define FIELD(record, field) \
    lines << #record "." #field " " << offsetof(record, field) << " " << sizeof(record::field) << "\n";
#define VALUE(enumeration, value) lines << #enumeration "." #value " " << enumeration##_##value << " 0\n";
#include "Layout.inc"  // made from the header
#undef RECORD
#undef FIELD
#undef VALUE
    return lines.str();
}

}  // namespace

/// Runs a function on the render thread and waits for it.
STAND_IN_API void StandIn_RunEvent(NimbRenderEventFunc function, int eventId) {
    OrDie([&] { GetEngine().renderThread.Run([&] { function(eventId); }); });
}

STAND_IN_API void* StandIn_CreateObjects(int width, int height, int vertexCount, int indexCount) {
    return OrDie([&] {
        Engine& engine = GetEngine();
        auto player = std::make_unique<Player>(engine.plugin, engine.renderThread);
        player->CreateBuffers({width, height, vertexCount, indexCount});
        return player.release();
    });
}

STAND_IN_API void StandIn_DestroyObjects(Player* objects) {
    OrDie([&] { delete objects; });
}

/// The GL name of the texture (0), the vertex buffer (1) or the index buffer (2).
STAND_IN_API int StandIn_ObjectName(const Player* objects, int which) {
    const Player::Objects& names = objects->GlObjects();
    return static_cast<int>(which == 0 ? names.texture : which == 1 ? names.vertexBuffer : names.indexBuffer);
}

STAND_IN_API int StandIn_PictureNumber(const Player* objects) {
    return OrDie([&] { return GetEngine().renderThread.Run([&] { return ClipTest::ReadPictureNumber(*objects); }); });
}

STAND_IN_API int StandIn_MeshNumber(const Player* objects) {
    return OrDie([&] { return GetEngine().renderThread.Run([&] { return ClipTest::ReadMeshNumber(*objects); }); });
}

STAND_IN_API void StandIn_MakeClip(const char* path, int frameCount, int frameRate, int size, int meshColumns,
                                   int hasAudio, int frameWithoutMesh, int hasStrips) {
    OrDie([&] {
        ClipTest::ClipRecipe recipe;
        recipe.width = recipe.height = size;
        recipe.frameCount = frameCount;
        recipe.frameRate = frameRate;
        recipe.meshColumns = meshColumns;
        recipe.audioSeconds = hasAudio != 0 ? recipe.Seconds() : 0;
        recipe.changesTopology = true;
        if (hasStrips != 0) {
            recipe.indices = Nimb::Authoring::IndexCoding::Strips2;
        }
        recipe.damage = [=](int number, Nimb::Authoring::Bytes& mesh) {
            if (number == frameWithoutMesh) {
                mesh.clear();
            }
        };
        ClipTest::MakeClip(path, recipe);
    });
}

STAND_IN_API const char* StandIn_Layout() {
    static const std::string layout = DescribeLayout();
    return layout.c_str();
}

/// Ends the process at once.
STAND_IN_API void StandIn_Exit(int status) {
    std::_Exit(status);
}
