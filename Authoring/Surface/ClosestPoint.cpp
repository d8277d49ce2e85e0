#include "Authoring/Surface/ClosestPoint.h"

#include <glm/common.hpp>
#include <glm/vector_relational.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

namespace Nimb::Authoring {
namespace {

using PlainCorners = std::array<Vec3, 3>;

constexpr float c_Unbounded = std::numeric_limits<float>::infinity();
constexpr Box c_EmptyBox{{c_Unbounded, c_Unbounded, c_Unbounded}, {-c_Unbounded, -c_Unbounded, -c_Unbounded}};

Vec3 CheckedPosition(const std::vector<Vec3>& positions, UINT32 vertex) {
    if (vertex >= positions.size()) {
        throw std::invalid_argument("a face refers to vertex " + std::to_string(vertex) + " of " +
                                    std::to_string(positions.size()));
    }
    const Vec3& p = positions[vertex];
    if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) {
        throw std::invalid_argument("the position of vertex " + std::to_string(vertex) + " is not finite");
    }
    return p;
}

PlainCorners CornersOf(const std::vector<Vec3>& positions, const TarnMeshFace& face) {
    return {CheckedPosition(positions, face.v[0]), CheckedPosition(positions, face.v[1]),
            CheckedPosition(positions, face.v[2])};
}

Box BoxOf(const PlainCorners& corners) {
    return Union({corners[0], corners[0]}, Union({corners[1], corners[1]}, {corners[2], corners[2]}));
}

/// 0 inside. Without branches: on which side of a box a point is cannot be guessed.
double SquaredDistance(const glm::dvec3& point, const Box& box) {
    const glm::dvec3 out = glm::max(glm::max(VectorOf(box.min) - point, point - VectorOf(box.max)), glm::dvec3(0));
    return glm::dot(out, out);
}

}  // namespace

/// Eigen's KdBVH did this before. Searches are half of the time that tracking takes: with this layout, and with trees
/// that can follow a moving surface, tracking is a sixth faster.
///
/// Cut at the middle face into halves, along one axis after the other. A node has its children's boxes, and corners are
/// in the order of the leaves, as floats, which they come as: a search waits for memory more than it calculates.
class ClosestPoint::Tree {
public:
    Tree(const std::vector<Vec3>& positions, const std::vector<TarnMeshFace>& faces) {
        std::vector<Center> centers;
        centers.reserve(faces.size());
        for (const TarnMeshFace& face : faces) {
            const Box box = BoxOf(CornersOf(positions, face));
            centers.push_back({(VectorOf(box.min) + VectorOf(box.max)) / 2.0, static_cast<UINT32>(centers.size())});
        }
        m_Nodes.reserve(faces.size());
        if (!faces.empty()) {
            Cut(centers, 0, centers.size(), 0);
        }
        m_Leaves.reserve(faces.size());
        for (const Center& center : centers) {
            m_Leaves.push_back({{}, center.face});
        }
        Move(positions, faces);
    }

    void Move(const std::vector<Vec3>& positions, const std::vector<TarnMeshFace>& faces) {
        if (faces.size() != m_Leaves.size()) {
            throw std::invalid_argument("a tree of " + std::to_string(m_Leaves.size()) + " faces cannot take " +
                                        std::to_string(faces.size()));
        }
        for (Leaf& leaf : m_Leaves) {
            leaf.corners = CornersOf(positions, faces[leaf.face]);
        }
        FitBoxes();
    }

    bool IsEmpty() const { return m_Leaves.empty(); }

    /// Among the triangles that `accepts` takes. Depth first, the nearer half first.
    template <class Accepts>
    SurfacePoint Closest(const glm::dvec3& point, double limit, const Accepts& accepts) const {
        SurfacePoint best;
        best.squaredDistance = limit * limit;
        std::array<Waiting, c_MostWaiting> waiting;
        std::size_t count = 0;
        if (!IsEmpty()) {
            waiting[count++] = {0, 0};
        }
        while (count > 0) {
            const Waiting next = waiting[--count];
            if (next.squaredDistance > best.squaredDistance) {
                continue;
            }
            const Node& node = m_Nodes[next.node];
            const std::size_t before = count;
            for (std::size_t i = 0; i < 2; ++i) {
                const double distance = SquaredDistance(point, node.boxes[i]);
                if (!node.isLeaf[i]) {
                    waiting[count++] = {node.children[i], distance};
                } else if (distance <= best.squaredDistance) {
                    Improve(point, m_Leaves[node.children[i]], accepts, best);
                }
            }
            if (count == before + 2 && waiting[count - 1].squaredDistance > waiting[before].squaredDistance) {
                std::swap(waiting[before], waiting[before + 1]);
            }
        }
        return best;
    }

