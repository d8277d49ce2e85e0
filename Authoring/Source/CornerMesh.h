// From polygons whose corners have attributes of their own to triangles of vertices.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Source/Painting.h"

#include <optional>
#include <vector>

namespace Nimb::Authoring {

/// Corner of a polygon: indices into the arrays of a file.
struct Corner {
    static constexpr UINT32 c_None = 0xFFFFFFFF;

    UINT32 position = c_None;
    UINT32 texCoord = c_None;
    UINT32 normal = c_None;
};

struct CornerArrays {
    std::vector<Vec3> positions;
    std::vector<Colour> colours;  ///< of positions; empty, or up to the last position that has one
    std::vector<Vec2> texCoords;
    std::vector<Vec3> normals;
};

/// Triangles of `polygon` as triples of its corners, winding kept, corners that repeat a position left out. Concave
/// polygons are cut along ears, which is quadratic; std::nullopt when one has more than 256 corners.
std::optional<std::vector<Corner>> Triangulate(const std::vector<Corner>& polygon, const std::vector<Vec3>& positions);

/// One vertex for all corners of one position index, equal texture coordinates and equal normals, in the order of first
/// use. `corners` are triangles. Texture coordinates or normals that one corner lacks are empty in the mesh. `origin`
/// gets the position index of each vertex.
Mesh MeshOfCorners(const CornerArrays& arrays, const std::vector<Corner>& corners, std::vector<UINT32>& origin);

}  // namespace Nimb::Authoring
