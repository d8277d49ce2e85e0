// Which faces meet at which edges.
#pragma once

#include "Authoring/Scene/Triangle.h"

#include <array>
#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// An edge by its ends, smaller number first, and one of the faces that have it: across from that face's corner.
struct FaceEdge {
    UINT32 from, to;
    UINT32 face, corner;
};

/// Three for each face; those of one edge follow each other, in the order of their faces. O(n) for a surface, but
/// with memory for as many vertices as the largest number says.
std::vector<FaceEdge> SortedEdges(const std::vector<TarnMeshFace>& faces);

/// Calls `visit` with the first and one past the last of each edge's.
template <class Visit>
void ForEachEdge(const std::vector<FaceEdge>& sorted, const Visit& visit) {
    for (std::size_t i = 0; i < sorted.size();) {
        std::size_t end = i + 1;
        while (end < sorted.size() && sorted[end].from == sorted[i].from && sorted[end].to == sorted[i].to) {
            ++end;
        }
        visit(sorted.data() + i, sorted.data() + end);
        i = end;
    }
}

/// Every edge has two faces, which look the same way across it.
bool IsClosed(const std::vector<TarnMeshFace>& faces);

/// For each face and corner the face on the other side of the edge across from it; none at the rim of a hole. Where
/// more than two faces meet, each has one of the others.
std::vector<std::array<UINT32, 3>> FacesAcross(const std::vector<TarnMeshFace>& faces);

}  // namespace Nimb::Authoring