    std::vector<UINT32> Near(const glm::dvec3& min, const glm::dvec3& max) const {
        std::vector<UINT32> found, waiting;
        if (!IsEmpty()) {
            waiting.push_back(0);
        }
        while (!waiting.empty()) {
            const Node& node = m_Nodes[waiting.back()];
            waiting.pop_back();
            for (std::size_t i = 0; i < 2; ++i) {
                const Box& box = node.boxes[i];
                if (glm::all(glm::lessThanEqual(VectorOf(box.min), max)) &&
                    glm::all(glm::lessThanEqual(min, VectorOf(box.max)))) {
                    if (node.isLeaf[i]) {
                        found.push_back(m_Leaves[node.children[i]].face);
                    } else {
                        waiting.push_back(node.children[i]);
                    }
                }
            }
        }
        std::sort(found.begin(), found.end());
        return found;
    }

private:
    struct Node {
        std::array<Box, 2> boxes;
        std::array<UINT32, 2> children;  // leaves or nodes, which have larger numbers than this one
        std::array<bool, 2> isLeaf;
    };

    struct Leaf {
        PlainCorners corners;
        UINT32 face;
    };

    struct Center {
        glm::dvec3 place;
        UINT32 face;
    };

    struct Waiting {
        UINT32 node;
        double squaredDistance;
    };

    // The tree is cut in halves, so that it is less deep than this; each level leaves one of its halves behind.
    static constexpr std::size_t c_MostWaiting = 64;

    /// Orders the centres as the leaves are to be.
    UINT32 Cut(std::vector<Center>& centers, std::size_t begin, std::size_t end, glm::length_t axis) {
        const auto number = static_cast<UINT32>(m_Nodes.size());
        m_Nodes.push_back({{c_EmptyBox, c_EmptyBox}, {0, 0}, {true, true}});
        if (end - begin < 2) {  // of the only face; the other child has an empty box
            return number;
        }
        const std::size_t middle = begin + (end - begin) / 2;
        if (end - begin > 2) {
            const auto place = [&](std::size_t i) { return centers.begin() + static_cast<std::ptrdiff_t>(i); };
            std::nth_element(place(begin), place(middle), place(end),
                             [axis](const Center& a, const Center& b) { return a.place[axis] < b.place[axis]; });
        }
        const std::array<std::size_t, 3> bounds{begin, middle, end};
        for (std::size_t i = 0; i < 2; ++i) {
            const bool isLeaf = bounds[i + 1] - bounds[i] == 1;
            const UINT32 child =
                isLeaf ? static_cast<UINT32>(bounds[i]) : Cut(centers, bounds[i], bounds[i + 1], (axis + 1) % 3);
            m_Nodes[number].children[i] = child;
            m_Nodes[number].isLeaf[i] = isLeaf;
        }
        return number;
    }

    /// From the last node to the first, so that children come before their parents.
    void FitBoxes() {
        for (std::size_t n = m_Nodes.size(); n-- > 0;) {
            Node& node = m_Nodes[n];
            for (std::size_t i = 0; i < std::min<std::size_t>(m_Leaves.size(), 2); ++i) {
                const UINT32 child = node.children[i];
                node.boxes[i] = node.isLeaf[i] ? BoxOf(m_Leaves[child].corners)
                                               : Union(m_Nodes[child].boxes[0], m_Nodes[child].boxes[1]);
            }
        }
    }

    template <class Accepts>
    static void Improve(const glm::dvec3& point, const Leaf& leaf, const Accepts& accepts, SurfacePoint& best) {
        const TriangleCorners corners{VectorOf(leaf.corners[0]), VectorOf(leaf.corners[1]), VectorOf(leaf.corners[2])};
        const SurfacePoint found = ClosestPointOfTriangle(point, corners);
        const bool isNearer = found.squaredDistance < best.squaredDistance ||
                              (best && found.squaredDistance == best.squaredDistance && leaf.face < best.face);
        if (isNearer && accepts(corners)) {
            best = found;
            best.face = leaf.face;
        }
    }

    std::vector<Node> m_Nodes;
    std::vector<Leaf> m_Leaves;
};

ClosestPoint::ClosestPoint(const std::vector<Vec3>& positions, const std::vector<TarnMeshFace>& faces)
    : m_Tree(std::make_unique<Tree>(positions, faces)) {}

ClosestPoint::~ClosestPoint() = default;
ClosestPoint::ClosestPoint(ClosestPoint&&) noexcept = default;
ClosestPoint& ClosestPoint::operator=(ClosestPoint&&) noexcept = default;

void ClosestPoint::Move(const std::vector<Vec3>& positions, const std::vector<TarnMeshFace>& faces) {
    m_Tree->Move(positions, faces);
}

bool ClosestPoint::IsEmpty() const {
    return m_Tree->IsEmpty();
}

SurfacePoint ClosestPoint::To(const glm::dvec3& point, double limit) const {
    return m_Tree->Closest(point, limit, [](const TriangleCorners&) { return true; });
}

SurfacePoint ClosestPoint::Facing(const glm::dvec3& point, const glm::dvec3& normal, double limit) const {
    return m_Tree->Closest(
        point, limit, [&normal](const TriangleCorners& corners) { return glm::dot(AreaVector(corners), normal) > 0; });
}

std::vector<UINT32> ClosestPoint::Near(const glm::dvec3& min, const glm::dvec3& max, double reach) const {
    return m_Tree->Near(min - reach, max + reach);
}

}  // namespace Nimb::Authoring
