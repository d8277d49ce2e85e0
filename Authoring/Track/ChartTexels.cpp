#include "Authoring/Track/ChartTexels.h"

#include "Authoring/Track/TexturedSurface.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace Nimb::Authoring {
namespace {

/// Linear filtering inside a chart reads texels whose middles are less than a texel outside it on each axis.
constexpr double c_Margin = 1.5;

/// Triangles so narrow that a texel beside them lies further out than this are not continued beyond their edges.
constexpr double c_FurthestOut = 0.5;

double DoubledArea(const TriangleCorners& c) {
    return (c[1].x - c[0].x) * (c[2].y - c[0].y) - (c[2].x - c[0].x) * (c[1].y - c[0].y);
}

/// Undefined for a triangle without an area.
glm::dvec3 WeightsAt(const TriangleCorners& c, const glm::dvec3& p, double doubledArea) {
    const double w1 = ((p.x - c[0].x) * (c[2].y - c[0].y) - (c[2].x - c[0].x) * (p.y - c[0].y)) / doubledArea;
    const double w2 = ((c[1].x - c[0].x) * (p.y - c[0].y) - (p.x - c[0].x) * (c[1].y - c[0].y)) / doubledArea;
    return {1 - w1 - w2, w1, w2};
}

bool AreInside(const glm::dvec3& weights, double tolerance) {
    return weights.x >= -tolerance && weights.y >= -tolerance && weights.z >= -tolerance;
}

glm::dvec3 MiddleOf(std::size_t x, std::size_t y) {
    return {static_cast<double>(x) + 0.5, static_cast<double>(y) + 0.5, 0};
}

/// The texels from `least` to `most` on one axis, margin included, as far as they are in the picture.
std::pair<std::size_t, std::size_t> Range(double least, double most, std::size_t count) {
    const double end = static_cast<double>(count);
    return {static_cast<std::size_t>(std::clamp(std::ceil(least - c_Margin - 0.5), 0.0, end)),
            static_cast<std::size_t>(std::clamp(std::floor(most + c_Margin - 0.5) + 1, 0.0, end))};
}

/// Whose each texel is, so far.
class Owners {
public:
    explicit Owners(const PictureSize& size)
        : m_Size(size),
          m_Faces(size.width * size.height, c_NoFace),
          m_Distances(size.width * size.height, std::numeric_limits<float>::infinity()) {}

    void Claim(UINT32 face, const TriangleCorners& c) {
        const double area = DoubledArea(c);
        const auto [left, right] =
            Range(std::min({c[0].x, c[1].x, c[2].x}), std::max({c[0].x, c[1].x, c[2].x}), m_Size.width);
        const auto [top, bottom] =
            Range(std::min({c[0].y, c[1].y, c[2].y}), std::max({c[0].y, c[1].y, c[2].y}), m_Size.height);
        for (std::size_t y = top; y < bottom; ++y) {
            for (std::size_t x = left; x < right; ++x) {
                const std::size_t texel = y * m_Size.width + x;
                if (m_Distances[texel] == 0) {
                    continue;
                }
                const float distance = DistanceOf(c, MiddleOf(x, y), area);
                if (distance < m_Distances[texel]) {
                    m_Distances[texel] = distance;
                    m_Faces[texel] = face;
                }
            }
        }
    }

    const std::vector<UINT32>& Faces() const { return m_Faces; }

private:
    /// 0 inside; infinite beyond the margin.
    static float DistanceOf(const TriangleCorners& c, const glm::dvec3& p, double area) {
        if (area != 0 && AreInside(WeightsAt(c, p, area), 0)) {
            return 0;
        }
        const double squared = ClosestPointOfTriangle(p, c).squaredDistance;
        return squared <= c_Margin * c_Margin ? static_cast<float>(std::sqrt(squared))
                                              : std::numeric_limits<float>::infinity();
    }

    const PictureSize m_Size;
    std::vector<UINT32> m_Faces;
    std::vector<float> m_Distances;
};

}  // namespace

ChartTexels::ChartTexels(const Mesh& mesh, const PictureSize& size) : m_Size(size), m_Begin(mesh.faces.size() + 1) {
    Owners owners(size);
    for (const TarnMeshFace& face : mesh.faces) {
        TriangleCorners corners;
        for (std::size_t i = 0; i < 3; ++i) {
            corners[i] = {PlaceInPicture(mesh.texCoords[face.v[i]], size.width, size.height), 0};
        }
        owners.Claim(static_cast<UINT32>(m_Corners.size()), corners);
        m_Corners.push_back(corners);
    }
    for (const UINT32 face : owners.Faces()) {
        if (face != c_NoFace) {
            ++m_Begin[face + 1];
        }
    }
    std::partial_sum(m_Begin.begin(), m_Begin.end(), m_Begin.begin());
    m_Texels.resize(m_Begin.back());
    std::vector<std::size_t> next(m_Begin.begin(), m_Begin.end() - 1);
    for (std::size_t texel = 0; texel < owners.Faces().size(); ++texel) {
        const UINT32 face = owners.Faces()[texel];
        if (face != c_NoFace) {
            m_Texels[next[face]++] = static_cast<UINT32>(texel);
        }
    }
}

/// In the middle of the picture's first texel; all 0 for a triangle without an area.
ChartTexels::Weights ChartTexels::WeightsOf(std::size_t face) const {
    const TriangleCorners& c = m_Corners[face];
    const double area = DoubledArea(c);
    Weights weights{};
    if (area != 0) {
        weights.middle = WeightsAt(c, MiddleOf(0, 0), area);
        weights.right = WeightsAt(c, MiddleOf(1, 0), area) - weights.middle;
        weights.down = WeightsAt(c, MiddleOf(0, 1), area) - weights.middle;
    }
    return weights;
}

ChartTexels::Weights ChartTexels::WeightsOf(std::size_t face, std::size_t texel, const Weights& first) const {
    const std::size_t x = texel % m_Size.width, y = texel / m_Size.width;
    const glm::dvec3 weights =
        first.middle + first.right * static_cast<double>(x) + first.down * static_cast<double>(y);
    if (first.middle != glm::dvec3(0) && AreInside(weights, c_FurthestOut)) {
        return {weights, first.right, first.down};
    }
    const TriangleCorners& c = m_Corners[face];
    return {ClosestPointOfTriangle(MiddleOf(x, y), c).weights, {}, {}};
}

}  // namespace Nimb::Authoring
