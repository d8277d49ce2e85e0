// Draws the panels over the picture: triangles with a texture, as Dear ImGui hands them out.
#pragma once

namespace Nimb::Tool {

/// Render thread. Sets the GL state that it needs and leaves the vertex array and the buffers unbound. Errors are
/// OutputError.
class PanelRenderer {
public:
    /// For the window that is open, before its first Poll: makes the texture of its font.
    PanelRenderer();
    ~PanelRenderer();
    PanelRenderer(const PanelRenderer&) = delete;
    PanelRenderer& operator=(const PanelRenderer&) = delete;

    /// What was laid out last, into the bound framebuffer, over what is there. The window's thread has to wait.
    void Draw(int width, int height);

private:
    unsigned int m_Program = 0;
    int m_Scale = -1;
    unsigned int m_VertexArray = 0;
    unsigned int m_Vertices = 0;
    unsigned int m_Indices = 0;
    unsigned int m_Texture = 0;
};

}  // namespace Nimb::Tool
