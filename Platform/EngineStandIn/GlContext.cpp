#include "Platform/EngineStandIn/GlContext.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace EngineStandIn {
namespace {

void Check(bool good, const char* what) {
    if (!good) {
        std::ostringstream message;
        message << what << " failed: EGL error 0x" << std::hex << eglGetError();
        throw std::runtime_error(message.str());
    }
}

class SurfacelessContext final : public GlContext {
public:
    SurfacelessContext() {
        setenv("EGL_PLATFORM", "surfaceless", 0);
        m_Display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
        Check(m_Display != EGL_NO_DISPLAY, "eglGetDisplay");
        Check(eglInitialize(m_Display, nullptr, nullptr) == EGL_TRUE, "eglInitialize");
        Check(eglBindAPI(EGL_OPENGL_ES_API) == EGL_TRUE, "eglBindAPI");
        const EGLint configAttributes[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_ES3_BIT, EGL_SURFACE_TYPE, 0, EGL_NONE};
        EGLConfig config = nullptr;
        EGLint count = 0;
        Check(eglChooseConfig(m_Display, configAttributes, &config, 1, &count) == EGL_TRUE && count == 1,
              "eglChooseConfig");
        const EGLint contextAttributes[] = {EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE};
        m_Context = eglCreateContext(m_Display, config, EGL_NO_CONTEXT, contextAttributes);
        Check(m_Context != EGL_NO_CONTEXT, "eglCreateContext");
        if (eglMakeCurrent(m_Display, EGL_NO_SURFACE, EGL_NO_SURFACE, m_Context) != EGL_TRUE) {
            eglDestroyContext(m_Display, m_Context);
            Check(false, "eglMakeCurrent");
        }
    }
    // The display is the process's; it stays initialised.
    ~SurfacelessContext() override {
        eglMakeCurrent(m_Display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        eglDestroyContext(m_Display, m_Context);
        eglReleaseThread();
    }
    SurfacelessContext(const SurfacelessContext&) = delete;
    SurfacelessContext& operator=(const SurfacelessContext&) = delete;

private:
    EGLDisplay m_Display = EGL_NO_DISPLAY;
    EGLContext m_Context = EGL_NO_CONTEXT;
};

}  // namespace

std::unique_ptr<GlContext> MakeSurfacelessContext() {
    return std::make_unique<SurfacelessContext>();
}

}  // namespace EngineStandIn
