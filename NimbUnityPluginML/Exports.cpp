// The exported functions that scripts call: look the player up, one call, return.
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/PlayerRegistry.h"

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

namespace {

PlayerRegistry::Pin FindSilently(int id) {
    return PlayerRegistry::Instance().Find(id);
}

/// The player, or a line in the log that names the exported function.
PlayerRegistry::Pin Find(int id, const char* function) {
    PlayerRegistry::Pin player = FindSilently(id);
    if (!player) {
        NIMB_LOG_ERROR("%s: player object with id = %i not found", function, id);
    }
    return player;
}

}  // namespace

extern "C" {

int CreateQuorObject(void) {
    PlayerRegistry& registry = PlayerRegistry::Instance();
    const int id = registry.TakeId();
    auto player = std::make_unique<QuorObject>(id);
    NIMB_LOG_INFO("CreateQuorObject with id = %i", id);
    if (!player->Initialize()) {
        return -1;
    }
    registry.Add(id, std::move(player));
    return id;
}

uint8_t DestroyQuorObject(int id) {
    if (!FindSilently(id)) {
        NIMB_LOG_ERROR("DestroyQuorObject: player object with id = %i not found", id);
        return 0;
    }
    NIMB_LOG_INFO("DestroyQuorObject: for with id = %i", id);
    return PlayerRegistry::Instance().Destroy(id) ? 1 : 0;
}

uint8_t OpenQuorObject(int id, const char* path, const NimbOpenInfo* info) {
    const PlayerRegistry::Pin player = FindSilently(id);  // the one lookup that logs nothing
    return player && player->Open(path, info) ? 1 : 0;
}

uint8_t CloseQuorObject(int id) {
    const PlayerRegistry::Pin player = Find(id, "CloseQuorObject");
    return player && player->Close() ? 1 : 0;
}

uint8_t PlayQuorObject(int id) {
    const PlayerRegistry::Pin player = Find(id, "PlayQuorObject");
    return player && player->Play() ? 1 : 0;
}

uint8_t PauseQuorObject(int id) {
    const PlayerRegistry::Pin player = Find(id, "PauseQuorObject");
    return player && player->Pause() ? 1 : 0;
}

uint8_t RewindQuorObject(int id) {
    const PlayerRegistry::Pin player = Find(id, "RewindQuorObject");
    return player && player->Rewind() ? 1 : 0;
}

void SetClockScale(int id, float scale) {
    const PlayerRegistry::Pin player = Find(id, "SetClockScale");
    if (player) {
        player->SetClockScale(scale);
    }
}

uint8_t SetAudioVolume(int id, float volume) {
    const PlayerRegistry::Pin player = Find(id, "SetAudioVolume");
    return player && player->SetAudioVolume(volume) ? 1 : 0;
}

uint8_t GetQuorObjectFrameInfo(int id, NimbFrameInfo* info) {
    const PlayerRegistry::Pin player = Find(id, "GetQuorObjectFrameInfo");
    return player && player->GetFrameInfo(info) ? 1 : 0;
}

uint8_t GetQuorObjectFileInfo(int id, NimbFileInfo* info) {
    const PlayerRegistry::Pin player = Find(id, "GetQuorObjectFileInfo");
    return player && player->GetFileInfo(info) ? 1 : 0;
}

int GetQuorState(int id) {
    const PlayerRegistry::Pin player = Find(id, "GetQuorState");
    return player ? static_cast<int>(player->GetState()) : NimbState_NotFound;
}

uint8_t SetComputeNormals(int id, uint8_t computeNormals) {
    const PlayerRegistry::Pin player = Find(id, "SetComputeNormals");
    if (!player) {
        return 0;
    }
    NIMB_LOG_INFO("[%i] SetComputeNormals called with computeNormals = %i", id, computeNormals != 0 ? 1 : 0);
    player->SetComputeNormals(computeNormals != 0);
    return 1;
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
