#include "Authoring/Track/TrackMeasure.h"

#include <glm/geometric.hpp>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace Nimb::Authoring {
namespace {

// How far from the rim of a hole a point may be that belongs into the hole. Holes of captures are a few centimetres
// wide; what misses more than that is missing.
constexpr double c_HoleReach = 8;  // times the largest distance that is allowed

// A triangle that became so many times as large may span what is apart.
constexpr double c_Stretched = 2;

/// The distances of points that count.
class Distances {
public:
    void Add(double distance) { m_All.push_back(distance); }

    /// Of a surface's vertices; below 0: does not count.
    void AddVertices(const std::vector<double>& distances, const std::vector<TarnMeshFace>& faces) {
        std::vector<double> least = distances;
        for (const TarnMeshFace& face : faces) {
            const double ofFace = std::min({distances[face.v[0]], distances[face.v[1]], distances[face.v[2]]});
            for (const UINT32 v : face.v) {
                least[v] = std::min(least[v], ofFace);
            }
        }
        for (std::size_t v = 0; v < distances.size(); ++v) {
            if (distances[v] >= 0) {
                m_All.push_back(distances[v]);
                m_Patch = std::max(m_Patch, least[v]);
            }
        }
    }

    void AddPatch(double distance) { m_Patch = std::max(m_Patch, distance); }

    TrackQuality Quality() {
        TrackQuality quality;
        if (!m_All.empty()) {
            const auto p95 = m_All.begin() + static_cast<std::ptrdiff_t>(m_All.size() * 95 / 100);
            std::nth_element(m_All.begin(), p95, m_All.end());
            quality.p95 = *p95;
            quality.largest = *std::max_element(p95, m_All.end());
            quality.mean = std::accumulate(m_All.begin(), m_All.end(), 0.0) / static_cast<double>(m_All.size());
            quality.patch = m_Patch;
        }
        return quality;
    }

private:
    std::vector<double> m_All;
    double m_Patch = 0;
};

class Measurement {
public:
    Measurement(const KeySurface& key, const Points& positions, const TargetSurface& target,
                const TrackOptions& options)
        : m_Key(key), m_Positions(positions), m_Target(target), m_Options(options) {}

    TrackQuality Run() {
        std::vector<double> distances;
        for (const glm::dvec3& p : m_Positions) {
            distances.push_back(ToTarget(p));
        }
        m_Distances.AddVertices(distances, m_Key.surface.faces);
        AddStretched();
        AddCoverage();
        return m_Distances.Quality();
    }

private:
    double HoleReach() const { return c_HoleReach * m_Options.largest; }

    /// Below 0: does not count.
    double ToTarget(const glm::dvec3& p) const {
        const TargetSurface::Match match = m_Target.Nearest(p);
        const bool isInside = match.isInside && match.distance > m_Options.p95;
        return isInside || (match.isBoundary && match.distance < HoleReach()) ? -1 : match.distance;
    }

    /// A web between two limbs has no vertices but those of the limbs.
    void AddStretched() {
        for (const TarnMeshFace& face : m_Key.surface.faces) {
            const TriangleCorners now = TriangleOf(m_Positions, face);
            const TriangleCorners before = TriangleOf(m_Key.surface.positions, face);
            if (glm::length(AreaVector(now)) > c_Stretched * glm::length(AreaVector(before))) {
                const double distance = ToTarget((now[0] + now[1] + now[2]) / 3.0);
                if (distance >= 0) {
                    m_Distances.Add(distance);
                    m_Distances.AddPatch(distance);
                }
            }
        }
    }

    /// The frame's vertices, to the tracked surface.
    void AddCoverage() {
        const ClosestPoint tracked(PlainOf(m_Positions), m_Key.surface.faces);
        std::vector<double> distances;
        for (const glm::dvec3& p : m_Target.Surface().positions) {
            const SurfacePoint found = tracked.To(p);
            const double distance = std::sqrt(found.squaredDistance);
            const bool isAtRim = found && m_Key.normals.IsAtRim(found);
            distances.push_back(isAtRim && distance < HoleReach() ? -1 : distance);
        }
        m_Distances.AddVertices(distances, m_Target.Surface().faces);
    }

    const KeySurface& m_Key;
    const Points& m_Positions;
    const TargetSurface& m_Target;
    const TrackOptions& m_Options;
    Distances m_Distances;
};

}  // namespace

TrackQuality MeasureTrack(const KeySurface& key, const Points& positions, const TargetSurface& target,
                          const TrackOptions& options) {
    return Measurement(key, positions, target, options).Run();
}

}  // namespace Nimb::Authoring
