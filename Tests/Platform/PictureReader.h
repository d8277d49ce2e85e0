// Reads a codec's frames back as the player shows them: through an EGL image, the external sampler and a framebuffer,
// in a context without a display.
#pragma once

#include "EngineStandIn/GlContext.h"

#include <ml_types.h>

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl3.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

extern "C" {
EGLImageKHR eglCreateImageKHR(EGLDisplay, EGLContext, EGLenum, EGLClientBuffer, const EGLint*);
EGLBoolean eglDestroyImageKHR(EGLDisplay, EGLImageKHR);
void glEGLImageTargetTexture2DOES(GLenum, void*);
}

namespace NimbTest {

class PictureReader {
public:
    PictureReader() {
        setenv("LP_NUM_THREADS", "0", 1);  // ThreadSanitizer cannot see how the renderer's own threads agree
        m_Context = Nimb::EngineStandIn::MakeSurfacelessContext();
        m_Display = eglGetCurrentDisplay();
        m_Program = LinkProgram();
    }
    ~PictureReader() { glDeleteProgram(m_Program); }
    PictureReader(const PictureReader&) = delete;
    PictureReader& operator=(const PictureReader&) = delete;

    EGLDisplay Display() const { return m_Display; }

    EGLImageKHR CreateImage(MLHandle frame) const {
        return eglCreateImageKHR(m_Display, EGL_NO_CONTEXT, EGL_NATIVE_BUFFER_ANDROID,
                                 reinterpret_cast<EGLClientBuffer>(static_cast<uintptr_t>(frame)), nullptr);
    }

    /// RGBA, the texture's row 0 first. Empty when there is no image.
    std::vector<uint8_t> ReadFrame(MLHandle frame, int width, int height) const {
        const EGLImageKHR image = CreateImage(frame);
        if (image == EGL_NO_IMAGE_KHR) {
            return {};
        }
        std::vector<uint8_t> pixels = ReadImage(image, width, height);
        eglDestroyImageKHR(m_Display, image);
        return pixels;
    }

    std::vector<uint8_t> ReadImage(EGLImageKHR image, int width, int height) const {
        constexpr GLenum external = 0x8D65;  // GL_TEXTURE_EXTERNAL_OES
        GLuint textures[2] = {};
        GLuint framebuffer = 0;
        glGenTextures(2, textures);
        glGenFramebuffers(1, &framebuffer);
        glBindTexture(external, textures[0]);
        glTexParameteri(external, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
        glEGLImageTargetTexture2DOES(external, image);
        glBindTexture(GL_TEXTURE_2D, textures[1]);
        glTexStorage2D(GL_TEXTURE_2D, 1, GL_RGBA8, width, height);
        glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
        glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, textures[1], 0);
        glViewport(0, 0, width, height);
        glUseProgram(m_Program);
        glDrawArrays(GL_TRIANGLES, 0, 3);
        std::vector<uint8_t> pixels(static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
        glReadPixels(0, 0, width, height, GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
        glDeleteFramebuffers(1, &framebuffer);
        glDeleteTextures(2, textures);
        return pixels;
    }

private:
    static GLuint LinkProgram() {
        const char* const vertex =
            "#version 300 es\nout vec2 uv; void main() { uv = vec2(gl_VertexID & 1, gl_VertexID >> 1) * 2.0;"
            "gl_Position = vec4(uv * 2.0 - 1.0, 0.0, 1.0); }";
        const char* const fragment =
            "#version 300 es\n#extension GL_OES_EGL_image_external_essl3 : require\nprecision highp float;"
            "uniform samplerExternalOES image; in vec2 uv; out vec4 colour; void main() { colour = texture(image, uv); "
            "}";
        const GLuint program = glCreateProgram();
        for (const auto& [type, source] : {std::pair(GL_VERTEX_SHADER, vertex), {GL_FRAGMENT_SHADER, fragment}}) {
            const GLuint shader = glCreateShader(static_cast<GLenum>(type));
            glShaderSource(shader, 1, &source, nullptr);
            glCompileShader(shader);
            glAttachShader(program, shader);
            glDeleteShader(shader);
        }
        glLinkProgram(program);
        GLint linked = 0;
        glGetProgramiv(program, GL_LINK_STATUS, &linked);
        if (linked == 0) {
            throw std::runtime_error("the external sampler's program does not link");
        }
        return program;
    }

    EGLDisplay m_Display = EGL_NO_DISPLAY;
    std::unique_ptr<Nimb::EngineStandIn::GlContext> m_Context;
    GLuint m_Program = 0;
};

}  // namespace NimbTest
