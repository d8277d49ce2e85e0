// EdgeBreaker encoding: any list of triangles -> pieces that are disks -> code stream.
//
// Half-edge h = 3f + i runs from corner i of face f to the next corner; its opposite is the half-edge of a neighbour
// that runs the other way. Opposites are matched one to one, whatever the input looks like, so what is left is always
// an oriented surface with borders: where more than two faces meet, or neighbours disagree on the winding, there simply
// is a border. The vertices of that surface are the fans, the runs of corners around a vertex that are connected
// through opposites; a vertex where two sheets touch thus falls apart into two by itself.
//
// Each connected component must be a disk before it can be eaten. Cutting it along edges makes it one, and every cut
// repeats vertices, so MergeBoundary looks for short cuts.
#include "NimbCore/EdgeBreaker.h"

#include "Nimb/NimbAssert.h"

#include <algorithm>
#include <limits>
#include <numeric>

namespace EdgeBreaker {
namespace {

constexpr UINT32 c_None = std::numeric_limits<UINT32>::max();

/// The bits of each code, right-aligned.
constexpr UINT32 c_CodePatterns[] = {0b0, 0b110, 0b101, 0b111, 0b1000, 0b1001};

constexpr UINT32 Next(UINT32 halfEdge) noexcept {
    return halfEdge % 3 == 2 ? halfEdge - 2 : halfEdge + 1;
}
constexpr UINT32 Previous(UINT32 halfEdge) noexcept {
    return halfEdge % 3 == 0 ? halfEdge + 2 : halfEdge - 1;
}

/// Stable counting sort of `items` by key(item) < numKeys.
template <class Key>
void SortByKey(std::vector<UINT32>& items, std::size_t numKeys, Key key) {
    std::vector<UINT32> place(numKeys + 1, 0);
    for (const UINT32 item : items) {
        ++place[key(item) + 1];
    }
    std::partial_sum(place.begin(), place.end(), place.begin());
    std::vector<UINT32> sorted(items.size());
    for (const UINT32 item : items) {
        sorted[place[key(item)]++] = item;
    }
    items.swap(sorted);
}

/// Sets of faces that are connected so far.
class FaceSets {
public:
    /// Every face on its own.
    void Reset(std::size_t numFaces) {
        m_Parent.resize(numFaces);
        std::iota(m_Parent.begin(), m_Parent.end(), 0u);
    }

    /// Joins the sets of two faces. False when they were one set already.
    bool Join(UINT32 a, UINT32 b) {
        a = Root(a);
        b = Root(b);
        m_Parent[std::max(a, b)] = std::min(a, b);
        return a != b;
    }

private:
    UINT32 Root(UINT32 face) {
        while (m_Parent[face] != face) {
            m_Parent[face] = m_Parent[m_Parent[face]];
            face = m_Parent[face];
        }
        return face;
    }

    std::vector<UINT32> m_Parent;
};

}  // namespace

/// A connected set of faces: a range of Surface::componentFaces.
struct CEdgeBreaker::Component {
    UINT32 begin;
    UINT32 end;
};

struct CEdgeBreaker::Surface {
    UINT32 numFaces = 0;
    UINT32 numVertices = 0;
    std::vector<UINT32> origin;    // of each half-edge: a dense number for the input vertex it starts at
    std::vector<UINT32> opposite;  // of each half-edge: the neighbour's half-edge, or c_None at a border

    UINT32 numBorderFans = 0;      // fans at borders have the lowest numbers
    std::vector<UINT32> fan;       // of each half-edge: the fan that its first corner belonged to before any cut
    std::vector<UINT32> fanStart;  // of each fan: its first half-edge, from which AroundFan reaches all others

    std::vector<UINT32> componentFaces;
    std::vector<Component> components;
    std::vector<UINT32> gates;  // one border half-edge for each component

    UINT32 AroundFan(UINT32 halfEdge) const { return opposite[Previous(halfEdge)]; }
    bool IsBorder(UINT32 halfEdge) const { return opposite[halfEdge] == c_None; }
    UINT32 FanAtEnd(UINT32 halfEdge) const { return fan[Next(halfEdge)]; }

    /// The border half-edge that starts where this one ends.
    UINT32 NextOnBorder(UINT32 halfEdge) const {
        halfEdge = Next(halfEdge);
        while (!IsBorder(halfEdge)) {
            halfEdge = Next(opposite[halfEdge]);
        }
        return halfEdge;
    }

