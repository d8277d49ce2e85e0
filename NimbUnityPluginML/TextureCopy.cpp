#include "NimbUnityPluginML/TextureCopy.h"

#include "Nimb/NimbAssert.h"
#include "NimbUnityPluginML/GlErrors.h"
#include "NimbUnityPluginML/Log.h"

#define EGL_EGLEXT_PROTOTYPES
#define GL_GLEXT_PROTOTYPES
#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES3/gl3.h>

#include <GLES2/gl2ext.h>  // needs the one before

#include <algorithm>
#include <cstddef>
#include <vector>

namespace Nimb::Plugin {

#ifndef EGL_NATIVE_BUFFER_ANDROID
#define EGL_NATIVE_BUFFER_ANDROID 0x3140
#endif

namespace {

/// One triangle that covers the viewport.
constexpr float c_FullScreenTriangle[6] = {-1, 3, 3, -1, -1, -1};

constexpr char c_VertexShader[] =
    "                #version 100                                                      \n"
    "                attribute vec2 pos;                                               \n"
    "                varying vec2 uv;                                                  \n"
    "                void main()                                                       \n"
    "                {                                                                 \n"
    "                uv = 0.5 * pos + vec2(0.5, 0.5);                                  \n"
    "                gl_Position = vec4(pos, 0.0, 1.0);                                \n"
    "                }                                                                 \n";

constexpr char c_FragmentShader[] =
    "                #version 100                                                      \n"
    "                #extension GL_OES_EGL_image_external : require                    \n"
    "                varying lowp vec2 uv;                                             \n"
    "                uniform lowp samplerExternalOES textureSampler;                   \n"
    "                void main()                                                       \n"
    "                {                                                                 \n"
    "                gl_FragColor = texture2D(textureSampler, uv);                     \n"
    "                }                                                                 \n";

/// The driver's log of a shader or program, terminated.
std::vector<char> InfoLog(GLuint object, PFNGLGETSHADERIVPROC getParameter, PFNGLGETSHADERINFOLOGPROC getLog) {
    GLint length = 0;
    getParameter(object, GL_INFO_LOG_LENGTH, &length);
    std::vector<char> log(static_cast<std::size_t>(std::max(length, 0)) + 1);
    getLog(object, length, nullptr, log.data());
    return log;
}

GLuint CompileShader(const char* source, GLenum type) {
    const GLuint shader = glCreateShader(type);
    glShaderSource(shader, 1, &source, nullptr);
    glCompileShader(shader);
    GLint status = 0;
    glGetShaderiv(shader, GL_COMPILE_STATUS, &status);
    if (status == 1) {
        return shader;
    }
    NIMB_LOG_ERROR("Shader compile failed: %s\n", InfoLog(shader, glGetShaderiv, glGetShaderInfoLog).data());
    glDeleteShader(shader);
    return 0;
}

GLuint LinkShader(GLuint vertexShader, GLuint fragmentShader) {
    const GLuint program = glCreateProgram();
    glAttachShader(program, vertexShader);
    glAttachShader(program, fragmentShader);
    glLinkProgram(program);
    GLint status = 0;
    glGetProgramiv(program, GL_LINK_STATUS, &status);
    if (status == 1) {
        return program;
    }
    NIMB_LOG_ERROR("Program link failed: %s\n", InfoLog(program, glGetProgramiv, glGetProgramInfoLog).data());
    glDeleteProgram(program);
    return 0;
}

}  // namespace

void TextureCopy::FollowContext(std::uint32_t number) noexcept {
    if (m_contextNumber != number) {
        m_contextNumber = number;
        m_program = m_externalTexture = m_quadBuffer = m_vertexShader = m_fragmentShader = 0;
    }
}

void TextureCopy::InitializeGraphicsResources(EGLContext unityCtx) {
    NIMB_ASSERT_MSG(unityCtx != EGL_NO_CONTEXT, "unityCtx != ((EGLContext)0)");
    if (m_program == 0) {
        m_vertexShader = CompileShader(c_VertexShader, GL_VERTEX_SHADER);
        m_fragmentShader = CompileShader(c_FragmentShader, GL_FRAGMENT_SHADER);
        if (m_vertexShader != 0 && m_fragmentShader != 0) {
            m_program = LinkShader(m_vertexShader, m_fragmentShader);
            // After the link it has no effect; the only attribute has location 0 anyway.
            glBindAttribLocation(m_program, 0, "pos");
        }
    }
    glGenBuffers(1, &m_quadBuffer);
    glBindBuffer(GL_ARRAY_BUFFER, m_quadBuffer);
    glBufferData(GL_ARRAY_BUFFER, sizeof(c_FullScreenTriangle), c_FullScreenTriangle, GL_STATIC_DRAW);

    glGenTextures(1, &m_externalTexture);
    glBindTexture(GL_TEXTURE_EXTERNAL_OES, m_externalTexture);
    glTexParameteri(GL_TEXTURE_EXTERNAL_OES, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_EXTERNAL_OES, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_EXTERNAL_OES, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_EXTERNAL_OES, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

void TextureCopy::CopyTexture(void* nativeBuffer, unsigned int texture, int width, int height) {
    if (texture == 0 || m_externalTexture == 0) {
        return;
    }
    const EGLDisplay display = eglGetDisplay(EGL_DEFAULT_DISPLAY);
    const EGLImageKHR image = eglCreateImageKHR(display, EGL_NO_CONTEXT, EGL_NATIVE_BUFFER_ANDROID,
                                                static_cast<EGLClientBuffer>(nativeBuffer), nullptr);
    if (image == EGL_NO_IMAGE_KHR) {
        NIMB_LOG_ERROR("[%i] eglCreateImageKHR -> EGL_NO_IMAGE_KHR", m_id);
    }
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_EXTERNAL_OES, m_externalTexture);
    glEGLImageTargetTexture2DOES(GL_TEXTURE_EXTERNAL_OES, image);

    GLint savedFramebuffer = 0;
    glGetIntegerv(GL_FRAMEBUFFER_BINDING, &savedFramebuffer);
    GLuint framebuffer = 0;
    glGenFramebuffers(1, &framebuffer);
    glBindFramebuffer(GL_FRAMEBUFFER, framebuffer);
    glDisable(GL_BLEND);
    glDisable(GL_CULL_FACE);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glViewport(0, 0, width, height);
    glFramebufferTexture2D(GL_FRAMEBUFFER, GL_COLOR_ATTACHMENT0, GL_TEXTURE_2D, texture, 0);
    glClearColor(1, 0, 0, 1);  // no clear follows: the triangle covers everything
    const GLenum drawBuffer = GL_COLOR_ATTACHMENT0;
    glDrawBuffers(1, &drawBuffer);

    glUseProgram(m_program);
    const GLint location = glGetUniformLocation(m_program, "textureSampler");
    glUniform1i(location, 0);
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, m_quadBuffer);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, 0);
    glEnableVertexAttribArray(0);
    // The sampler's location names the attribute, deliberately: both are 0 in this program.
    glVertexAttribPointer(static_cast<GLuint>(location), 2, GL_FLOAT, GL_FALSE, 0, nullptr);
    glDrawArrays(GL_TRIANGLES, 0, 3);

    glBindFramebuffer(GL_FRAMEBUFFER, static_cast<GLuint>(savedFramebuffer));
    glDeleteFramebuffers(1, &framebuffer);
    eglDestroyImageKHR(display, image);
    CheckGLError("CopyTexture");
}

void TextureCopy::CleanupGraphicsResources() {
    glDeleteBuffers(1, &m_quadBuffer);
    m_quadBuffer = 0;
    if (m_program != 0) {
        glDeleteProgram(m_program);
        m_program = 0;
    }
    if (m_fragmentShader != 0) {
        glDeleteShader(m_fragmentShader);
        m_fragmentShader = 0;
    }
    glDeleteShader(m_vertexShader);
    m_vertexShader = 0;
    glDeleteTextures(1, &m_externalTexture);
    m_externalTexture = 0;
}

}  // namespace Nimb::Plugin
