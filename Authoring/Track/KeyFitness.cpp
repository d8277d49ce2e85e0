#include "Authoring/Track/KeyFitness.h"

#include "Authoring/Scene/DisjointSets.h"
#include "Authoring/Surface/FaceEdges.h"

#include <glm/geometric.hpp>

#include <cmath>
#include <unordered_map>

namespace Nimb::Authoring {
namespace {

constexpr double c_CreaseCosine = 0.5;  // between the normals of two faces

// A crease of this length weighs as much as one unit of apartness; times the root of the surface's area. On a person,
// of a hand that lies on the hip, the handle and the crease weigh about the same.
constexpr double c_CreaseOfUnit = 0.034;

int Apartness(const WeldedSurface& surface, const std::vector<FaceEdge>& edges) {
    DisjointSets parts(surface.positions.size());
    for (const TarnMeshFace& face : surface.faces) {
        parts.Join(face.v[0], face.v[1]);
        parts.Join(face.v[0], face.v[2]);
    }
    struct Count {
        int vertices = 0, edges = 0, faces = 0, holes = 0;
    };
    std::unordered_map<UINT32, Count> counts;
    std::vector<bool> isUsed(surface.positions.size());
    for (const TarnMeshFace& face : surface.faces) {
        ++counts[parts.Find(face.v[0])].faces;
        for (const UINT32 v : face.v) {
            isUsed[v] = true;
        }
    }
    for (UINT32 v = 0; v < surface.positions.size(); ++v) {
        if (isUsed[v]) {
            ++counts[parts.Find(v)].vertices;
        }
    }
    DisjointSets rims(surface.positions.size());
    std::vector<UINT32> rimVertices;
    ForEachEdge(edges, [&](const FaceEdge* edge, const FaceEdge* end) {
        ++counts[parts.Find(edge->from)].edges;
        if (end - edge == 1) {
            rims.Join(edge->from, edge->to);
            rimVertices.push_back(edge->from);
        }
    });
    std::vector<bool> isCounted(surface.positions.size());
    for (const UINT32 v : rimVertices) {
        if (!isCounted[rims.Find(v)]) {
            isCounted[rims.Find(v)] = true;
            ++counts[parts.Find(v)].holes;
        }
    }
    int apartness = 0;
    for (const auto& [part, count] : counts) {
        if (static_cast<std::size_t>(count.faces) * 100 >= surface.faces.size()) {
            apartness += count.vertices - count.edges + count.faces + count.holes;
        }
    }
    return apartness;
}

double CreaseLength(const WeldedSurface& surface, const std::vector<FaceEdge>& edges) {
    double length = 0;
    ForEachEdge(edges, [&](const FaceEdge* edge, const FaceEdge* end) {
        if (end - edge != 2) {
            return;
        }
        const TriangleCorners a = TriangleOf(surface.positions, surface.faces[edge[0].face]);
        const TriangleCorners b = TriangleOf(surface.positions, surface.faces[edge[1].face]);
        const glm::dvec3 normalOfA = AreaVector(a), normalOfB = AreaVector(b);
        const bool isValley = glm::dot(normalOfA, b[edge[1].corner] - a[edge[0].corner]) > 0;
        const double cosine = c_CreaseCosine * glm::length(normalOfA) * glm::length(normalOfB);
        if (isValley && glm::dot(normalOfA, normalOfB) < cosine) {
            length += glm::distance(surface.positions[edge->from], surface.positions[edge->to]);
        }
    });
    return length;
}

}  // namespace

int Apartness(const WeldedSurface& surface) {
    return Apartness(surface, SortedEdges(surface.faces));
}

double CreaseLength(const WeldedSurface& surface) {
    return CreaseLength(surface, SortedEdges(surface.faces));
}

double KeyFitness(const WeldedSurface& surface) {
    const std::vector<FaceEdge> edges = SortedEdges(surface.faces);
    const double size = std::sqrt(SurfaceArea(surface.positions, surface.faces));
    const double creases = size > 0 ? CreaseLength(surface, edges) / (c_CreaseOfUnit * size) : 0;
    return Apartness(surface, edges) - creases;
}

}  // namespace Nimb::Authoring
