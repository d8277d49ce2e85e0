// Drawing that no window shows: a multisampled picture with depth, and reading it back.
#pragma once

#include "Authoring/Scene/Image.h"

namespace Nimb::Tool {

/// Throws OutputError, naming the call, when GL reports an error.
void CheckGl(const char* what);

/// Render thread.
class Framebuffer {
public:
    /// Throws OutputError when GL cannot provide it.
    Framebuffer(int width, int height);
    ~Framebuffer();
    Framebuffer(const Framebuffer&) = delete;
    Framebuffer& operator=(const Framebuffer&) = delete;

    int Width() const noexcept { return m_Width; }
    int Height() const noexcept { return m_Height; }

    /// What is drawn from now on goes here.
    void Bind() const;
    Authoring::Image Read() const;

private:
    int m_Width;
    int m_Height;
    unsigned int m_Drawn = 0;     // framebuffer with the two multisampled ones
    unsigned int m_Resolved = 0;  // framebuffer with the plain one
    unsigned int m_Buffers[3] = {};
};

}  // namespace Nimb::Tool