    void Detach(UINT32 halfEdge) {
        opposite[opposite[halfEdge]] = c_None;
        opposite[halfEdge] = c_None;
    }

    void FindFans();
    void FindComponents();
    int EulerCharacteristic(const Component& component) const;

    /// Visits the half-edges that start at the fan, borders excepted.
    template <class Visitor>
    void ForEachEdgeAround(UINT32 fanNumber, Visitor visit) const {
        const UINT32 start = fanStart[fanNumber];
        UINT32 h = start;
        do {
            if (!IsBorder(h)) {
                visit(h);
            }
            h = AroundFan(h);
        } while (h != c_None && h != start);
    }

    template <class Visitor>
    void ForEachHalfEdge(const Component& component, Visitor visit) const {
        for (UINT32 i = component.begin; i < component.end; ++i) {
            for (UINT32 corner = 0; corner < 3; ++corner) {
                visit(3 * componentFaces[i] + corner);
            }
        }
    }
};

/// Cuts components that are not disks into disks, repeating as few vertices as it can with shortest paths. Its tables
/// span the whole surface and are shared by all components.
class CEdgeBreaker::Cutter {
public:
    explicit Cutter(Surface& surface) : m_Surface(surface) {}
    void CutToDisk(const Component& component);

private:
    void GrowForest(const Component& component);
    void CutOutsideTree(const Component& component);
    void CloseTwigs();

    void Reach(UINT32 fan, UINT32 distance) {
        m_Distance[fan] = distance;
        m_Queue.push_back(fan);
    }
    void SetCut(UINT32 halfEdge, bool isCut) {
        m_IsCut[halfEdge] = isCut;
        m_IsCut[m_Surface.opposite[halfEdge]] = isCut;
    }

    Surface& m_Surface;
    std::vector<UINT32> m_Queue;     // the component's fans by distance
    std::vector<UINT32> m_Distance;  // of each fan: edges to the nearest root
    std::vector<UINT32> m_Degree;    // of each fan: cut edges at it
    std::vector<BYTE> m_IsCut;       // of each half-edge, equal for opposites
    FaceSets m_FaceSets;
};

/// Collects what the traversal of the pieces produces.
class CEdgeBreaker::Emitter {
public:
    Emitter(const std::vector<TarnMeshFace>& faces, std::vector<BYTE>& bytes, std::vector<UINT32>& vertexOrder,
            std::vector<UINT32>& faceOrder)
        : m_Faces(faces), m_Bytes(bytes), m_VertexOrder(vertexOrder), m_FaceOrder(faceOrder) {}

    void Vertex(UINT32 halfEdge) { m_VertexOrder.push_back(m_Faces[halfEdge / 3].v[halfEdge % 3]); }
    void Face(UINT32 halfEdge) { m_FaceOrder.push_back(halfEdge / 3); }

    void Code(EEdgeCode code) {
        const int numBits = BitsInCode(code);
        m_Bits = m_Bits << numBits | c_CodePatterns[code];
        m_NumBits += numBits;
        if (m_NumBits >= 8) {
            m_NumBits -= 8;
            m_Bytes.push_back(static_cast<BYTE>(m_Bits >> m_NumBits));
        }
    }

