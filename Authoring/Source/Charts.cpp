#include "Authoring/Source/Charts.h"

#include <algorithm>
#include <array>
#include <tuple>

namespace Nimb::Authoring {
namespace {

constexpr UINT32 c_None = 0xFFFFFFFF;

// Charts of a size that packs well.
constexpr int c_MaxExtent = 32;
constexpr int c_GridSide = 2 * c_MaxExtent + 1;

bool HasVertexTwice(const TarnMeshFace& face) {
    return face.v[0] == face.v[1] || face.v[1] == face.v[2] || face.v[2] == face.v[0];
}

/// An edge of a face: from its corner `corner` to the next one.
struct FaceEdge {
    UINT32 face = c_None;
    UINT32 corner = 0;
};

/// For each corner of each face, the edge on the other side. Edges of more than two faces, or of two that are turned
/// against each other, have none.
std::vector<std::array<FaceEdge, 3>> FindNeighbours(const std::vector<TarnMeshFace>& faces) {
    struct Edge {
        UINT32 low, high;
        FaceEdge at;
        bool isForward;
    };
    std::vector<Edge> edges;
    edges.reserve(faces.size() * 3);
    for (UINT32 f = 0; f < faces.size(); ++f) {
        if (HasVertexTwice(faces[f])) {
            continue;
        }
        for (UINT32 k = 0; k < 3; ++k) {
            const UINT32 a = faces[f].v[k], b = faces[f].v[(k + 1) % 3];
            edges.push_back({std::min(a, b), std::max(a, b), {f, k}, a < b});
        }
    }
    std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) {
        return std::tie(a.low, a.high, a.at.face) < std::tie(b.low, b.high, b.at.face);
    });
    std::vector<std::array<FaceEdge, 3>> neighbours(faces.size());
    for (std::size_t begin = 0, end = 0; begin < edges.size(); begin = end) {
        while (end < edges.size() && edges[end].low == edges[begin].low && edges[end].high == edges[begin].high) {
            ++end;
        }
        if (end - begin == 2 && edges[begin].isForward != edges[begin + 1].isForward) {
            neighbours[edges[begin].at.face][edges[begin].at.corner] = edges[begin + 1].at;
            neighbours[edges[begin + 1].at.face][edges[begin + 1].at.corner] = edges[begin].at;
        }
    }
    return neighbours;
}

class Unfolder {
public:
    explicit Unfolder(const std::vector<TarnMeshFace>& faces)
        : m_Faces(faces), m_Neighbours(FindNeighbours(faces)), m_IsPlaced(faces.size()) {}

    Charts Run() {
        for (UINT32 seed = 0; seed < m_Faces.size(); ++seed) {
            if (!m_IsPlaced[seed] && !HasVertexTwice(m_Faces[seed])) {
                Grow(seed);
            }
        }
        return std::move(m_Charts);
    }

private:
    using Corners = std::array<LatticePoint, 3>;

    /// A face that may be joined to the chart, and where its corners would be.
    struct Candidate {
        UINT32 face;
        Corners corners;
        UINT32 added;  ///< the corner that is not on the common edge
    };

    /// The vertex of m_Charts at a point.
    UINT32& At(const LatticePoint& p) {
        return m_Grid[static_cast<std::size_t>((p.y + c_MaxExtent) * c_GridSide + p.x + c_MaxExtent)];
    }

