#include "Tools/nimb/Viewer/Renderer.h"

#include "Tools/nimb/Viewer/Framebuffer.h"
#include "Tools/nimb/Viewer/Shaders.h"

#include <GLES3/gl3.h>
#include <glm/gtc/type_ptr.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Nimb::Tool {
namespace {

using EngineStandIn::Player;
using EngineStandIn::Vertex;

enum Mode : int { c_Textured = 0, c_Shaded = 1, c_Edges = 2 };

constexpr char c_MeshVertexShader[] = R"(#version 300 es
layout(location = 0) in vec3 position;
layout(location = 1) in vec3 normal;
layout(location = 2) in vec2 textureCoordinate;
uniform mat4 viewProjection;
out vec3 worldPosition;
out vec3 worldNormal;
out vec2 uv;
void main() {
    worldPosition = position;
    worldNormal = normal;
    uv = textureCoordinate;
    gl_Position = viewProjection * vec4(position, 1.0);
}
)";

constexpr char c_MeshFragmentShader[] = R"(#version 300 es
precision highp float;
precision highp int;
uniform sampler2D picture;
uniform vec3 eye;
uniform int mode;
uniform bool marksBackFaces;
in vec3 worldPosition;
in vec3 worldNormal;
in vec2 uv;
out vec4 colour;
void main() {
    if (mode == 2) {
        colour = vec4(0.1, 0.9, 0.55, 1.0);
        return;
    }
    colour = vec4(texture(picture, uv).rgb, 1.0);
    float size = length(worldNormal);
    if (mode == 1 && size > 0.5) {  // not when there is no normal: none, or not a number
        float facing = abs(dot(worldNormal / size, normalize(eye - worldPosition)));
        colour.rgb *= 0.25 + 0.75 * facing;
    }
    if (marksBackFaces && !gl_FrontFacing) {
        colour = vec4(1.0, 0.0, 1.0, 1.0);
    }
}
)";

constexpr char c_QuadVertexShader[] = R"(#version 300 es
uniform vec4 corners;  // left, top, right, bottom
out vec2 uv;
void main() {
    uv = vec2(gl_VertexID & 1, gl_VertexID >> 1);
    gl_Position = vec4(mix(corners.xy, corners.zw, uv), 0.0, 1.0);
}
)";

constexpr char c_QuadFragmentShader[] = R"(#version 300 es
precision highp float;
uniform sampler2D picture;
in vec2 uv;
out vec4 colour;
void main() {
    colour = texture(picture, uv);
}
)";

void SetAttribute(GLuint location, GLint size, std::size_t offset) {
    glEnableVertexAttribArray(location);
    glVertexAttribPointer(location, size, GL_FLOAT, GL_FALSE, sizeof(Vertex), reinterpret_cast<const void*>(offset));
}

void BindTexture(GLuint texture, GLint minFilter, GLint magFilter) {
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, texture);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, minFilter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, magFilter);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

void BindPicture(const Player& player, bool mipmaps) {
    BindTexture(player.GlObjects().texture, mipmaps ? GL_LINEAR_MIPMAP_LINEAR : GL_LINEAR, GL_LINEAR);
    if (mipmaps) {
        glGenerateMipmap(GL_TEXTURE_2D);
    }
}

void SetBackFaces(BackFaces backFaces) {
    if (backFaces == BackFaces::Cull) {
        glEnable(GL_CULL_FACE);
        glCullFace(GL_BACK);
        glFrontFace(GL_CCW);
    } else {
        glDisable(GL_CULL_FACE);
    }
}

}  // namespace

std::vector<std::uint32_t> EdgesOf(const std::vector<std::uint32_t>& triangles) {
    std::vector<std::uint32_t> edges;
    edges.reserve(triangles.size() * 2);
    for (std::size_t i = 0; i + 2 < triangles.size(); i += 3) {
        const std::uint32_t a = triangles[i], b = triangles[i + 1], c = triangles[i + 2];
        if (a != b && b != c && c != a) {
            edges.insert(edges.end(), {a, b, b, c, c, a});
        }
    }
    return edges;
}

Renderer::Renderer() {
    m_MeshProgram = LinkShaders(c_MeshVertexShader, c_MeshFragmentShader);
    m_QuadProgram = LinkShaders(c_QuadVertexShader, c_QuadFragmentShader);
    const auto uniform = [this](const char* name) { return glGetUniformLocation(m_MeshProgram, name); };
    m_Mesh = {uniform("viewProjection"), uniform("eye"), uniform("picture"), uniform("mode"),
              uniform("marksBackFaces")};
    m_QuadCorners = glGetUniformLocation(m_QuadProgram, "corners");
    glGenVertexArrays(1, &m_VertexArray);
    glGenBuffers(1, &m_EdgeBuffer);
    CheckGl("shaders");
}

Renderer::~Renderer() {
    glDeleteProgram(m_MeshProgram);
    glDeleteProgram(m_QuadProgram);
    glDeleteVertexArrays(1, &m_VertexArray);
    glDeleteBuffers(1, &m_EdgeBuffer);
}

void Renderer::Draw(const Player& player, const Camera& camera, const Appearance& appearance, int width, int height) {
    Clear(appearance, width, height);
    const float aspect = static_cast<float>(width) / static_cast<float>(height);
    if (appearance.textureOnly) {
        const float textureAspect =
            static_cast<float>(player.Sizes().textureWidth) / static_cast<float>(player.Sizes().textureHeight);
        const float x = std::min(1.0f, textureAspect / aspect), y = std::min(1.0f, aspect / textureAspect);
        BindPicture(player, appearance.mipmaps);
        DrawQuad(player.GlObjects().texture, -x, y, x, -y);
    } else {
        DrawMesh(player, camera, appearance, aspect);
    }
    CheckGl("drawing");
}

