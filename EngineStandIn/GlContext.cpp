#include "EngineStandIn/GlContext.h"

#include <cstdlib>
#include <sstream>
#include <stdexcept>

namespace Nimb::EngineStandIn {
namespace {

void Check(bool good, const char* what) {
    if (!good) {
        std::ostringstream message;
        message << what << " failed: EGL error 0x" << std::hex << eglGetError();
        throw std::runtime_error(message.str());
    }
}

/// The default display, ready for OpenGL ES. The process shares it, so it stays initialised.
EGLDisplay OpenDisplay() {
    const EGLDisplay display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    Check(display != EGL_NO_DISPLAY, "eglGetDisplay");
    Check(eglInitialize(display, nullptr, nullptr) == EGL_TRUE, "eglInitialize");
    Check(eglBindAPI(EGL_OPENGL_ES_API) == EGL_TRUE, "eglBindAPI");
    return display;
}

/// A context and the surface that it draws on, if there is one.
class EglContext : public GlContext {
public:
    ~EglContext() override {
        eglMakeCurrent(m_Display, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
        if (m_Context != EGL_NO_CONTEXT) {
            eglDestroyContext(m_Display, m_Context);
        }
        if (m_Surface != EGL_NO_SURFACE) {
            eglDestroySurface(m_Display, m_Surface);
        }
        eglReleaseThread();
    }
    EglContext(const EglContext&) = delete;
    EglContext& operator=(const EglContext&) = delete;

    void SwapBuffers() override {
        if (m_Surface != EGL_NO_SURFACE) {
            eglSwapBuffers(m_Display, m_Surface);
        }
    }

protected:
    EglContext() = default;

    void MakeCurrent(EGLConfig config) {
        const EGLint attributes[] = {EGL_CONTEXT_CLIENT_VERSION, 3, EGL_NONE};
        m_Context = eglCreateContext(m_Display, config, EGL_NO_CONTEXT, attributes);
        Check(m_Context != EGL_NO_CONTEXT, "eglCreateContext");
        Check(eglMakeCurrent(m_Display, m_Surface, m_Surface, m_Context) == EGL_TRUE, "eglMakeCurrent");
    }

    EGLDisplay m_Display = EGL_NO_DISPLAY;
    EGLSurface m_Surface = EGL_NO_SURFACE;
    EGLContext m_Context = EGL_NO_CONTEXT;
};

class SurfacelessContext final : public EglContext {
public:
    SurfacelessContext() {
        setenv("EGL_PLATFORM", "surfaceless", 0);
        m_Display = OpenDisplay();
        const EGLint attributes[] = {EGL_RENDERABLE_TYPE, EGL_OPENGL_ES3_BIT, EGL_SURFACE_TYPE, 0, EGL_NONE};
        EGLConfig config = nullptr;
        EGLint count = 0;
        Check(eglChooseConfig(m_Display, attributes, &config, 1, &count) == EGL_TRUE && count == 1, "eglChooseConfig");
        MakeCurrent(config);
    }
};

class WindowContext final : public EglContext {
public:
    explicit WindowContext(EGLNativeWindowType window) {
        m_Display = OpenDisplay();
        for (const EGLint samples : {4, 0}) {
            const EGLConfig config = CreateSurface(window, samples);
            if (config != nullptr) {
                MakeCurrent(config);
                eglSwapInterval(m_Display, 1);
                return;
            }
        }
        Check(false, "eglCreateWindowSurface");
    }

private:
    /// With the first configuration that fits the window's visual; null when there is none.
    EGLConfig CreateSurface(EGLNativeWindowType window, EGLint samples) {
        const EGLint attributes[] = {EGL_RENDERABLE_TYPE,
                                     EGL_OPENGL_ES3_BIT,
                                     EGL_SURFACE_TYPE,
                                     EGL_WINDOW_BIT,
                                     EGL_RED_SIZE,
                                     8,
                                     EGL_GREEN_SIZE,
                                     8,
                                     EGL_BLUE_SIZE,
                                     8,
                                     EGL_DEPTH_SIZE,
                                     24,
                                     EGL_SAMPLES,
                                     samples,
                                     EGL_NONE};
        EGLConfig configs[64] = {};
        EGLint count = 0;
        Check(eglChooseConfig(m_Display, attributes, configs, 64, &count) == EGL_TRUE, "eglChooseConfig");
        for (EGLint i = 0; i < count; ++i) {
            m_Surface = eglCreateWindowSurface(m_Display, configs[i], window, nullptr);
            if (m_Surface != EGL_NO_SURFACE) {
                return configs[i];
            }
        }
        return nullptr;
    }
};

}  // namespace

std::unique_ptr<GlContext> MakeSurfacelessContext() {
    return std::make_unique<SurfacelessContext>();
}

std::unique_ptr<GlContext> MakeWindowContext(EGLNativeWindowType window) {
    return std::make_unique<WindowContext>(window);
}

}  // namespace Nimb::EngineStandIn
