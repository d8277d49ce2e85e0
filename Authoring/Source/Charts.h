// Surfaces cut open and laid flat, so that each triangle has an area of its own in a picture.
//
// Every vertex lies on a point of a square lattice, and every triangle is one half of a cell:
//
//     j + 1  o---o
//            |\ U|      L and U are neighbours across the diagonal; across its other edges L has the U of the cells
//            | \ |      to the left and below. Going from a triangle a b c to its neighbour across the edge a b leads
//            |L \|      to a third corner at a + b - c, always.
//       j    o---o
//            i   i + 1
//
// That every triangle gets the same room, whatever its size, suits colours that are given at vertices: what has to be
// drawn inside each is one gradient. And it makes the layout depend on the faces alone, so that a surface which moves
// keeps it.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Scene/Atlas.h"

#include <vector>

namespace Nimb::Authoring {

struct LatticePoint {
    int x = 0, y = 0;
};

struct Chart {
    UINT32 begin, end;   ///< its vertices
    PictureSize extent;  ///< in cells; 0 x 0 if all of it is one point
};

/// A surface of which every vertex is a copy of one of the input's, laid out in separate charts.
struct Charts {
    std::vector<UINT32> origin;        ///< for each vertex, the input's vertex
    std::vector<LatticePoint> points;  ///< for each vertex, its place in its chart, from (0, 0)
    std::vector<Chart> charts;         ///< in the order of their vertices
    std::vector<TarnMeshFace> faces;
};

/// Triangles are joined to a chart as long as their corners fall on points that are free or have the same vertex, so
/// that only triangles of the same vertices share a half cell. Leaves out faces that have a vertex twice, and vertices
/// without a face. Faces keep their winding.
Charts Unfold(const std::vector<TarnMeshFace>& faces);

/// All of the surface at one point, as its only chart: for a surface of one colour, which needs no cuts.
Charts Collapse(const std::vector<TarnMeshFace>& faces);

}  // namespace Nimb::Authoring
