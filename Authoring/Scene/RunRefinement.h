// What the topology of a run has to become so that it can show another frame.
#pragma once

#include "Authoring/Scene/FaceDifference.h"
#include "Authoring/Scene/VertexMatch.h"

#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// More triangles than this share without a counterpart are no slivers: then a run is not refined, nor measured.
constexpr double c_MostDiffering = 0.25;

/// Faces that have no counterpart in the other list; degenerate ones need none.
struct UnmatchedFaces {
    std::vector<UINT32> ofRun;
    std::vector<UINT32> ofMesh;

    std::size_t Count() const;  ///< on the side that has more
};

struct RunRefinement {
    std::vector<TarnMeshFace>
        faces;                      ///< the run's: as many as it had, some of them turned to new vertices, then slivers
    std::vector<UINT32> vertexOf;   ///< for each vertex of the run and then the new ones the mesh's, or c_NoVertex
    std::vector<UINT32> splitFrom;  ///< for each new vertex the one that it coincides with in all frames so far
    UnmatchedFaces unmatched;       ///< what is left; numbers in `faces` and in the match's faces
    FaceDifference difference;      ///< before the run was refined
};

/// How a run with these faces takes in a mesh whose vertices correspond as `match` says. Where the mesh tells vertices
/// apart that the run does not, they are split and the slivers between them added. O(n).
RunRefinement RefineRun(const std::vector<TarnMeshFace>& runFaces, const VertexMatch& match, const Mesh& mesh);

}  // namespace Nimb::Authoring
