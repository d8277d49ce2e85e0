// A surface from a signed distance: marching tetrahedra over a body-centred cubic lattice.
#pragma once

#include "Demo/Capture/Subject.h"
#include "NimbCore/EdgeBreaker.h"

#include <vector>

namespace Nimb::Authoring::Capture {

/// Triangles over points, counter-clockwise from outside. Every edge has one triangle on either side.
struct Surface {
    std::vector<Point> points;
    std::vector<TarnMeshFace> faces;
};

/// Where the lattice is.
struct Lattice {
    double cell = 0.02;  ///< edge of its cubes, metres
    glm::dmat3 turn{1};  ///< from lattice to stage
    Point origin{0};     ///< of the lattice, on the stage
};

/// The surface where the lattice meets it, without pieces smaller than a few square centimetres.
Surface Polygonise(const Solid& solid, const Lattice& lattice);

/// Moves points along the surface until they are spread evenly, and lets triangles stand as far out as they lie in.
/// (Corners on the surface would put all of a rounded body's triangles inside it.)
void Relax(Surface& surface, const Solid& solid);

/// Edge of the cubes for about so many points.
double CellFor(const Solid& solid, std::size_t points);

/// For each point, of the triangles around it.
std::vector<Point> NormalsOf(const Surface& surface);

}  // namespace Nimb::Authoring::Capture
