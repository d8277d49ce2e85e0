// The EGL and GL functions that the plug-in calls, recorded, on objects in memory: no driver, no context.
//
// Calls count on threads that made the context current; on others they reach nothing, as on a device. Drawing copies
// the number of the picture in the external texture's image to the texture under the framebuffer.
#pragma once

#include "FakePlatform.h"

#include <EGL/egl.h>
#include <GLES3/gl3.h>

namespace FakeGl {

/// Forgets everything: objects, calls, script.
void Reset();

/// The context for the calling thread; EGL_NO_CONTEXT for none.
void MakeCurrent(EGLContext context);
EGLContext TheContext();

// ---- Script ----

void FailShader(GLenum type, const std::string& infoLog);  ///< compiling shaders of this type fails
void FailLink(const std::string& infoLog);
void Repair();  ///< shaders compile and link again
void FailImages(bool fail);
void SetError(GLenum error);     ///< the next glGetError returns it
void SetEglError(EGLint error);  ///< the next eglGetError returns it
void SetUniformLocation(GLint location);
void RefuseMapping(bool refuse);

// ---- What was seen ----

std::vector<std::string> Calls();
void ClearCalls();
int CallsWithoutContext();

GLuint MakeBuffer(std::size_t size);  ///< as the engine does
GLuint MakeTexture();
Fake::Bytes BufferBytes(GLuint buffer);
void SetBufferBytes(GLuint buffer, Fake::Bytes bytes);

/// Number of the picture last drawn into a texture; -1 when there is none.
std::int64_t PictureIn(GLuint texture);
std::string ShaderSource(GLenum type);  ///< given last
int LiveImages();
int ImagesOfReleasedBuffers();

}  // namespace FakeGl