void Renderer::Clear(const Appearance& appearance, int width, int height) {
    const auto channel = [&](std::size_t i) { return static_cast<float>(appearance.background[i]) / 255; };
    glViewport(0, 0, width, height);
    glDisable(GL_SCISSOR_TEST);
    glDisable(GL_BLEND);
    glColorMask(GL_TRUE, GL_TRUE, GL_TRUE, GL_TRUE);
    glDepthMask(GL_TRUE);
    glClearColor(channel(0), channel(1), channel(2), channel(3));
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    // Otherwise Mesa's software renderer loses what is drawn next, where the same multisampled framebuffer was read
    // just before and nothing else, such as an upload, comes between.
    glFlush();
}

void Renderer::DrawOver(const DrawnMesh& mesh, const Camera& camera, const Appearance& appearance, float aspect) {
    BindTexture(mesh.texture, appearance.mipmaps ? GL_LINEAR_MIPMAP_LINEAR : GL_LINEAR, GL_LINEAR);
    BeginMesh(mesh, camera, appearance, aspect);
    // Where they begin in the buffer, which GL takes as a pointer.
    const auto* const begin = reinterpret_cast<const void*>(mesh.firstIndex * sizeof(GLuint));
    glDrawElements(GL_TRIANGLES, mesh.indexCount, GL_UNSIGNED_INT, begin);
    EndMesh();
    CheckGl("drawing");
}

void Renderer::DrawMesh(const Player& player, const Camera& camera, const Appearance& appearance, float aspect) {
    const Player::Objects& objects = player.GlObjects();
    const DrawnMesh mesh = {objects.texture, objects.vertexBuffer, objects.indexBuffer, 0, player.Sizes().indexCount};
    BindPicture(player, appearance.mipmaps);
    BeginMesh(mesh, camera, appearance, aspect);
    if (appearance.wireframe) {
        glEnable(GL_POLYGON_OFFSET_FILL);  // makes room for the edges
        glPolygonOffset(1, 1);
    }
    glDrawElements(GL_TRIANGLES, mesh.indexCount, GL_UNSIGNED_INT, nullptr);
    glDisable(GL_POLYGON_OFFSET_FILL);
    if (appearance.wireframe) {
        DrawEdges(player);
    }
    EndMesh();
}

void Renderer::BeginMesh(const DrawnMesh& mesh, const Camera& camera, const Appearance& appearance, float aspect) {
    glEnable(GL_DEPTH_TEST);
    glDepthFunc(GL_LEQUAL);
    SetBackFaces(appearance.backFaces);

    glUseProgram(m_MeshProgram);
    glUniformMatrix4fv(m_Mesh.viewProjection, 1, GL_FALSE, glm::value_ptr(ViewProjection(camera, aspect)));
    glUniform3fv(m_Mesh.eye, 1, glm::value_ptr(EyeOf(camera)));
    glUniform1i(m_Mesh.texture, 0);
    glUniform1i(m_Mesh.mode, appearance.shaded ? c_Shaded : c_Textured);
    glUniform1i(m_Mesh.backFaces, appearance.backFaces == BackFaces::Mark ? 1 : 0);

    glBindVertexArray(m_VertexArray);
    glBindBuffer(GL_ARRAY_BUFFER, mesh.vertexBuffer);
    SetAttribute(0, 3, offsetof(Vertex, x));
    SetAttribute(1, 3, offsetof(Vertex, nx));
    SetAttribute(2, 2, offsetof(Vertex, u));
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, mesh.indexBuffer);
}

void Renderer::EndMesh() {
    glBindVertexArray(0);
    glBindBuffer(GL_ARRAY_BUFFER, 0);
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_CULL_FACE);
}

void Renderer::DrawEdges(const Player& player) {
    const std::vector<std::uint32_t> edges = EdgesOf(player.ReadIndices());
    glBindBuffer(GL_ELEMENT_ARRAY_BUFFER, m_EdgeBuffer);
    glBufferData(GL_ELEMENT_ARRAY_BUFFER, static_cast<GLsizeiptr>(edges.size() * sizeof(edges[0])), edges.data(),
                 GL_STREAM_DRAW);
    glUniform1i(m_Mesh.mode, c_Edges);
    glUniform1i(m_Mesh.backFaces, 0);
    glDrawElements(GL_LINES, static_cast<GLsizei>(edges.size()), GL_UNSIGNED_INT, nullptr);
}

void Renderer::DrawQuad(unsigned int texture, float left, float top, float right, float bottom) {
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_CULL_FACE);
    glActiveTexture(GL_TEXTURE0);
    glBindTexture(GL_TEXTURE_2D, texture);
    glUseProgram(m_QuadProgram);
    glUniform4f(m_QuadCorners, left, top, right, bottom);
    glBindVertexArray(m_VertexArray);
    for (GLuint location = 0; location < 3; ++location) {
        glDisableVertexAttribArray(location);  // corners come from their numbers
    }
    glDrawArrays(GL_TRIANGLE_STRIP, 0, 4);
    glBindVertexArray(0);
}

}  // namespace Nimb::Tool
