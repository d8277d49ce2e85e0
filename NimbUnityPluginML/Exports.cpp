// The exported functions that scripts call: look the player up, one call, return. Nothing throws.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/PlayerCall.h"

#include <cstddef>

static_assert(sizeof(NimbOpenInfo) == 4124);
static_assert(offsetof(NimbOpenInfo, disableAudio) == 0);
static_assert(offsetof(NimbOpenInfo, autoLoop) == 5);

static_assert(sizeof(NimbFileInfo) == 104);
static_assert(offsetof(NimbFileInfo, hasAudio) == 0);
static_assert(offsetof(NimbFileInfo, duration) == 8);
static_assert(offsetof(NimbFileInfo, frameCount) == 16);
static_assert(offsetof(NimbFileInfo, maxVertexCount) == 20);
static_assert(offsetof(NimbFileInfo, maxIndexCount) == 24);
static_assert(offsetof(NimbFileInfo, bitrateMbps) == 28);
static_assert(offsetof(NimbFileInfo, fileSizeMB) == 32);
static_assert(offsetof(NimbFileInfo, minX) == 40);
static_assert(offsetof(NimbFileInfo, minY) == 48);
static_assert(offsetof(NimbFileInfo, minZ) == 56);
static_assert(offsetof(NimbFileInfo, maxX) == 64);
static_assert(offsetof(NimbFileInfo, maxY) == 72);
static_assert(offsetof(NimbFileInfo, maxZ) == 80);
static_assert(offsetof(NimbFileInfo, textureWidth) == 88);
static_assert(offsetof(NimbFileInfo, textureHeight) == 92);
static_assert(offsetof(NimbFileInfo, hasNormals) == 96);

static_assert(sizeof(NimbFrameInfo) == 80);
static_assert(offsetof(NimbFrameInfo, timestamp) == 0);
static_assert(offsetof(NimbFrameInfo, minX) == 8);
static_assert(offsetof(NimbFrameInfo, minY) == 16);
static_assert(offsetof(NimbFrameInfo, minZ) == 24);
static_assert(offsetof(NimbFrameInfo, maxX) == 32);
static_assert(offsetof(NimbFrameInfo, maxY) == 40);
static_assert(offsetof(NimbFrameInfo, maxZ) == 48);
static_assert(offsetof(NimbFrameInfo, frameId) == 56);
static_assert(offsetof(NimbFrameInfo, vertexCount) == 60);
static_assert(offsetof(NimbFrameInfo, indexCount) == 64);
static_assert(offsetof(NimbFrameInfo, textureWidth) == 68);
static_assert(offsetof(NimbFrameInfo, textureHeight) == 72);
static_assert(offsetof(NimbFrameInfo, endOfStream) == 76);
static_assert(offsetof(NimbFrameInfo, isRepeatedFrame) == 77);

using namespace Nimb::Plugin;

extern "C" {

int CreateQuorObject(void) {
    return Guarded("CreateQuorObject", -1, [] {
        PlayerRegistry& registry = PlayerRegistry::Instance();
        const int id = registry.TakeId();
        auto player = std::make_unique<QuorObject>(id);
        NIMB_LOG_INFO("CreateQuorObject with id = %i", id);
        if (!player->Initialize()) {
            return -1;
        }
        registry.Add(id, std::move(player));
        return id;
    });
}

uint8_t DestroyQuorObject(int id) {
    const bool found = CallPlayer(id, "DestroyQuorObject", false, [id](QuorObject&) {
        NIMB_LOG_INFO("DestroyQuorObject: for with id = %i", id);
        return true;
    });
    return found && Guarded("DestroyQuorObject", false, [id] { return PlayerRegistry::Instance().Destroy(id); });
}

uint8_t OpenQuorObject(int id, const char* path, const NimbOpenInfo* info) {
    // The one lookup that logs nothing.
    return CallSilently(id, "OpenQuorObject", false, [=](QuorObject& player) { return player.Open(path, info); });
}

uint8_t CloseQuorObject(int id) {
    return CallPlayer(id, "CloseQuorObject", false, [](QuorObject& player) { return player.Close(); });
}

uint8_t PlayQuorObject(int id) {
    return CallPlayer(id, "PlayQuorObject", false, [](QuorObject& player) { return player.Play(); });
}

uint8_t PauseQuorObject(int id) {
    return CallPlayer(id, "PauseQuorObject", false, [](QuorObject& player) { return player.Pause(); });
}

uint8_t RewindQuorObject(int id) {
    return CallPlayer(id, "RewindQuorObject", false, [](QuorObject& player) { return player.Rewind(); });
}

void SetClockScale(int id, float scale) {
    CallPlayer(id, "SetClockScale", false, [scale](QuorObject& player) {
        player.SetClockScale(scale);
        return true;
    });
}

uint8_t SetAudioVolume(int id, float volume) {
    return CallPlayer(id, "SetAudioVolume", false, [=](QuorObject& player) { return player.SetAudioVolume(volume); });
}

uint8_t GetQuorObjectFrameInfo(int id, NimbFrameInfo* info) {
    return CallPlayer(id, "GetQuorObjectFrameInfo", false,
                      [=](QuorObject& player) { return player.GetFrameInfo(info); });
}

uint8_t GetQuorObjectFileInfo(int id, NimbFileInfo* info) {
    return CallPlayer(id, "GetQuorObjectFileInfo", false, [=](QuorObject& player) { return player.GetFileInfo(info); });
}

int GetQuorState(int id) {
    return CallPlayer(id, "GetQuorState", int{NimbState_NotFound},
                      [](QuorObject& player) { return int{player.GetState()}; });
}

uint8_t SetComputeNormals(int id, uint8_t computeNormals) {
    return CallPlayer(id, "SetComputeNormals", false, [=](QuorObject& player) {
        NIMB_LOG_INFO("[%i] SetComputeNormals called with computeNormals = %i", id, computeNormals != 0 ? 1 : 0);
        player.SetComputeNormals(computeNormals != 0);
        return true;
    });
}

const char* getPlatformABI(void) {
    NIMB_LOG_ERROR("This dynamic shared library is compiled with ABI: %s", "unknown");
    return "This native library is compiled with ABI: %sunknown.";  // placeholder included, as callers know it
}

uint8_t SetQuorObjectAudio3DPosition(int, float, float, float) {
    return 1;
}
uint8_t SetUseGPU(int, uint8_t) {
    return 1;
}
uint8_t TestUnityBuffersValid(int) {
    return 1;
}
uint8_t ReleaseUnityBuffers(int) {
    return 1;
}

}  // extern "C"
