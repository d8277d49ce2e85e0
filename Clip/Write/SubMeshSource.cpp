#include "Clip/Write/SubMeshSource.h"

#include "Authoring/Codec/VertexStreams.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace Nimb::Authoring {
namespace {

/// For exporters' rounding: coordinates this little outside are clamped when they are quantised.
constexpr float c_TexCoordTolerance = 1e-3f;

bool IsInside(float value) {
    return value >= -c_TexCoordTolerance && value <= 1 + c_TexCoordTolerance;
}

std::string SizeText(const PictureSize& size) {
    return std::to_string(size.width) + " x " + std::to_string(size.height);
}

}  // namespace

SubMeshSource::SubMeshSource(const MeshSource& source, bool normals) : m_Source(source), m_Normals(normals) {
    if (source.FrameCount() == 0 || source.MaterialCount() == 0) {
        throw InputError("the input has no frames");
    }
    std::vector<std::shared_ptr<const Image>> pictures;
    for (std::size_t material = 0; material < source.MaterialCount(); ++material) {
        std::shared_ptr<const Image> picture = source.Texture(0, material);
        const auto known = std::find(pictures.begin(), pictures.end(), picture);
        const auto subMesh = static_cast<std::size_t>(known - pictures.begin());
        if (known == pictures.end()) {
            if (picture->width == 0 || picture->height == 0) {
                throw InputError(source.FrameName(0) + ": the texture of material " + source.MaterialName(material) +
                                 " is empty");
            }
            m_Sizes.push_back({picture->width, picture->height});
            m_Materials.emplace_back();
            pictures.push_back(std::move(picture));
        }
        m_Materials[subMesh].push_back(material);
        m_SubMeshOf.push_back(subMesh);
    }
}

void SubMeshSource::Check(const MaterialMesh& materialMesh, std::size_t frame) const {
    const auto fail = [&](const std::string& what) {
        const std::string material = m_Source.MaterialName(materialMesh.material);
        throw InputError(m_Source.FrameName(frame) + (material.empty() ? "" : ", material " + material) + ": " + what);
    };
    const Mesh& mesh = materialMesh.mesh;
    if (mesh.texCoords.empty() && !mesh.positions.empty()) {
        fail("there are no texture coordinates");
    }
    try {
        CheckMesh(mesh);
    } catch (const std::invalid_argument& error) {
        fail(error.what());
    }
    if (m_Normals && mesh.normals.size() != mesh.positions.size()) {
        fail("normals are to be stored, but the mesh has none");
    }
    for (std::size_t i = 0; i < mesh.texCoords.size(); ++i) {
        const Vec2& t = mesh.texCoords[i];
        if (!IsInside(t.u) || !IsInside(t.v)) {
            fail("vertex " + std::to_string(i) + " has the texture coordinates (" + std::to_string(t.u) + ", " +
                 std::to_string(t.v) + "), outside the texture");
        }
    }
}

std::vector<Mesh> SubMeshSource::Load(std::size_t frame, std::size_t* pWelded) const {
    const SourceFrame loaded = m_Source.Frame(frame);
    if (pWelded != nullptr) {
        *pWelded = loaded.welded;
    }
    std::vector<Mesh> meshes(Count());
    for (const MaterialMesh& materialMesh : loaded.meshes) {
        Check(materialMesh, frame);
        if (!materialMesh.mesh.faces.empty()) {
            Append(meshes[m_SubMeshOf.at(materialMesh.material)], materialMesh.mesh);
        }
    }
    for (Mesh& mesh : meshes) {
        if (!m_Normals) {
            mesh.normals.clear();
        }
    }
    return meshes;
}

std::shared_ptr<const Image> SubMeshSource::Texture(std::size_t frame, std::size_t subMesh) const {
    const std::vector<std::size_t>& materials = m_Materials[subMesh];
    std::shared_ptr<const Image> picture = m_Source.Texture(frame, materials.front());
    const auto fail = [&](std::size_t material, const std::string& what) {
        throw InputError(m_Source.FrameName(frame) + ": the texture of material " + m_Source.MaterialName(material) +
                         " " + what);
    };
    const PictureSize size{picture->width, picture->height};
    if (!(size == m_Sizes[subMesh])) {
        fail(materials.front(), "has " + SizeText(size) + " pixels, in the first frame " + SizeText(m_Sizes[subMesh]));
    }
    for (const std::size_t material : materials) {
        if (material != materials.front() && !(*m_Source.Texture(frame, material) == *picture)) {
            fail(material, "differs from that of " + m_Source.MaterialName(materials.front()) +
                               ", although they are the same in the first frame");
        }
    }
    return picture;
}

}  // namespace Nimb::Authoring
