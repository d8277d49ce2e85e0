#include "Authoring/Track/TextureBake.h"

#include "Authoring/Codec/Vectors.h"
#include "Authoring/Surface/SurfaceSamples.h"
#include "Authoring/Track/PushPull.h"

#include <glm/common.hpp>
#include <glm/geometric.hpp>

#include <algorithm>
#include <cmath>
#include <utility>

namespace Nimb::Authoring {
namespace {

/// Inside a triangle, the surface is seldom further away than its distance at the corners times this.
constexpr double c_Reserve = 1.5;

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

}  // namespace

BakedTexture BakeTexture(const ChartTexels& charts, const std::vector<TarnMeshFace>& faces,
                         const std::vector<Vec3>& positions, const TexturedSurface& source, double reach) {
    BakedTexture baked;
    baked.picture = Image(charts.Size().width, charts.Size().height);
    std::vector<BYTE> known(baked.picture.width * baked.picture.height);
    TriangleView view(source, reach);
    const std::vector<double> distances = DistancesOf(positions, source, reach);
    for (std::size_t i = 0; i < faces.size(); ++i) {
        const TriangleCorners corners = TriangleOf(positions, faces[i]);
        const double far = std::max({distances[faces[i].v[0]], distances[faces[i].v[1]], distances[faces[i].v[2]]});
        view.LookFrom(corners, c_Reserve * far);
        charts.ForEach(i, [&](std::size_t texel, const glm::dvec3& weights) {
            ++baked.covered;
            const SurfacePoint seen = view.Find(PointAt(corners, weights));
            if (!seen) {
                ++baked.unseen;
                return;
            }
            const glm::vec4 colour = source.Colour(seen.face, seen.weights, TexturedSurface::Filter::Cubic);
            BYTE* const pixel = &baked.picture.rgba[texel * 4];
            for (int c = 0; c < 4; ++c) {
                pixel[c] = static_cast<BYTE>(colour[c] + 0.5F);
            }
            known[texel] = 1;
        });
    }
    FillUnknown(baked.picture, std::move(known));
    return baked;
}

double SquaredLumaError(const TexturedSurface& source, const TexturedSurface& baked, double reach) {
    constexpr std::size_t c_Places = 8192;
    constexpr auto c_AsShown = TexturedSurface::Filter::Linear;
    const std::size_t places = std::min(c_Places, 4 * source.FaceCount());
    double sum = 0;
    std::size_t count = 0;
    for (std::size_t i = 0; i < places; ++i) {
        const std::size_t face = i * source.FaceCount() / places;
        const glm::dvec3 weights = SpreadWeights(i);
        const TriangleCorners& corners = source.CornersOf(face);
        const SurfacePoint found = baked.Nearest().Facing(PointAt(corners, weights), AreaVector(corners), reach);
        if (found) {
            const double difference = LumaOf(source.Colour(face, weights, c_AsShown)) -
                                      LumaOf(baked.Colour(found.face, found.weights, c_AsShown));
            sum += difference * difference;
            ++count;
        }
    }
    return count == 0 ? 0 : sum / static_cast<double>(count);
}

}  // namespace Nimb::Authoring
