// Which materials of a source become which sub-mesh of a clip, and the sub-meshes' meshes frame by frame.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Scene/Atlas.h"
#include "Authoring/Scene/MeshSource.h"

#include <cstddef>
#include <memory>
#include <vector>

namespace Nimb::Authoring {

/// Materials that show the same picture in the first frame share a sub-mesh, so that the picture is in the atlas once.
/// Any thread may call the functions.
class SubMeshSource {
public:
    /// Keeps a reference. Loads the textures of the first frame. `normals`: whether meshes need them.
    SubMeshSource(const MeshSource& source, bool normals);

    std::size_t Count() const { return m_Materials.size(); }

    /// The meshes of a frame, one for each sub-mesh; without faces when it does not occur in the frame. Throws
    /// InputError, naming frame and material, for numbers that are not finite, texture coordinates that are missing or
    /// outside the texture, normals that are missing, and faces beyond the vertices. `pWelded` may be null; see
    /// SourceFrame.
    std::vector<Mesh> Load(std::size_t frame, std::size_t* pWelded = nullptr) const;

    /// The picture of a sub-mesh. Throws InputError when its materials show different ones in this frame, or when the
    /// picture has another size than in the first frame.
    std::shared_ptr<const Image> Texture(std::size_t frame, std::size_t subMesh) const;

    /// Of a sub-mesh's picture, in all frames.
    PictureSize TextureSize(std::size_t subMesh) const { return m_Sizes[subMesh]; }

    const MeshSource& Source() const { return m_Source; }

private:
    void Check(const MaterialMesh& materialMesh, std::size_t frame) const;

    const MeshSource& m_Source;
    const bool m_Normals;
    std::vector<std::size_t> m_SubMeshOf;               // by material
    std::vector<std::vector<std::size_t>> m_Materials;  // by sub-mesh
    std::vector<PictureSize> m_Sizes;                   // by sub-mesh
};

}  // namespace Nimb::Authoring
