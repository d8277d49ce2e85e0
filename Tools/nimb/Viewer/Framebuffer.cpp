#include "Tools/nimb/Viewer/Framebuffer.h"

#include "Authoring/Scene/ImageScale.h"
#include "Tools/nimb/ExitStatus.h"

#include <GLES3/gl3.h>

#include <algorithm>
#include <cstdio>

#include <string>

namespace Nimb::Tool {
namespace {

constexpr GLint c_Samples = 4;

void CheckComplete() {
    if (glCheckFramebufferStatus(GL_FRAMEBUFFER) != GL_FRAMEBUFFER_COMPLETE) {
        throw OutputError("GL provides no framebuffer to draw into");
    }
}

/// At edges over a transparent background, GL has averaged the surface with black.
void DivideByAlpha(Authoring::Image& image) {
    for (std::size_t i = 0; i < image.rgba.size(); i += 4) {
        const unsigned int alpha = image.rgba[i + 3];
        if (alpha == 0 || alpha == 255) {
            continue;
        }
        for (std::size_t channel = i; channel < i + 3; ++channel) {
            image.rgba[channel] = static_cast<BYTE>(std::min(image.rgba[channel] * 255 / alpha, 255u));
        }
    }
}

}  // namespace

void CheckGl(const char* what) {
    const GLenum error = glGetError();
    if (error != GL_NO_ERROR) {
        char text[128];
        std::snprintf(text, sizeof text, "%s: GL error 0x%x", what, error);
        throw OutputError(text);
    }
}

Framebuffer::Framebuffer(int width, int height, int fineness)
    : m_Fineness(fineness), m_Width(width * fineness), m_Height(height * fineness) {
    GLint maxSize = 0, maxSamples = 0;
    glGetIntegerv(GL_MAX_RENDERBUFFER_SIZE, &maxSize);
    glGetIntegerv(GL_MAX_SAMPLES, &maxSamples);
    if (m_Width > maxSize || m_Height > maxSize) {
        throw OutputError("a picture of " + std::to_string(m_Width) + " x " + std::to_string(m_Height) +
                          " is larger than GL can draw: at most " + std::to_string(maxSize));
    }
    const GLint samples = fineness > 1 ? 0 : std::min(c_Samples, maxSamples);
    glGenFramebuffers(1, &m_Drawn);
    glGenFramebuffers(1, &m_Resolved);
    glGenRenderbuffers(3, m_Buffers);
    const auto attach = [&](unsigned int buffer, GLint count, GLenum format, GLenum attachment) {
        glBindRenderbuffer(GL_RENDERBUFFER, buffer);
        glRenderbufferStorageMultisample(GL_RENDERBUFFER, count, format, m_Width, m_Height);
        glFramebufferRenderbuffer(GL_FRAMEBUFFER, attachment, GL_RENDERBUFFER, buffer);
    };
    glBindFramebuffer(GL_FRAMEBUFFER, m_Resolved);
    attach(m_Buffers[0], 0, GL_RGBA8, GL_COLOR_ATTACHMENT0);
    CheckComplete();
    glBindFramebuffer(GL_FRAMEBUFFER, m_Drawn);
    attach(m_Buffers[1], samples, GL_RGBA8, GL_COLOR_ATTACHMENT0);
    attach(m_Buffers[2], samples, GL_DEPTH_COMPONENT24, GL_DEPTH_ATTACHMENT);
    CheckComplete();
    CheckGl("framebuffer");
}

Framebuffer::~Framebuffer() {
    glDeleteFramebuffers(1, &m_Drawn);
    glDeleteFramebuffers(1, &m_Resolved);
    glDeleteRenderbuffers(3, m_Buffers);
}

void Framebuffer::Bind() const {
    glBindFramebuffer(GL_FRAMEBUFFER, m_Drawn);
}

Authoring::Image Framebuffer::Read() const {
    glBindFramebuffer(GL_READ_FRAMEBUFFER, m_Drawn);
    glBindFramebuffer(GL_DRAW_FRAMEBUFFER, m_Resolved);
    glBlitFramebuffer(0, 0, m_Width, m_Height, 0, 0, m_Width, m_Height, GL_COLOR_BUFFER_BIT, GL_NEAREST);
    glBindFramebuffer(GL_FRAMEBUFFER, m_Resolved);
    const auto width = static_cast<std::size_t>(m_Width), height = static_cast<std::size_t>(m_Height);
    Authoring::Image image(width, height);
    glPixelStorei(GL_PACK_ALIGNMENT, 4);
    glReadPixels(0, 0, m_Width, m_Height, GL_RGBA, GL_UNSIGNED_BYTE, image.rgba.data());
    // GL's first row is the lowest.
    for (std::size_t y = 0; y < height / 2; ++y) {
        std::swap_ranges(image.Pixel(0, y), image.Pixel(0, y) + width * 4, image.Pixel(0, height - 1 - y));
    }
    CheckGl("reading the picture");
    if (m_Fineness > 1) {
        const auto fineness = static_cast<std::size_t>(m_Fineness);
        image = Authoring::ScaleImage(image, width / fineness, height / fineness);
    }
    DivideByAlpha(image);
    return image;
}

}  // namespace Nimb::Tool
