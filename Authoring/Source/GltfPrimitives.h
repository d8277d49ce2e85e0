// Triangles of glTF meshes.
#pragma once

#include "Authoring/Scene/Warnings.h"
#include "Authoring/Source/GltfFile.h"
#include "Authoring/Source/ImportedMesh.h"
#include "Authoring/Source/Scene.h"
#include "Authoring/Source/Weld.h"

#include <cstddef>
#include <map>
#include <vector>

namespace Nimb::Authoring {

/// Appends primitives of meshes to a list, each once. Throws as GltfFile does.
class GltfPrimitives {
public:
    /// Of all that is read, and of all instances; without a limit a small file could claim, or repeat, any number.
    static constexpr std::size_t c_MaxVertices = std::size_t{1} << 26;

    /// `pWarnings` may be null.
    GltfPrimitives(const GltfFile& file, Materials materials, Duplicates duplicates, Warnings* pWarnings,
                   std::vector<ScenePrimitive>& primitives)
        : m_File(file),
          m_Materials(materials),
          m_Duplicates(duplicates),
          m_pWarnings(pWarnings),
          m_Primitives(primitives) {}

    /// Places in the list of a mesh's primitives, without those that have no triangles. `material` of a primitive is a
    /// number of the file's list, or the length of that list for the default material.
    const std::vector<std::size_t>& PrimitivesOf(std::size_t mesh);

private:
    const GltfFile& m_File;
    const Materials m_Materials;
    const Duplicates m_Duplicates;
    Warnings* const m_pWarnings;
    std::vector<ScenePrimitive>& m_Primitives;
    std::map<std::size_t, std::vector<std::size_t>> m_Meshes;
    std::size_t m_Vertices = 0;
};

}  // namespace Nimb::Authoring
