#include "Authoring/Track/TextureBake.h"

#include "Authoring/Codec/Vectors.h"
#include "Authoring/Surface/SurfaceSamples.h"
#include "Authoring/Track/PushPull.h"
#include "Authoring/Track/TexelFit.h"

#include <glm/common.hpp>
#include <glm/geometric.hpp>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Nimb::Authoring {
namespace {

/// Inside a triangle, the surface is seldom further away than its distance at the corners times this.
constexpr double c_Reserve = 1.5;

/// The weights of a triangle's corners where its plane is nearest to a point; not finite without an area.
class PlaneWeights {
public:
    explicit PlaneWeights(const TriangleCorners& c) : m_Origin(c[0]) {
        const glm::dvec3 normal = AreaVector(c), scaled = normal / glm::dot(normal, normal);
        m_Second = glm::cross(c[2] - c[0], scaled);
        m_Third = glm::cross(scaled, c[1] - c[0]);
    }

    glm::dvec3 At(const glm::dvec3& point) const {
        const double second = glm::dot(point - m_Origin, m_Second), third = glm::dot(point - m_Origin, m_Third);
        return {1 - second - third, second, third};
    }

private:
    glm::dvec3 m_Origin, m_Second, m_Third;
};

/// The nearest points of a surface for places on one triangle near it.
class TriangleView {
public:
    TriangleView(const TexturedSurface& surface, double reach) : m_Surface(surface), m_Reach(reach) {}

    /// `near`: about how far the surface is from the triangle. It decides nothing but how long Find takes.
    void LookFrom(const TriangleCorners& corners, double near) {
        m_Candidates.clear();
        const glm::dvec3 min = glm::min(corners[0], glm::min(corners[1], corners[2]));
        const glm::dvec3 max = glm::max(corners[0], glm::max(corners[1], corners[2]));
        m_Normal = AreaVector(corners);
        m_Near = std::min(std::max(near, glm::distance(min, max) / 16), m_Reach);
        for (const UINT32 face : m_Surface.Nearest().Near(min, max, m_Near)) {
            const TriangleCorners& c = m_Surface.CornersOf(face);
            if (glm::dot(AreaVector(c), m_Normal) > 0) {
                m_Candidates.push_back(
                    {glm::min(c[0], glm::min(c[1], c[2])), glm::max(c[0], glm::max(c[1], c[2])), face});
            }
        }
    }

    /// None when nothing that looks the same way is within reach.
    SurfacePoint Find(const glm::dvec3& point) {
        SurfacePoint best;
        for (Candidate& candidate : m_Candidates) {
            const glm::dvec3 out = glm::max(glm::max(candidate.min - point, point - candidate.max), glm::dvec3(0));
            if (glm::dot(out, out) >= best.squaredDistance) {
                continue;
            }
            const TriangleCorners& c = m_Surface.CornersOf(candidate.face);
            SurfacePoint found = ClosestPointOfTriangle(point, c);
            if (found.squaredDistance < best.squaredDistance) {
                found.face = candidate.face;
                best = found;
                std::swap(candidate, m_Candidates.front());  // for the next place, which is most likely beside this one
            }
        }
        // Whatever is nearer than the candidates reach would be one of them.
        return best && best.squaredDistance <= m_Near * m_Near ? best
                                                               : m_Surface.Nearest().Facing(point, m_Normal, m_Reach);
    }

private:
    struct Candidate {
        glm::dvec3 min, max;
        UINT32 face;
    };

    const TexturedSurface& m_Surface;
    const double m_Reach;
    glm::dvec3 m_Normal{0};
    double m_Near = 0;
    std::vector<Candidate> m_Candidates;
};

/// How far each position is from the surface; `reach` where it is further.
std::vector<double> DistancesOf(const std::vector<Vec3>& positions, const TexturedSurface& surface, double reach) {
    std::vector<double> distances;
    distances.reserve(positions.size());
    for (const Vec3& p : positions) {
        const SurfacePoint nearest = surface.Nearest().To(VectorOf(p), reach);
        distances.push_back(nearest ? std::sqrt(nearest.squaredDistance) : reach);
    }
    return distances;
}

double LumaOf(const glm::vec4& colour) {
    const glm::dvec4 c(colour);
    return Luma(c.r, c.g, c.b);
}

/// `middle`: what is seen in the texel's middle. The places around it most likely see the same triangle.
TexelFit::Colours ColoursAround(const TriangleCorners& corners, const ChartTexels::Weights& weights,
                                const SurfacePoint& middle, const TexturedSurface& source, TriangleView& view) {
    const PlaneWeights plane(source.CornersOf(middle.face));
    const glm::dvec3 at = PointAt(corners, weights.middle);
    const glm::dvec3 right = PointAt(corners, weights.right), down = PointAt(corners, weights.down);
    TexelFit::Colours colours;
    for (std::size_t i = 0; i < colours.size(); ++i) {
        const glm::dvec3 point = at + right * c_FittedPlaces[i].x + down * c_FittedPlaces[i].y;
        const glm::dvec3 beside = plane.At(point);
        if (beside.x >= 0 && beside.y >= 0 && beside.z >= 0) {
            colours[i] = source.Colour(middle.face, beside);
            continue;
        }
        const SurfacePoint found = view.Find(point);
        const SurfacePoint& seen = found ? found : middle;
        colours[i] = source.Colour(seen.face, seen.weights);
    }
    return colours;
}

}  // namespace

BakedTexture BakeTexture(const ChartTexels& charts, const std::vector<TarnMeshFace>& faces,
                         const std::vector<Vec3>& positions, const TexturedSurface& source, double reach) {
    BakedTexture baked;
    TexelFit fit(charts.Size());
    TriangleView view(source, reach);
    const std::vector<double> distances = DistancesOf(positions, source, reach);
    for (std::size_t i = 0; i < faces.size(); ++i) {
        const TriangleCorners corners = TriangleOf(positions, faces[i]);
        const double far = std::max({distances[faces[i].v[0]], distances[faces[i].v[1]], distances[faces[i].v[2]]});
        view.LookFrom(corners, c_Reserve * far);
        charts.ForEach(i, [&](std::size_t texel, const ChartTexels::Weights& weights) {
            ++baked.covered;
            const SurfacePoint middle = view.Find(PointAt(corners, weights.middle));
            if (!middle) {
                ++baked.unseen;
                return;
            }
            fit.Add(texel, ColoursAround(corners, weights, middle, source, view));
        });
    }
    baked.picture = fit.Solve();
    FillUnknown(baked.picture, fit.Known());
    return baked;
}

double SquaredLumaError(const TexturedSurface& source, const TexturedSurface& baked, double reach) {
    constexpr std::size_t c_Places = 8192;
    const std::size_t places = std::min(c_Places, 4 * source.FaceCount());
    double sum = 0;
    std::size_t count = 0;
    for (std::size_t i = 0; i < places; ++i) {
        const std::size_t face = i * source.FaceCount() / places;
        const glm::dvec3 weights = SpreadWeights(i);
        const TriangleCorners& corners = source.CornersOf(face);
        const SurfacePoint found = baked.Nearest().Facing(PointAt(corners, weights), AreaVector(corners), reach);
        if (found) {
            const double difference =
                LumaOf(source.Colour(face, weights)) - LumaOf(baked.Colour(found.face, found.weights));
            sum += difference * difference;
            ++count;
        }
    }
    return count == 0 ? 0 : sum / static_cast<double>(count);
}

}  // namespace Nimb::Authoring
