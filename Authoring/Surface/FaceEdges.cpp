#include "Authoring/Surface/FaceEdges.h"

#include <algorithm>
#include <tuple>

namespace Nimb::Authoring {

std::vector<FaceEdge> SortedEdges(const std::vector<TarnMeshFace>& faces) {
    std::vector<FaceEdge> edges;
    edges.reserve(faces.size() * 3);
    for (UINT32 f = 0; f < faces.size(); ++f) {
        for (UINT32 i = 0; i < 3; ++i) {
            const auto [from, to] = std::minmax(faces[f].v[(i + 1) % 3], faces[f].v[(i + 2) % 3]);
            edges.push_back({from, to, f, i});
        }
    }
    std::sort(edges.begin(), edges.end(), [](const FaceEdge& a, const FaceEdge& b) {
        return std::tie(a.from, a.to, a.face) < std::tie(b.from, b.to, b.face);
    });
    return edges;
}

bool IsClosed(const std::vector<TarnMeshFace>& faces) {
    bool isClosed = true;
    ForEachEdge(SortedEdges(faces), [&](const FaceEdge* edge, const FaceEdge* end) {
        const auto isForwards = [&](const FaceEdge& e) { return faces[e.face].v[(e.corner + 1) % 3] == e.from; };
        isClosed = isClosed && end - edge == 2 && isForwards(edge[0]) != isForwards(edge[1]);
    });
    return isClosed;
}

std::vector<std::array<UINT32, 3>> FacesAcross(const std::vector<TarnMeshFace>& faces) {
    std::vector<std::array<UINT32, 3>> across(faces.size(), {c_NoFace, c_NoFace, c_NoFace});
    ForEachEdge(SortedEdges(faces), [&](const FaceEdge* begin, const FaceEdge* end) {
        for (const FaceEdge* edge = begin; end - begin > 1 && edge != end; ++edge) {
            across[edge->face][edge->corner] = (edge + 1 == end ? begin : edge + 1)->face;
        }
    });
    return across;
}

}  // namespace Nimb::Authoring
