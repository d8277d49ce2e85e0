#include "Authoring/Surface/FaceEdges.h"

#include <algorithm>
#include <numeric>
#include <tuple>

namespace Nimb::Authoring {

namespace {

/// Where the edges of each vertex with a smaller number than their other end begin, and the last ones end.
template <class EdgeOf>
std::vector<std::size_t> FirstEdges(const std::vector<TarnMeshFace>& faces, const EdgeOf& edgeOf) {
    std::vector<std::size_t> begins(2, 0);
    for (UINT32 f = 0; f < faces.size(); ++f) {
        for (UINT32 i = 0; i < 3; ++i) {
            const std::size_t next = std::size_t{edgeOf(f, i).from} + 1;
            if (next >= begins.size()) {
                begins.resize(next + 1);
            }
            ++begins[next];
        }
    }
    std::partial_sum(begins.begin(), begins.end(), begins.begin());
    return begins;
}

}  // namespace

/// Counted out by their first vertices, of which each has few: several times as fast as sorting all of them at once.
std::vector<FaceEdge> SortedEdges(const std::vector<TarnMeshFace>& faces) {
    const auto edgeOf = [&faces](UINT32 face, UINT32 corner) {
        const auto [from, to] = std::minmax(faces[face].v[(corner + 1) % 3], faces[face].v[(corner + 2) % 3]);
        return FaceEdge{from, to, face, corner};
    };
    const std::vector<std::size_t> begins = FirstEdges(faces, edgeOf);
    std::vector<FaceEdge> edges(begins.back());
    std::vector<std::size_t> ends = begins;
    for (UINT32 f = 0; f < faces.size(); ++f) {
        for (UINT32 i = 0; i < 3; ++i) {
            const FaceEdge edge = edgeOf(f, i);
            edges[ends[edge.from]++] = edge;
        }
    }
    const auto place = [&edges](std::size_t i) { return edges.begin() + static_cast<std::ptrdiff_t>(i); };
    for (std::size_t v = 0; v + 1 < begins.size(); ++v) {
        std::sort(place(begins[v]), place(begins[v + 1]),
                  [](const FaceEdge& a, const FaceEdge& b) { return std::tie(a.to, a.face) < std::tie(b.to, b.face); });
    }
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
