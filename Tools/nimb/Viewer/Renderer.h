// Draws the frame that is in the engine's objects.
#pragma once

#include "EngineStandIn/Player.h"
#include "Tools/nimb/Viewer/Camera.h"
#include "Tools/nimb/Viewer/Text.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Nimb::Tool {

enum class BackFaces {
    Show,
    Cull,
    Mark,  ///< in a bright colour: triangles that are wound the wrong way, or the inside of a mesh
};

struct Appearance {
    Colour background{32, 36, 42, 255};
    BackFaces backFaces = BackFaces::Show;
    bool wireframe = false;    ///< edges over the surface
    bool shaded = false;       ///< lit along the line of sight, where the mesh has normals; else the texture as it is
    bool textureOnly = false;  ///< the flat picture of the texture instead of the mesh
    bool mipmaps = false;      ///< for textures much finer than the picture; takes time
};

/// GL names of a mesh: vertices as EngineStandIn::Vertex, 32-bit indices of triangles.
struct DrawnMesh {
    unsigned int texture = 0;
    unsigned int vertexBuffer = 0;
    unsigned int indexBuffer = 0;
    std::size_t firstIndex = 0;
    int indexCount = 0;
};

/// The edges of triangles, pairs of indices; degenerate triangles have none.
std::vector<std::uint32_t> EdgesOf(const std::vector<std::uint32_t>& triangles);

/// Render thread. All functions set the GL state that they need and leave the vertex array and the buffers unbound, as
/// the plug-in expects. Errors are OutputError.
class Renderer {
public:
    Renderer();
    ~Renderer();
    Renderer(const Renderer&) = delete;
    Renderer& operator=(const Renderer&) = delete;

    /// Into the bound framebuffer, all of it.
    void Draw(const EngineStandIn::Player& player, const Camera& camera, const Appearance& appearance, int width,
              int height);

    // The same in steps, for what no player has: only the surface, and mipmaps are there already where they are asked
    // for.
    void Clear(const Appearance& appearance, int width, int height);
    void DrawOver(const DrawnMesh& mesh, const Camera& camera, const Appearance& appearance, float aspect);

private:
    struct MeshUniforms {
        int viewProjection, eye, texture, mode, backFaces;
    };

    void DrawMesh(const EngineStandIn::Player& player, const Camera& camera, const Appearance& appearance,
                  float aspect);
    void BeginMesh(const DrawnMesh& mesh, const Camera& camera, const Appearance& appearance, float aspect);
    static void EndMesh();
    void DrawEdges(const EngineStandIn::Player& player);
    /// Corners in clip coordinates; v of the texture grows downwards.
    void DrawQuad(unsigned int texture, float left, float top, float right, float bottom);

    unsigned int m_MeshProgram = 0;
    unsigned int m_QuadProgram = 0;
    MeshUniforms m_Mesh{};
    int m_QuadCorners = -1;
    unsigned int m_VertexArray = 0;
    unsigned int m_EdgeBuffer = 0;
};

}  // namespace Nimb::Tool