    /// Makes a chart of as many faces as it takes, beginning with one.
    void Grow(UINT32 seed) {
        m_Grid.assign(std::size_t{c_GridSide} * c_GridSide, c_None);
        m_Low = {0, 0};
        m_High = {1, 1};
        m_First = static_cast<UINT32>(m_Charts.origin.size());
        std::vector<Candidate> waiting, closing;  // the latter need no further vertex: they come first
        std::size_t next = 0;
        const auto join = [&](UINT32 face, const Corners& corners) {
            Place(face, corners);
            for (UINT32 k = 0; k < 3; ++k) {
                const FaceEdge& other = m_Neighbours[face][k];
                if (other.face == c_None || m_IsPlaced[other.face]) {
                    continue;
                }
                const LatticePoint &a = corners[k], &b = corners[(k + 1) % 3], &c = corners[(k + 2) % 3];
                Candidate candidate{other.face, {}, (other.corner + 2) % 3};
                candidate.corners[other.corner] = b;
                candidate.corners[(other.corner + 1) % 3] = a;
                candidate.corners[candidate.added] = {a.x + b.x - c.x, a.y + b.y - c.y};
                if (Fits(candidate)) {
                    (IsClosing(candidate) ? closing : waiting).push_back(candidate);
                }
            }
        };
        join(seed, {{{0, 0}, {1, 0}, {0, 1}}});
        while (!closing.empty() || next < waiting.size()) {
            Candidate candidate;
            if (!closing.empty()) {
                candidate = closing.back();
                closing.pop_back();
            } else {
                candidate = waiting[next++];
            }
            if (!m_IsPlaced[candidate.face] && Fits(candidate)) {
                join(candidate.face, candidate.corners);
            }
        }
        Close();
    }

    bool IsClosing(const Candidate& candidate) { return At(candidate.corners[candidate.added]) != c_None; }

    bool Fits(const Candidate& candidate) {
        const LatticePoint& p = candidate.corners[candidate.added];
        if (std::max(p.x, m_High.x) - std::min(p.x, m_Low.x) > c_MaxExtent ||
            std::max(p.y, m_High.y) - std::min(p.y, m_Low.y) > c_MaxExtent) {
            return false;
        }
        const UINT32 there = At(p);
        return there == c_None || m_Charts.origin[there] == m_Faces[candidate.face].v[candidate.added];
    }

    void Place(UINT32 face, const Corners& corners) {
        m_IsPlaced[face] = true;
        TarnMeshFace placed{};
        for (std::size_t k = 0; k < 3; ++k) {
            const LatticePoint& p = corners[k];
            UINT32& vertex = At(p);
            if (vertex == c_None) {
                vertex = static_cast<UINT32>(m_Charts.origin.size());
                m_Charts.origin.push_back(m_Faces[face].v[k]);
                m_Charts.points.push_back(p);
                m_Low = {std::min(m_Low.x, p.x), std::min(m_Low.y, p.y)};
                m_High = {std::max(m_High.x, p.x), std::max(m_High.y, p.y)};
            }
            placed.v[k] = vertex;
        }
        m_Charts.faces.push_back(placed);
    }

    void Close() {
        const auto end = static_cast<UINT32>(m_Charts.origin.size());
        for (UINT32 i = m_First; i < end; ++i) {
            m_Charts.points[i] = {m_Charts.points[i].x - m_Low.x, m_Charts.points[i].y - m_Low.y};
        }
        m_Charts.charts.push_back(
            {m_First,
             end,
             {static_cast<std::size_t>(m_High.x - m_Low.x), static_cast<std::size_t>(m_High.y - m_Low.y)}});
    }

    const std::vector<TarnMeshFace>& m_Faces;
    const std::vector<std::array<FaceEdge, 3>> m_Neighbours;
    std::vector<bool> m_IsPlaced;
    Charts m_Charts;

    // Of the chart that grows:
    std::vector<UINT32> m_Grid;
    LatticePoint m_Low, m_High;
    UINT32 m_First = 0;
};

}  // namespace

Charts Unfold(const std::vector<TarnMeshFace>& faces) {
    return Unfolder(faces).Run();
}

Charts Collapse(const std::vector<TarnMeshFace>& faces) {
    Charts charts;
    std::vector<UINT32> numbers;
    for (const TarnMeshFace& face : faces) {
        if (HasVertexTwice(face)) {
            continue;
        }
        TarnMeshFace placed{};
        for (std::size_t k = 0; k < 3; ++k) {
            const UINT32 v = face.v[k];
            numbers.resize(std::max<std::size_t>(numbers.size(), v + 1), c_None);
            if (numbers[v] == c_None) {
                numbers[v] = static_cast<UINT32>(charts.origin.size());
                charts.origin.push_back(v);
            }
            placed.v[k] = numbers[v];
        }
        charts.faces.push_back(placed);
    }
    charts.points.resize(charts.origin.size());
    charts.charts.push_back({0, static_cast<UINT32>(charts.origin.size()), {0, 0}});
    return charts;
}

}  // namespace Nimb::Authoring
