#include "Tools/nimb/Viewer/PanelRenderer.h"

#include "Tools/nimb/Viewer/Framebuffer.h"
#include "Tools/nimb/Viewer/Shaders.h"

#include <GLES3/gl3.h>
#include <imgui.h>

#include <cstddef>
#include <cstdint>

namespace Nimb::Tool {
namespace {

constexpr char c_VertexShader[] = R"(#version 300 es
layout(location = 0) in vec2 position;
layout(location = 1) in vec2 textureCoordinate;
layout(location = 2) in vec4 vertexColour;
uniform vec2 scale;  // from the window's units to clip coordinates
out vec2 uv;
out vec4 tint;
void main() {
    uv = textureCoordinate;
    tint = vertexColour;
    gl_Position = vec4(position * scale + vec2(-1.0, 1.0), 0.0, 1.0);
}
)";

constexpr char c_FragmentShader[] = R"(#version 300 es
precision highp float;
uniform sampler2D picture;
in vec2 uv;
in vec4 tint;
out vec4 colour;
void main() {
    colour = tint * texture(picture, uv);
}
)";

constexpr GLenum c_IndexType = sizeof(ImDrawIdx) == 2 ? GL_UNSIGNED_SHORT : GL_UNSIGNED_INT;

const void* At(std::size_t offset) {
    return reinterpret_cast<const void*>(offset);
}

void SetAttribute(GLuint location, GLint count, GLenum type, std::size_t offset) {
    glEnableVertexAttribArray(location);
    glVertexAttribPointer(location, count, type, type == GL_UNSIGNED_BYTE ? GL_TRUE : GL_FALSE, sizeof(ImDrawVert),
                          At(offset));
}

template <class T>
void Fill(GLenum target, const ImVector<T>& values) {
    glBufferData(target, static_cast<GLsizeiptr>(values.size_in_bytes()), values.Data, GL_STREAM_DRAW);
}

}  // namespace

PanelRenderer::PanelRenderer() : m_Program(LinkShaders(c_VertexShader, c_FragmentShader)) {
    m_Scale = glGetUniformLocation(m_Program, "scale");
    glGenVertexArrays(1, &m_VertexArray);
    glGenBuffers(1, &m_Vertices);
    glGenBuffers(1, &m_Indices);
    glGenTextures(1, &m_Texture);

    ImFontAtlas& atlas = *ImGui::GetIO().Fonts;
    unsigned char* pixels = nullptr;
    int width = 0, height = 0;
    atlas.GetTexDataAsRGBA32(&pixels, &width, &height);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, m_Texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glPixelStorei(GL_UNPACK_ALIGNMENT, 4);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, pixels);
    atlas.SetTexID(reinterpret_cast<ImTextureID>(static_cast<std::uintptr_t>(m_Texture)));
    CheckGl("panels");
}

PanelRenderer::~PanelRenderer() {
    glDeleteProgram(m_Program);
    glDeleteVertexArrays(1, &m_VertexArray);
    glDeleteBuffers(1, &m_Vertices);
    glDeleteBuffers(1, &m_Indices);
    glDeleteTextures(1, &m_Texture);
}

void PanelRenderer::Draw(int width, int height) {
    const ImDrawData& data = *ImGui::GetDrawData();
    if (data.DisplaySize.x <= 0 || data.DisplaySize.y <= 0) {
        return;
    }
    glViewport(0, 0, width, height);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_CULL_FACE);
    glEnable(GL_SCISSOR_TEST);
    glEnable(GL_BLEND);
    glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA);
    glUseProgram(m_Program);
    glUniform2f(m_Scale, 2 / data.DisplaySize.x, -2 / data.DisplaySize.y);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, m_Texture);
    glBindVertexArray(m_VertexArray);
    glBindBuffer(GL_ARRAY_BUFFER, m_Vertices);
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, m_Indices);
    SetAttribute(0, 2, GL_FLOAT, offsetof(ImDrawVert, pos));
    SetAttribute(1, 2, GL_FLOAT, offsetof(ImDrawVert, uv));
    SetAttribute(2, 4, GL_UNSIGNED_BYTE, offsetof(ImDrawVert, col));

    const float scaleX = static_cast<float>(width) / data.DisplaySize.x;
    const float scaleY = static_cast<float>(height) / data.DisplaySize.y;
    for (int i = 0; i < data.CmdListsCount; ++i) {
        const ImDrawList& list = *data.CmdLists[i];
        Fill(GL_ARRAY_BUFFER, list.VtxBuffer);
        Fill(GL_ELEMENT_ARRAY_BUFFER, list.IdxBuffer);
        for (const ImDrawCmd& command : list.CmdBuffer) {
            const ImVec4& clip = command.ClipRect;
            const auto left = static_cast<GLint>(clip.x * scaleX), right = static_cast<GLint>(clip.z * scaleX);
            const auto top = static_cast<GLint>(clip.y * scaleY), bottom = static_cast<GLint>(clip.w * scaleY);
            if (right > left && bottom > top) {
                glScissor(left, height - bottom, right - left, bottom - top);
                glDrawElements(GL_TRIANGLES, static_cast<GLsizei>(command.ElemCount), c_IndexType,
                               At(command.IdxOffset * sizeof(ImDrawIdx)));
            }
        }
    }
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glDisable(GL_BLEND);
    glDisable(GL_SCISSOR_TEST);
    CheckGl("panels");
}

}  // namespace Nimb::Tool
