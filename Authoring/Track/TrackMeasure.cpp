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

std::vector<Vec3> PlainOf(const Points& points) {
    std::vector<Vec3> out;
    out.reserve(points.size());
    for (const glm::dvec3& p : points) {
        out.push_back({static_cast<float>(p.x), static_cast<float>(p.y), static_cast<float>(p.z)});
    }
    return out;
}

double DoubledArea(const Points& positions, const TarnMeshFace& face) {
    const glm::dvec3& a = positions[face.v[0]];
    return glm::length(glm::cross(positions[face.v[1]] - a, positions[face.v[2]] - a));
}

Points SamplesOf(const KeySurface& key, const Points& positions) {
    Points samples = positions;
    for (const TarnMeshFace& face : key.surface.faces) {
        if (DoubledArea(positions, face) > 2 * DoubledArea(key.surface.positions, face)) {
            samples.push_back((positions[face.v[0]] + positions[face.v[1]] + positions[face.v[2]]) / 3.0);
        }
    }
    return samples;
}

}  // namespace

TrackQuality MeasureTrack(const KeySurface& key, const Points& positions, const TargetSurface& target,
                          const TrackOptions& options) {
    std::vector<double> distances;
    const double holeReach = c_HoleReach * options.largest;
    for (const glm::dvec3& p : SamplesOf(key, positions)) {
        const TargetSurface::Match match = target.Nearest(p);
        if (match.isBoundary && match.distance < holeReach) {
            continue;
        }
        if (match.distance > options.p95 && glm::dot(p - match.position, match.normal) < 0) {
            continue;  // inside
        }
        distances.push_back(match.distance);
    }
    const ClosestPoint tracked(PlainOf(positions), key.surface.faces);
    for (const glm::dvec3& p : target.Surface().positions) {
        const SurfacePoint found = tracked.To(p);
        const double distance = std::sqrt(found.squaredDistance);
        bool isBoundary = false;
        for (glm::length_t i = 0; i < 3; ++i) {
            isBoundary = isBoundary || (found.weights[i] <= 0 && ((key.boundary[found.face] >> i) & 1) != 0);
        }
        if (!isBoundary || distance >= holeReach) {
            distances.push_back(distance);
        }
    }
    TrackQuality quality;
    if (!distances.empty()) {
        const auto p95 = distances.begin() + static_cast<std::ptrdiff_t>(distances.size() * 95 / 100);
        std::nth_element(distances.begin(), p95, distances.end());
        quality.p95 = *p95;
        quality.largest = *std::max_element(p95, distances.end());
        quality.mean = std::accumulate(distances.begin(), distances.end(), 0.0) / static_cast<double>(distances.size());
    }
    return quality;
}

}  // namespace Nimb::Authoring
