// The plug-in as the engine sees it: a shared library and the functions that it exports, found by their names.
#pragma once

#include "NimbUnityPluginML/NimbUnityPluginML.h"

#include <string>

namespace Nimb::EngineStandIn {

/// Every exported function, under its exported name.
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
#define NIMB_MEMBER(name) decltype(&::name) name = nullptr;  // NOLINT(bugprone-macro-parentheses)
    NIMB_PLUGIN_FUNCTIONS(NIMB_MEMBER)
#undef NIMB_MEMBER
};

/// Keeps the library loaded. Throws std::runtime_error when it cannot be loaded or lacks a function, and names what is
/// missing.
class PluginLibrary {
public:
    explicit PluginLibrary(const std::string& path);
    ~PluginLibrary();
    PluginLibrary(const PluginLibrary&) = delete;
    PluginLibrary& operator=(const PluginLibrary&) = delete;

    const PluginFunctions* operator->() const noexcept { return &m_Functions; }

private:
    void* m_Library;
    PluginFunctions m_Functions;
};

}  // namespace Nimb::EngineStandIn