    /// Fills the last byte with zeros.
    void Finish() {
        if (m_NumBits > 0) {
            m_Bytes.push_back(static_cast<BYTE>(m_Bits << (8 - m_NumBits)));
        }
    }

private:
    const std::vector<TarnMeshFace>& m_Faces;
    std::vector<BYTE>& m_Bytes;
    std::vector<UINT32>& m_VertexOrder;
    std::vector<UINT32>& m_FaceOrder;
    UINT32 m_Bits = 0;  // the last m_NumBits (fewer than 8) are not in m_Bytes yet
    int m_NumBits = 0;
};

void CEdgeBreaker::Compress(const std::vector<TarnMeshFace>& faces, std::vector<BYTE>* compressedIndices,
                            std::vector<UINT32>* vertexOrder, std::vector<UINT32>* faceOrder) {
    NIMB_ASSERT(compressedIndices != nullptr && vertexOrder != nullptr);
    NIMB_ASSERT(faces.size() <= c_MaxFaces);
    std::vector<BYTE> bytes;
    std::vector<UINT32> newVertexOrder;
    std::vector<UINT32> newFaceOrder;
    newVertexOrder.reserve(faces.size());
    newFaceOrder.reserve(faces.size());
    bytes.reserve(faces.size() / 3 + 16);

    Surface surface;
    BuildHalfEdge(faces, surface);
    FindOpposite(surface);
    surface.FindFans();
    surface.FindComponents();
    Cutter cutter(surface);
    for (const Component& component : surface.components) {
        MergeBoundary(component, surface, cutter);
    }
    FindGates(surface);

    Emitter emitter(faces, bytes, newVertexOrder, newFaceOrder);
    ProcessGates(surface, emitter);

    compressedIndices->swap(bytes);
    vertexOrder->swap(newVertexOrder);
    if (faceOrder != nullptr) {
        faceOrder->swap(newFaceOrder);
    }
}

void CEdgeBreaker::BuildHalfEdge(const std::vector<TarnMeshFace>& faces, Surface& surface) {
    surface.numFaces = static_cast<UINT32>(faces.size());
    surface.origin.reserve(3 * faces.size());
    UINT32 largest = 0;
    for (const TarnMeshFace& face : faces) {
        for (const UINT32 vertex : face.v) {
            surface.origin.push_back(vertex);
            largest = std::max(largest, vertex);
        }
    }
    // Vertex numbers index tables from here on: numbers as large as these are made dense first.
    if (largest / 4 > surface.origin.size()) {
        std::vector<UINT32> used = surface.origin;
        std::sort(used.begin(), used.end());
        used.erase(std::unique(used.begin(), used.end()), used.end());
        for (UINT32& vertex : surface.origin) {
            vertex = static_cast<UINT32>(std::lower_bound(used.begin(), used.end(), vertex) - used.begin());
        }
        largest = static_cast<UINT32>(used.size() - 1);
    }
    surface.numVertices = largest + 1;
}

void CEdgeBreaker::FindOpposite(Surface& surface) {
    const std::vector<UINT32>& origin = surface.origin;
    surface.opposite.assign(origin.size(), c_None);
    const auto lower = [&origin](UINT32 h) { return std::min(origin[h], origin[Next(h)]); };
    const auto upper = [&origin](UINT32 h) { return std::max(origin[h], origin[Next(h)]); };
    const auto isUpward = [&origin](UINT32 h) { return origin[h] < origin[Next(h)]; };

    std::vector<UINT32> halfEdges;  // of faces with three different corners: the others have no neighbours
    halfEdges.reserve(origin.size());
    for (UINT32 h = 0; h < origin.size(); h += 3) {
        if (origin[h] != origin[h + 1] && origin[h + 1] != origin[h + 2] && origin[h + 2] != origin[h]) {
            halfEdges.insert(halfEdges.end(), {h, h + 1, h + 2});
        }
    }
    SortByKey(halfEdges, surface.numVertices, upper);
    SortByKey(halfEdges, surface.numVertices, lower);

    for (std::size_t begin = 0, end = 0; begin < halfEdges.size(); begin = end) {
        const UINT32 first = halfEdges[begin];
        for (end = begin + 1; end < halfEdges.size() && lower(halfEdges[end]) == lower(first) &&
                              upper(halfEdges[end]) == upper(first);) {
            ++end;
        }
        // All half-edges between two vertices, in face order: the n-th one up is matched with the n-th one down.
        for (std::size_t up = begin, down = begin;; ++up, ++down) {
            up = static_cast<std::size_t>(std::find_if(halfEdges.begin() + static_cast<std::ptrdiff_t>(up),
                                                       halfEdges.begin() + static_cast<std::ptrdiff_t>(end), isUpward) -
                                          halfEdges.begin());
            down = static_cast<std::size_t>(std::find_if_not(halfEdges.begin() + static_cast<std::ptrdiff_t>(down),
                                                             halfEdges.begin() + static_cast<std::ptrdiff_t>(end),
                                                             isUpward) -
                                            halfEdges.begin());
            if (up == end || down == end) {
                break;
            }
            surface.opposite[halfEdges[up]] = halfEdges[down];
            surface.opposite[halfEdges[down]] = halfEdges[up];
        }
    }
}

void CEdgeBreaker::Surface::FindFans() {
    const UINT32 numHalfEdges = static_cast<UINT32>(opposite.size());
    fan.assign(numHalfEdges, c_None);
    fanStart.clear();
    const auto walk = [this](UINT32 start) {
        const UINT32 number = static_cast<UINT32>(fanStart.size());
        fanStart.push_back(start);
        UINT32 h = start;
        do {
            fan[h] = number;
            h = AroundFan(h);
        } while (h != c_None && h != start);
    };
    for (UINT32 h = 0; h < numHalfEdges; ++h) {
        if (IsBorder(h)) {
            walk(h);
        }
    }
    numBorderFans = static_cast<UINT32>(fanStart.size());
    for (UINT32 h = 0; h < numHalfEdges; ++h) {
        if (fan[h] == c_None) {
            walk(h);
        }
    }
}

void CEdgeBreaker::Surface::FindComponents() {
    std::vector<bool> found(numFaces, false);
    componentFaces.reserve(numFaces);
    for (UINT32 seed = 0; seed < numFaces; ++seed) {
        if (found[seed]) {
            continue;
        }
        const UINT32 begin = static_cast<UINT32>(componentFaces.size());
        found[seed] = true;
        componentFaces.push_back(seed);
        for (UINT32 i = begin; i < componentFaces.size(); ++i) {
            for (UINT32 corner = 0; corner < 3; ++corner) {
                const UINT32 neighbour = opposite[3 * componentFaces[i] + corner];
                if (neighbour != c_None && !found[neighbour / 3]) {
                    found[neighbour / 3] = true;
                    componentFaces.push_back(neighbour / 3);
                }
            }
        }
        components.push_back({begin, static_cast<UINT32>(componentFaces.size())});
    }
}

/// Vertices - edges + faces: 2 for a sphere, less 1 for each border and 2 for each handle.
int CEdgeBreaker::Surface::EulerCharacteristic(const Component& component) const {
    UINT32 numFans = 0;
    UINT32 numBorder = 0;
    ForEachHalfEdge(component, [&](UINT32 h) {
        numFans += fanStart[fan[h]] == h;
        numBorder += IsBorder(h);
    });
    const UINT32 size = component.end - component.begin;
    const UINT32 numEdges = (3 * size + numBorder) / 2;
    return static_cast<int>(numFans + size) - static_cast<int>(numEdges);
}

/// Breadth first: a forest of shortest paths from the borders (from one vertex if there is none) to all
/// fans.
void CEdgeBreaker::Cutter::GrowForest(const Component& component) {
    m_Queue.clear();
    m_Surface.ForEachHalfEdge(component, [&](UINT32 h) {
        if (m_Surface.IsBorder(h)) {
            Reach(m_Surface.fan[h], 0);
        }
    });
    if (m_Queue.empty()) {
        Reach(m_Surface.fan[3 * m_Surface.componentFaces[component.begin]], 0);
    }
    for (std::size_t i = 0; i < m_Queue.size(); ++i) {
        const UINT32 fan = m_Queue[i];
        m_Surface.ForEachEdgeAround(fan, [&](UINT32 h) {
            const UINT32 end = m_Surface.FanAtEnd(h);
            if (m_Distance[end] == c_None) {
                Reach(end, m_Distance[fan] + 1);
                SetCut(h, true);
            }
        });
    }
}

/// A spanning tree over the faces that crosses no edge of the forest. Edges are offered to it by falling length of the
/// path that a cut there would complete, so that the ones it has no use for, which are then cut, are the shortest links
/// between borders and the shortest loops around handles.
void CEdgeBreaker::Cutter::CutOutsideTree(const Component& component) {
    const auto pathLength = [this](UINT32 h) {
        return m_Distance[m_Surface.fan[h]] + m_Distance[m_Surface.FanAtEnd(h)];
    };
    std::vector<UINT32> candidates;
    UINT32 longest = 0;
    m_Surface.ForEachHalfEdge(component, [&](UINT32 h) {
        if (!m_Surface.IsBorder(h) && h < m_Surface.opposite[h] && !m_IsCut[h]) {
            candidates.push_back(h);
            longest = std::max(longest, pathLength(h));
        }
    });
    SortByKey(candidates, std::size_t{longest} + 1, [&](UINT32 h) { return longest - pathLength(h); });
    for (const UINT32 h : candidates) {
        if (!m_FaceSets.Join(h / 3, m_Surface.opposite[h] / 3)) {
            SetCut(h, true);
        }
    }
}

/// Closes the cuts that end in the middle of the surface, edge by edge from their ends.
void CEdgeBreaker::Cutter::CloseTwigs() {
    for (const UINT32 fan : m_Queue) {
        m_Surface.ForEachEdgeAround(fan, [&](UINT32 h) { m_Degree[fan] += m_IsCut[h]; });
    }
    for (const UINT32 start : m_Queue) {
        UINT32 fan = start;
        while (fan >= m_Surface.numBorderFans && m_Degree[fan] == 1) {
            UINT32 twig = c_None;
            m_Surface.ForEachEdgeAround(fan, [&](UINT32 h) { twig = m_IsCut[h] ? h : twig; });
            SetCut(twig, false);
            m_Degree[fan] = 0;
            fan = m_Surface.FanAtEnd(twig);
            --m_Degree[fan];
        }
    }
}

void CEdgeBreaker::Cutter::CutToDisk(const Component& component) {
    if (m_IsCut.empty()) {
        m_IsCut.resize(m_Surface.opposite.size(), 0);
        m_Distance.resize(m_Surface.fanStart.size(), c_None);
        m_Degree.resize(m_Surface.fanStart.size(), 0);
        m_FaceSets.Reset(m_Surface.numFaces);
    }
    GrowForest(component);
    CutOutsideTree(component);
    CloseTwigs();
    m_Surface.ForEachHalfEdge(component, [&](UINT32 h) {
        if (m_IsCut[h] && !m_Surface.IsBorder(h)) {
            m_Surface.Detach(h);
        }
    });
}

void CEdgeBreaker::MergeBoundary(const Component& component, Surface& surface, Cutter& cutter) {
    switch (surface.EulerCharacteristic(component)) {
        case 1:  // a disk already, as the charts of a texture atlas should be
            return;
        case 2:  // a sphere opens at any one edge: its border has two vertices, and none is repeated
            surface.Detach(3 * surface.componentFaces[component.begin]);
            return;
        default:
            cutter.CutToDisk(component);
    }
}

void CEdgeBreaker::FindGates(Surface& surface) {
    surface.gates.reserve(surface.components.size());
    for (const Component& component : surface.components) {
        UINT32 gate = c_None;
        surface.ForEachHalfEdge(component, [&](UINT32 h) { gate = gate == c_None && surface.IsBorder(h) ? h : gate; });
        surface.gates.push_back(gate);
    }
}

void CEdgeBreaker::ProcessGates(Surface& surface, Emitter& emitter) {
    // Numbers from before the cuts do: a fan that was cut lies on the border with all its parts.
    std::vector<bool> fanDone(surface.fanStart.size(), false);
    for (const UINT32 gate : surface.gates) {
        ProcessComponent(gate, surface, fanDone, emitter);
        emitter.Code(EdgeCode_Terminator);
    }
    if (surface.gates.empty()) {
        emitter.Code(EdgeCode_Terminator);
    }
    emitter.Code(EdgeCode_Terminator);
    emitter.Finish();
}

void CEdgeBreaker::ProcessComponent(UINT32 gate, Surface& surface, std::vector<bool>& fanDone, Emitter& emitter) {
    UINT32 border = gate;
    do {
        border = surface.NextOnBorder(border);
        emitter.Vertex(border);
        fanDone[surface.fan[border]] = true;
    } while (border != gate);

    std::vector<UINT32> pendingGates;
    for (bool more = true; more;) {
        emitter.Face(gate);
        const UINT32 toV = Next(gate);        // b -> v
        const UINT32 fromV = Previous(gate);  // v -> a
        const UINT32 beyondB = surface.opposite[toV];
        const UINT32 beyondA = surface.opposite[fromV];
        // The face leaves: its neighbours' edges become border.
        if (beyondB != c_None) {
            surface.Detach(toV);
        }
        if (beyondA != c_None) {
            surface.Detach(fromV);
        }
        if (beyondA != c_None && beyondB != c_None) {
            if (!fanDone[surface.fan[fromV]]) {
                fanDone[surface.fan[fromV]] = true;
                emitter.Vertex(fromV);
                emitter.Code(EdgeCode_C);
                gate = beyondB;
            } else {
                emitter.Code(EdgeCode_S);
                pendingGates.push_back(beyondB);
                gate = beyondA;
            }
        } else if (beyondB != c_None) {
            emitter.Code(EdgeCode_L);
            gate = beyondB;
        } else if (beyondA != c_None) {
            emitter.Code(EdgeCode_R);
            gate = beyondA;
        } else {
            emitter.Code(EdgeCode_E);
            more = !pendingGates.empty();
            if (more) {
                gate = pendingGates.back();
                pendingGates.pop_back();
            }
        }
    }
}

}  // namespace EdgeBreaker
