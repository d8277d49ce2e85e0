#include "NimbUnityPluginML/GlErrors.h"

#include "NimbUnityPluginML/Log.h"

#include <EGL/egl.h>
#include <GLES3/gl3.h>

namespace Nimb::Plugin {

void CheckGLError(const char* what) {
    const GLenum error = glGetError();
    if (error != GL_NO_ERROR) {
        NIMB_LOG_ERROR("%s, error = %x", what, error);
    }
}

void CheckEGLError(const char* what) {
    const EGLint error = eglGetError();
    if (error != EGL_SUCCESS) {
        NIMB_LOG_ERROR("%s, error = %x", what, static_cast<unsigned>(error));
    }
}

}  // namespace Nimb::Plugin
