// A mesh and its texture in GL objects of our own, to be drawn as the player's are.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Scene/Image.h"
#include "Tools/nimb/Viewer/Renderer.h"

#include <cstddef>
#include <memory>

namespace Nimb::Tool {

// Render thread, also the destructors. Errors are OutputError.

/// Of a texture that someone else has filled.
void MakeMipmaps(unsigned int texture);

class TextureObject {
public:
    /// With mipmaps. A picture that is larger than GL takes is refused.
    explicit TextureObject(std::shared_ptr<const Authoring::Image> image);
    ~TextureObject();
    TextureObject(const TextureObject&) = delete;
    TextureObject& operator=(const TextureObject&) = delete;

    unsigned int Name() const noexcept { return m_Name; }
    /// Kept, so that the pointer tells whether a picture is the one that is here.
    const std::shared_ptr<const Authoring::Image>& Picture() const noexcept { return m_Image; }

private:
    std::shared_ptr<const Authoring::Image> m_Image;
    unsigned int m_Name = 0;
};

class MeshObjects {
public:
    /// Normals are zeros where the mesh has none.
    explicit MeshObjects(const Authoring::Mesh& mesh);
    ~MeshObjects();
    MeshObjects(const MeshObjects&) = delete;
    MeshObjects& operator=(const MeshObjects&) = delete;

    /// Some of its faces.
    DrawnMesh Faces(std::size_t first, std::size_t count, const TextureObject& texture) const;

private:
    unsigned int m_Buffers[2] = {};  // vertices, indices
};

}  // namespace Nimb::Tool
