// One vertex of those that an exporter wrote several times.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// What becomes of vertices that are equal in every attribute.
enum class Duplicates { Keep, Weld };

/// How many of the faces' vertices go when `first` takes their place: for each vertex the first that is equal to it.
std::size_t CountWelded(const std::vector<TarnMeshFace>& faces, const std::vector<UINT32>& first);

/// Welds the meshes of a material with a texture, frame by frame of a sequence.
///
/// Frames are loaded one by one, and vertices that are equal in one frame may be apart in the next. Two rules see to it
/// that frames which come in one topology leave in one:
/// - Frames with the first one's faces are welded as that one is, wherever their own vertices allow it.
/// - Vertices stay apart if a triangle has two of them. They are ends of an edge that rounding made so short, in this
///   frame and perhaps not in the next; those that an exporter wrote several times belong to different triangles.
///
/// Where frames still differ, they are matched by their texture coordinates. Without those only their order tells
/// vertices apart, and a welded frame would not go on where one that cannot be welded alike left off. So surfaces
/// without texture coordinates, or with some that are made for painting, are better left as they are.
class FrameWeld {
public:
    FrameWeld() = default;

    /// `mesh`: of the first frame.
    explicit FrameWeld(const Mesh& mesh) : m_Faces(mesh.faces), m_First(EqualIn(mesh)) {}

    /// The first of equal vertices keeps its place in the order. Returns how many others there were.
    std::size_t Apply(Mesh& mesh) const;

private:
    std::vector<UINT32> EqualIn(const Mesh& mesh) const;

    std::vector<TarnMeshFace> m_Faces;
    std::vector<UINT32> m_First;  // for each vertex of the first frame the one that takes its place
};

}  // namespace Nimb::Authoring
