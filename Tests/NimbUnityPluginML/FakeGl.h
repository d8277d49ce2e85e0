// The EGL and GL functions that the plug-in calls, recorded, on objects in memory: no driver, no context.
//
// Calls count on threads that made the context current; on others they reach nothing, as on a device. Drawing copies
// the number of the picture in the external texture's image to the texture under the framebuffer.
#pragma once

#include "Tests/NimbUnityPluginML/FakePlatform.h"

#include <EGL/egl.h>
#include <GLES3/gl3.h>

#include <map>

namespace FakeGl {

/// Forgets everything: objects, calls, script.
void Reset();

/// The context for the calling thread; EGL_NO_CONTEXT for none.
void MakeCurrent(EGLContext context);
EGLContext TheContext();

/// What goes wrong. For the thread that has the context.
struct Script {
    std::map<GLenum, std::string> shaderFailures;  ///< by type: compiling such shaders fails with this log
    std::string linkFailure;                       ///< unless empty, linking fails with this log
    bool failImages = false;
    bool refuseMapping = false;
    GLenum error = GL_NO_ERROR;     ///< the next glGetError returns it
    EGLint eglError = EGL_SUCCESS;  ///< the next eglGetError returns it
    GLint uniformLocation = 0;
};
Script& TheScript();

// ---- What was seen ----

/// "function(argument, argument)", with constants of GL in hexadecimal.
std::vector<std::string> Calls();
int CallsOf(const std::string& begin);  ///< how many begin so
void ClearCalls();
int CallsWithoutContext();

GLuint MakeBuffer(std::size_t size);  ///< as the engine does
GLuint MakeTexture();
Fake::Bytes BufferBytes(GLuint buffer);
void SetBufferBytes(GLuint buffer, Fake::Bytes bytes);

/// Number of the picture last drawn into a texture; -1 when there is none.
std::int64_t PictureIn(GLuint texture);
int LiveImages();
int ImagesOfReleasedBuffers();

}  // namespace FakeGl
