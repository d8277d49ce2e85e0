// What the engine itself calls: load, graphics device, render events; and the handing over of its GL objects.
#include "NimbUnityPluginML/GraphicsDevice.h"
#include "NimbUnityPluginML/Log.h"
#include "NimbUnityPluginML/PlayerCall.h"

#include <EGL/egl.h>
#include <GLES3/gl3.h>

#include <atomic>

namespace {

constexpr int c_EventInitialize = 0;
constexpr char c_Version[] = "1.4.5.0-923a5b0";

std::atomic<void*> g_UnityInterfaces{nullptr};  // stored, not used further
EGLint g_UnityContextVersion = 0;               // render thread; only logged

}  // namespace

using namespace Nimb::Plugin;

extern "C" {

void UnityPluginLoad(void* unityInterfaces) {
    NIMB_LOG_INFO("NimbUnityPlugin loaded: version %s\n", c_Version);
    g_UnityInterfaces = unityInterfaces;
}

void UnitySetGraphicsDevice(void*, int deviceType, int) {
    NIMB_LOG_INFO("UnitySetGraphicsDevice: device type = %i", deviceType);
    const EGLContext context = eglGetCurrentContext();
    GraphicsDevice::Note(context);
    NIMB_LOG_INFO("Unity EGL context = %p", context);
    const EGLDisplay display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    if (eglQueryContext(display, context, EGL_CONTEXT_CLIENT_VERSION, &g_UnityContextVersion) == EGL_TRUE) {
        NIMB_LOG_INFO("Unity EGL_CONTEXT_CLIENT_VERSION = %i", g_UnityContextVersion);
    }
    const GLubyte* const renderer = glGetString(GL_RENDERER);
    NIMB_LOG_INFO("renderer = %s", renderer != nullptr ? reinterpret_cast<const char*>(renderer) : "(none)");
}

NimbRenderEventFunc GetDeviceEventFunc(void) {
    return [](int deviceType) {
        if (GraphicsDevice::Look()) {
            UnitySetGraphicsDevice(nullptr, deviceType, c_EventInitialize);
        }
    };
}

uint8_t GetDeviceInfo(NimbDeviceInfo* info) {
    *info = GraphicsDevice::Info();
    return 1;
}

NimbRenderEventFunc GetRenderEventFunc(void) {
    return &UnityRenderEvent;
}

void UnityRenderEvent(int) {
    NIMB_LOG_INFO("UnityRenderEvent");
}

NimbRenderEventFunc GetUnityRenderModeEventFunc(void) {
    return &OnUnityRenderModeEvent;
}

void OnUnityRenderModeEvent(int eventId) {
    CallSilently(eventId, "OnUnityRenderModeEvent", false, [](QuorObject& player) {
        player.OnUnityRender(GraphicsDevice::Context(), GraphicsDevice::Info().context);
        return true;
    });
}

int SetUnityBuffers(int id, void* texture, int width, int height, void* vertexBuffer, int vertexBufferSize,
                    void* indexBuffer, int indexBufferSize) {
    return CallSilently(id, "SetUnityBuffers", 0, [=](QuorObject& player) {
        return player.SetUnityBuffers(vertexBuffer, vertexBufferSize, indexBuffer, indexBufferSize, texture, width,
                                      height);
    });
}

}  // extern "C"
