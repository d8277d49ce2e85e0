// Which vertices a textured surface needs, and texture coordinates that lie inside the picture.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <functional>
#include <string>
#include <vector>

namespace Nimb::Authoring {

/// What texture coordinates outside [0, 1] mean.
enum class Wrap { Repeat, Mirror, Clamp };

struct WrapModes {
    Wrap u = Wrap::Repeat;
    Wrap v = Wrap::Repeat;
};

/// A surface of which every vertex is a copy of one of the input's.
struct Surface {
    std::vector<UINT32> origin;  ///< for each vertex, the input's vertex
    std::vector<Vec2> texCoords;
    std::vector<TarnMeshFace> faces;
};

/// Leaves out faces that have a vertex twice and vertices without a face, and brings texture coordinates into [0, 1].
/// Vertices keep their order. A vertex whose triangles lie in different periods of a repeated picture becomes several;
/// those are at the end. Throws InputError, beginning with the face's place in the input, for texture coordinates that
/// are not finite and for a triangle that reaches across the picture's edge by more than 1/256 of it. Faces must index
/// `texCoords`.
Surface FitIntoPicture(const std::vector<Vec2>& texCoords, const std::vector<TarnMeshFace>& faces, WrapModes wrap,
                       const std::function<std::string(std::size_t face)>& placeOf);

template <class Value>
std::vector<Value> Gather(const std::vector<Value>& values, const std::vector<UINT32>& origin) {
    std::vector<Value> gathered;
    gathered.reserve(origin.size());
    for (const UINT32 i : origin) {
        gathered.push_back(values[i]);
    }
    return gathered;
}

}  // namespace Nimb::Authoring
