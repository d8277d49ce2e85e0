#include "NimbUnityPluginML/GraphicsDevice.h"

#include "NimbUnityPluginML/Log.h"

#include <GLES3/gl3.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

static_assert(sizeof(NimbDeviceInfo) == 8);
static_assert(offsetof(NimbDeviceInfo, context) == 4);

namespace Nimb::Plugin::GraphicsDevice {
namespace {

std::atomic<EGLContext> g_Context{EGL_NO_CONTEXT};
std::atomic<std::uint64_t> g_Info{NimbDevice_Unknown};  // the context's number above, the status below

// Render thread.
EGLContext g_LastContext = EGL_NO_CONTEXT;  // but not EGL_NO_CONTEXT
GLuint g_Mark = 0;                          // in g_LastContext; 0: it has none

constexpr char c_MarkBytes[] = "libNimbUnityPluginML was here";

/// Binds a buffer while it lives. The target is one that drawing does not look at.
class BoundBuffer {
public:
    explicit BoundBuffer(GLuint buffer) {
        glGetIntegerv(GL_COPY_READ_BUFFER_BINDING, &m_Saved);
        glBindBuffer(GL_COPY_READ_BUFFER, buffer);
    }
    ~BoundBuffer() { glBindBuffer(GL_COPY_READ_BUFFER, static_cast<GLuint>(m_Saved)); }
    BoundBuffer(const BoundBuffer&) = delete;
    BoundBuffer& operator=(const BoundBuffer&) = delete;

private:
    GLint m_Saved = 0;
};

bool IsMarkThere() {
    if (glIsBuffer(g_Mark) == GL_FALSE) {
        return false;
    }
    const BoundBuffer bound(g_Mark);  // by now it may be a buffer of the engine's: it is read and nothing else
    const void* const bytes = glMapBufferRange(GL_COPY_READ_BUFFER, 0, sizeof(c_MarkBytes), GL_MAP_READ_BIT);
    if (bytes == nullptr) {
        glGetError();  // a smaller buffer, or one that is mapped
        return false;
    }
    const bool isThere = std::memcmp(bytes, c_MarkBytes, sizeof(c_MarkBytes)) == 0;
    glUnmapBuffer(GL_COPY_READ_BUFFER);
    return isThere;
}

void MakeMark() {
    glGenBuffers(1, &g_Mark);
    const BoundBuffer bound(g_Mark);
    glBufferData(GL_COPY_READ_BUFFER, sizeof(c_MarkBytes), c_MarkBytes, GL_STATIC_READ);
}

void SetStatus(NimbDevice status, bool isAnother) {
    g_Info = std::uint64_t{Info().context + (isAnother ? 1 : 0)} << 32 | static_cast<std::uint64_t>(status);
}

void NoteCurrent(EGLContext context, bool isAnother) {
    if (isAnother) {
        g_Mark = 0;
        g_LastContext = context;
    }
    SetStatus(NimbDevice_Ready, isAnother);
}

}  // namespace

void Note(EGLContext context) {
    g_Context = context;
    if (context == EGL_NO_CONTEXT) {
        SetStatus(NimbDevice_NoContext, false);
    } else {
        NoteCurrent(context, context != g_LastContext);
    }
}

bool Look() {
    const EGLContext context = eglGetCurrentContext();
    if (context == EGL_NO_CONTEXT) {
        NIMB_LOG_ERROR("the engine draws without EGL: OpenGL ES 3 is needed");
        SetStatus(NimbDevice_NoContext, false);
        return false;
    }
    NoteCurrent(context, context != g_LastContext || (g_Mark != 0 && !IsMarkThere()));
    if (g_Mark == 0) {
        MakeMark();
    }
    return true;
}

EGLContext Context() noexcept {
    return g_Context;
}

NimbDeviceInfo Info() noexcept {
    const std::uint64_t info = g_Info;
    return {static_cast<NimbDevice>(info & UINT32_MAX), static_cast<std::uint32_t>(info >> 32)};
}

}  // namespace Nimb::Plugin::GraphicsDevice
