#include "Authoring/Codec/IndexStreams.h"

#include <algorithm>
#include <array>
#include <limits>

namespace Nimb::Authoring {
namespace {

/// Bytes of the shortest two's complement form.
std::size_t WidthOf(UINT32 difference) {
    const INT32 value = static_cast<INT32>(difference);
    std::size_t width = 1;
    while (width < 4 && (value < -(INT32{1} << (8 * width - 1)) || value >= INT32{1} << (8 * width - 1))) {
        ++width;
    }
    return width;
}

TarnMeshFace Rotated(const TarnMeshFace& face, std::size_t by) {
    return {{face.v[by % 3], face.v[(by + 1) % 3], face.v[(by + 2) % 3]}};
}

std::size_t DeltaBytes(const TarnMeshFace& from, const TarnMeshFace& to) {
    return WidthOf(to.v[0] - from.v[0]) + WidthOf(to.v[1] - from.v[1]) + WidthOf(to.v[2] - from.v[2]);
}

bool HasArea(const TarnMeshFace& face) {
    return face.v[0] != face.v[1] && face.v[1] != face.v[2] && face.v[2] != face.v[0];
}

}  // namespace

Bytes WriteRawIndices(const std::vector<UINT32>& indices) {
    ByteWriter out;
    for (const UINT32 index : indices) {
        out.U32(index);
    }
    return out.Take();
}

std::vector<UINT32> FlattenFaces(const std::vector<TarnMeshFace>& faces) {
    std::vector<UINT32> indices;
    indices.reserve(3 * faces.size());
    for (const TarnMeshFace& face : faces) {
        indices.insert(indices.end(), std::begin(face.v), std::end(face.v));
    }
    return indices;
}

Bytes WriteListDeltas(const std::vector<TarnMeshFace>& faces) {
    ByteWriter triangles;
    TarnMeshFace previous{};
    for (const TarnMeshFace& face : faces) {
        UINT32 control = 0;
        for (std::size_t k = 0; k < 3; ++k) {
            control |= static_cast<UINT32>(WidthOf(face.v[k] - previous.v[k]) - 1) << (2 * k);
        }
        triangles.U8(control);
        for (std::size_t k = 0; k < 3; ++k) {
            const UINT32 difference = face.v[k] - previous.v[k];
            triangles.Little(difference, WidthOf(difference));
        }
        previous = face;
    }
    ByteWriter out;
    out.U64(triangles.Size());
    out.Append(triangles.Take());
    return out.Take();
}

EdgeBreakerIndices WriteEdgeBreaker(const std::vector<TarnMeshFace>& faces) {
    EdgeBreakerIndices result;
    Bytes codes;
    EdgeBreaker::CEdgeBreaker().Compress(faces, &codes, &result.vertexOrder);
    ByteWriter out;
    out.U32(static_cast<UINT32>(codes.size()));
    out.Append(codes);
    result.section = out.Take();
    return result;
}

std::vector<TarnMeshFace> RotateForListDeltas(std::vector<TarnMeshFace> faces) {
    // Shortest path through three states a face: cost[r] is the size so far with the newest face rotated by r.
    std::vector<std::array<BYTE, 3>> cameFrom(faces.size());
    std::array<std::size_t, 3> cost{};
    for (std::size_t i = 0; i < faces.size(); ++i) {
        std::array<std::size_t, 3> next{};
        for (std::size_t to = 0; to < 3; ++to) {
            next[to] = std::numeric_limits<std::size_t>::max();
            for (std::size_t from = 0; from < 3; ++from) {
                const TarnMeshFace before = i == 0 ? TarnMeshFace{} : Rotated(faces[i - 1], from);
                const std::size_t total = cost[from] + DeltaBytes(before, Rotated(faces[i], to));
                if (total < next[to]) {
                    next[to] = total;
                    cameFrom[i][to] = static_cast<BYTE>(from);
                }
            }
        }
        cost = next;
    }
    std::size_t rotation = static_cast<std::size_t>(std::min_element(cost.begin(), cost.end()) - cost.begin());
    for (std::size_t i = faces.size(); i-- > 0;) {
        faces[i] = Rotated(faces[i], rotation);
        rotation = cameFrom[i][rotation];
    }
    return faces;
}

Bytes WriteStripDeltas(const std::vector<UINT32>& strip) {
    ByteWriter values;
    UINT32 previous = 0;
    for (const UINT32 index : strip) {
        const UINT32 difference = index - previous;
        values.U8(static_cast<UINT32>(WidthOf(difference)));
        values.Big(difference, WidthOf(difference));
        previous = index;
    }
    ByteWriter out;
    out.U64(values.Size());
    out.U32(0);
    out.Append(values.Take());
    return out.Take();
}

namespace {

/// Finds faces by a directed edge, each face at most once.
class StripFaces {
public:
    explicit StripFaces(const std::vector<TarnMeshFace>& faces) : m_Faces(faces), m_Taken(faces.size()) {
        for (std::size_t face = 0; face < faces.size(); ++face) {
            for (std::size_t k = 0; k < 3; ++k) {
                m_Edges.push_back({Key(faces[face].v[k], faces[face].v[(k + 1) % 3]), face});
            }
        }
        std::sort(m_Edges.begin(), m_Edges.end());
    }

