#include "Authoring/Surface/ClosestPoint.h"

#include <Eigen/Geometry>
#include <glm/geometric.hpp>
#include <unsupported/Eigen/BVH>

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>
#include <stdexcept>
#include <string>
#include <utility>

namespace Nimb::Authoring {
namespace {

using Volume = Eigen::AlignedBox<double, 3>;

Eigen::Vector3d VectorOfEigen(const glm::dvec3& v) {
    return {v.x, v.y, v.z};
}

glm::dvec3 CheckedPosition(const std::vector<Vec3>& positions, UINT32 vertex) {
    if (vertex >= positions.size()) {
        throw std::invalid_argument("a face refers to vertex " + std::to_string(vertex) + " of " +
                                    std::to_string(positions.size()));
    }
    const glm::dvec3 p = VectorOf(positions[vertex]);
    if (!std::isfinite(p.x) || !std::isfinite(p.y) || !std::isfinite(p.z)) {
        throw std::invalid_argument("the position of vertex " + std::to_string(vertex) + " is not finite");
    }
    return p;
}

}  // namespace

class ClosestPoint::Tree {
public:
    Tree(const std::vector<Vec3>& positions, const std::vector<TarnMeshFace>& faces) {
        std::vector<int> numbers(faces.size());
        std::iota(numbers.begin(), numbers.end(), 0);
        std::vector<Volume> boxes;
        boxes.reserve(faces.size());
        m_Corners.reserve(faces.size());
        for (const TarnMeshFace& face : faces) {
            m_Corners.push_back({CheckedPosition(positions, face.v[0]), CheckedPosition(positions, face.v[1]),
                                 CheckedPosition(positions, face.v[2])});
            boxes.push_back(BoxOf(m_Corners.back()));
        }
        if (!faces.empty()) {
            m_Boxes.init(numbers.begin(), numbers.end(), boxes.begin(), boxes.end());
        }
    }

    bool IsEmpty() const { return m_Corners.empty(); }

    /// Among the triangles that `accepts` takes. Depth first, the nearer half first.
    template <class Accepts>
    SurfacePoint Closest(const glm::dvec3& point, double limit, const Accepts& accepts) const {
        SurfacePoint best;
        best.squaredDistance = limit * limit;
        const Eigen::Vector3d at = VectorOfEigen(point);
        std::array<Waiting, c_MostWaiting> waiting;
        std::size_t count = 0;
        if (!IsEmpty()) {
            waiting[count++] = {m_Boxes.getRootIndex(), 0};
        }
        while (count > 0) {
            const Waiting next = waiting[--count];
            if (next.squaredDistance >= best.squaredDistance) {
                continue;
            }
            const int *nodes = nullptr, *nodesEnd = nullptr, *faces = nullptr, *facesEnd = nullptr;
            m_Boxes.getChildren(next.node, nodes, nodesEnd, faces, facesEnd);
            for (; faces != facesEnd; ++faces) {
                Improve(point, *faces, accepts, best);
            }
            const std::size_t before = count;
            for (; nodes != nodesEnd; ++nodes) {
                waiting[count++] = {*nodes, m_Boxes.getVolume(*nodes).squaredExteriorDistance(at)};
            }
            if (count == before + 2 && waiting[count - 1].squaredDistance > waiting[before].squaredDistance) {
                std::swap(waiting[before], waiting[before + 1]);
            }
        }
        return best;
    }

    bool IsFacing(int face, const glm::dvec3& normal) const {
        return glm::dot(AreaVector(m_Corners[static_cast<std::size_t>(face)]), normal) > 0;
    }

    std::vector<UINT32> Near(const Volume& box) const {
        std::vector<UINT32> found;
        std::vector<int> waiting;
        if (!IsEmpty()) {
            waiting.push_back(m_Boxes.getRootIndex());
        }
        while (!waiting.empty()) {
            const int *nodes = nullptr, *nodesEnd = nullptr, *faces = nullptr, *facesEnd = nullptr;
            m_Boxes.getChildren(waiting.back(), nodes, nodesEnd, faces, facesEnd);
            waiting.pop_back();
            for (; faces != facesEnd; ++faces) {
                if (BoxOf(m_Corners[static_cast<std::size_t>(*faces)]).intersects(box)) {
                    found.push_back(static_cast<UINT32>(*faces));
                }
            }
            for (; nodes != nodesEnd; ++nodes) {
                if (m_Boxes.getVolume(*nodes).intersects(box)) {
                    waiting.push_back(*nodes);
                }
            }
        }
        std::sort(found.begin(), found.end());
        return found;
    }

private:
    struct Waiting {
        int node;
        double squaredDistance;
    };

    // The tree is cut in halves, so that it is less deep than this; each level leaves one of its halves behind.
    static constexpr std::size_t c_MostWaiting = 64;

    static Volume BoxOf(const TriangleCorners& corners) {
        Volume box(VectorOfEigen(corners[0]));
        return box.extend(VectorOfEigen(corners[1])).extend(VectorOfEigen(corners[2]));
    }

    template <class Accepts>
    void Improve(const glm::dvec3& point, int face, const Accepts& accepts, SurfacePoint& best) const {
        SurfacePoint found = ClosestPointOfTriangle(point, m_Corners[static_cast<std::size_t>(face)]);
        if (found.squaredDistance < best.squaredDistance && accepts(face)) {
            found.face = static_cast<UINT32>(face);
            best = found;
        }
    }

    std::vector<TriangleCorners> m_Corners;
    Eigen::KdBVH<double, 3, int> m_Boxes;
};

ClosestPoint::ClosestPoint(const std::vector<Vec3>& positions, const std::vector<TarnMeshFace>& faces)
    : m_Tree(std::make_unique<Tree>(positions, faces)) {}

ClosestPoint::~ClosestPoint() = default;
ClosestPoint::ClosestPoint(ClosestPoint&&) noexcept = default;
ClosestPoint& ClosestPoint::operator=(ClosestPoint&&) noexcept = default;

bool ClosestPoint::IsEmpty() const {
    return m_Tree->IsEmpty();
}

SurfacePoint ClosestPoint::To(const glm::dvec3& point, double limit) const {
    return m_Tree->Closest(point, limit, [](int) { return true; });
}

SurfacePoint ClosestPoint::Facing(const glm::dvec3& point, const glm::dvec3& normal, double limit) const {
    return m_Tree->Closest(point, limit, [&](int face) { return m_Tree->IsFacing(face, normal); });
}

std::vector<UINT32> ClosestPoint::Near(const glm::dvec3& min, const glm::dvec3& max, double reach) const {
    return m_Tree->Near({VectorOfEigen(min - reach), VectorOfEigen(max + reach)});
}

}  // namespace Nimb::Authoring
