// The plug-in as the engine sees it: a shared library and the functions that it exports, found by their names.
#pragma once

#include "NimbUnityPluginML/NimbUnityPluginML.h"

#include <cstdint>
#include <string>

namespace Nimb::EngineStandIn {

/// Every exported function, under its exported name. Those of a feature that the library lacks are null.
struct PluginFunctions {
#define NIMB_PLUGIN_FUNCTIONS(X)    \
    X(CreateQuorObject)             \
    X(DestroyQuorObject)            \
    X(OpenQuorObject)               \
    X(CloseQuorObject)              \
    X(PlayQuorObject)               \
    X(PauseQuorObject)              \
    X(RewindQuorObject)             \
    X(SetClockScale)                \
    X(SetAudioVolume)               \
    X(GetQuorObjectFrameInfo)       \
    X(GetQuorObjectFileInfo)        \
    X(GetQuorState)                 \
    X(SetComputeNormals)            \
    X(getPlatformABI)               \
    X(SetQuorObjectAudio3DPosition) \
    X(SetUseGPU)                    \
    X(TestUnityBuffersValid)        \
    X(ReleaseUnityBuffers)          \
    X(SetUnityBuffers)              \
    X(GetUnityRenderModeEventFunc)  \
    X(OnUnityRenderModeEvent)       \
    X(GetRenderEventFunc)           \
    X(UnityRenderEvent)             \
    X(UnityPluginLoad)              \
    X(UnitySetGraphicsDevice)
#define NIMB_PLUGIN_SEEK_FUNCTIONS(X) \
    X(SeekQuorObject)                 \
    X(SeekQuorObjectToTime)           \
    X(StepQuorObject)                 \
    X(TakeSeekEnd)
#define NIMB_PLUGIN_PLAY_RANGE_FUNCTIONS(X) X(SetPlayRange)
#define NIMB_PLUGIN_CLOCK_FUNCTIONS(X) \
    X(CreatePlayerClock)               \
    X(DestroyPlayerClock)              \
    X(JoinPlayerClock)                 \
    X(LeavePlayerClock)                \
    X(PlayPlayerClock)                 \
    X(PausePlayerClock)                \
    X(SeekPlayerClock)                 \
    X(SetPlayerClockSpeed)             \
    X(GetPlayerClockInfo)
#define NIMB_PLUGIN_DEVICE_FUNCTIONS(X) \
    X(GetDeviceEventFunc)               \
    X(GetDeviceInfo)
#define NIMB_PLUGIN_SHOWN_FRAME_FUNCTIONS(X) X(GetShownFrame)
#define NIMB_PLUGIN_TROUBLE_FUNCTIONS(X) X(TakeTrouble)
#define NIMB_MEMBER(name) decltype(&::name) name = nullptr;  // NOLINT(bugprone-macro-parentheses)
    NIMB_PLUGIN_FUNCTIONS(NIMB_MEMBER)
    NIMB_PLUGIN_SEEK_FUNCTIONS(NIMB_MEMBER)
    NIMB_PLUGIN_PLAY_RANGE_FUNCTIONS(NIMB_MEMBER)
    NIMB_PLUGIN_CLOCK_FUNCTIONS(NIMB_MEMBER)
    NIMB_PLUGIN_DEVICE_FUNCTIONS(NIMB_MEMBER)
    NIMB_PLUGIN_SHOWN_FRAME_FUNCTIONS(NIMB_MEMBER)
    NIMB_PLUGIN_TROUBLE_FUNCTIONS(NIMB_MEMBER)
#undef NIMB_MEMBER
};

/// Keeps the library loaded. Throws std::runtime_error when it cannot be loaded or lacks a function that every version
/// has, or one of a feature that it says it has; the message names what is missing.
class PluginLibrary {
public:
    explicit PluginLibrary(const std::string& path);
    ~PluginLibrary();
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    const PluginFunctions* operator->() const noexcept { return &m_Functions; }

    bool Has(std::uint32_t feature) const noexcept { return (m_Features & feature) == feature; }

private:
    void ResolveAll();

    void* m_Library;
    std::uint32_t m_Features = 0;
    PluginFunctions m_Functions;
};

}  // namespace Nimb::EngineStandIn