    bool IsTaken(std::size_t face) const { return m_Taken[face]; }
    void Take(std::size_t face) { m_Taken[face] = true; }

    /// Whether a free face has the edge a -> b; then `*pFace` is the first such face.
    bool Find(UINT32 a, UINT32 b, std::size_t* pFace) const {
        for (auto edge = std::lower_bound(m_Edges.begin(), m_Edges.end(), Edge{Key(a, b), 0});
             edge != m_Edges.end() && edge->first == Key(a, b); ++edge) {
            if (!m_Taken[edge->second]) {
                *pFace = edge->second;
                return true;
            }
        }
        return false;
    }

    /// The corner of a face that is neither end of its edge a -> b.
    UINT32 CornerOpposite(std::size_t face, UINT32 a, UINT32 b) const {
        const auto& v = m_Faces[face].v;
        return v[0] == a && v[1] == b ? v[2] : v[1] == a && v[2] == b ? v[0] : v[1];
    }

private:
    using Edge = std::pair<UINT64, std::size_t>;  // key and face

    static UINT64 Key(UINT32 from, UINT32 to) { return UINT64{from} << 32 | to; }

    const std::vector<TarnMeshFace>& m_Faces;
    std::vector<bool> m_Taken;
    std::vector<Edge> m_Edges;
};

/// Appends vertices to a strip that ends in a triangle of even number, as long as a free neighbour continues it.
void ExtendStrip(StripFaces& faces, std::vector<UINT32>& strip) {
    for (bool even = true;; even = !even) {
        const UINT32 p = strip[strip.size() - 2];
        const UINT32 q = strip[strip.size() - 1];
        // Triangles of odd number are wound the other way round.
        const UINT32 from = even ? q : p;
        const UINT32 to = even ? p : q;
        std::size_t face = 0;
        if (!faces.Find(from, to, &face)) {
            return;
        }
        faces.Take(face);
        strip.push_back(faces.CornerOpposite(face, from, to));
    }
}

}  // namespace

std::vector<UINT32> MakeStrip(const std::vector<TarnMeshFace>& faces) {
    StripFaces finder(faces);
    std::vector<UINT32> strip;
    for (std::size_t i = 0; i < faces.size(); ++i) {
        if (finder.IsTaken(i) || !HasArea(faces[i])) {
            continue;
        }
        finder.Take(i);
        TarnMeshFace start = faces[i];
        std::size_t neighbour = 0;
        for (std::size_t turn = 0; turn < 3 && !finder.Find(start.v[2], start.v[1], &neighbour); ++turn) {
            start = Rotated(start, 1);
        }
        if (!strip.empty()) {
            strip.push_back(strip.back());
            strip.push_back(start.v[0]);
            if (strip.size() % 2 != 0) {
                strip.push_back(start.v[0]);
            }
        }
        strip.insert(strip.end(), std::begin(start.v), std::end(start.v));
        ExtendStrip(finder, strip);
    }
    return strip;
}

std::vector<TarnMeshFace> FacesOfStrip(const std::vector<UINT32>& strip) {
    std::vector<TarnMeshFace> faces;
    for (std::size_t i = 0; i + 2 < strip.size(); ++i) {
        const TarnMeshFace face = i % 2 == 0 ? TarnMeshFace{{strip[i], strip[i + 1], strip[i + 2]}}
                                             : TarnMeshFace{{strip[i + 1], strip[i], strip[i + 2]}};
        if (HasArea(face)) {
            faces.push_back(face);
        }
    }
    return faces;
}

}  // namespace Nimb::Authoring
