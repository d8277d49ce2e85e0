// Drawing that no window shows: a multisampled picture with depth, and reading it back.
#pragma once

#include "Authoring/Scene/Image.h"

namespace Nimb::Tool {

/// Throws OutputError, naming the call, when GL reports an error.
void CheckGl(const char* what);

/// Render thread.
class Framebuffer {
public:
    /// Pictures that are read are of this size, with four samples a pixel; or, above 1, with the mean of `fineness` x
    /// `fineness` pixels that are drawn. Throws OutputError when GL cannot provide it.
    Framebuffer(int width, int height, int fineness = 1);
    ~Framebuffer();
    Framebuffer(const Framebuffer&) = delete;
    Framebuffer& operator=(const Framebuffer&) = delete;

    // Of what is drawn.
    int Width() const noexcept { return m_Width; }
    int Height() const noexcept { return m_Height; }

    /// What is drawn from now on goes here.
    void Bind() const;
    Authoring::Image Read() const;

private:
    const int m_Fineness;
    const int m_Width;
    const int m_Height;
    unsigned int m_Drawn = 0;     // framebuffer with the two multisampled ones
    unsigned int m_Resolved = 0;  // framebuffer with the plain one
    unsigned int m_Buffers[3] = {};
};

}  // namespace Nimb::Tool
