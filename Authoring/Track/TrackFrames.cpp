#include "Authoring/Track/TrackFrames.h"

#include "Authoring/Codec/Vectors.h"
#include "Authoring/Surface/ClosestPoint.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <utility>

namespace Nimb::Authoring {
namespace {

std::vector<double> DistancesOf(const std::vector<Vec3>& positions, const ClosestPoint& surface) {
    std::vector<double> distances;
    for (const Vec3& p : positions) {
        distances.push_back(std::sqrt(surface.To(VectorOf(p)).squaredDistance));
    }
    return distances;
}

TrackQuality QualityOf(const Mesh& topology, const Pose& pose, const Mesh& source, const ClosestPoint& surface) {
    std::vector<double> distances = DistancesOf(pose.positions, surface);
    const std::vector<double> back = DistancesOf(source.positions, ClosestPoint(pose.positions, topology.faces));
    distances.insert(distances.end(), back.begin(), back.end());
    std::sort(distances.begin(), distances.end());
    TrackQuality quality;
    for (const double distance : distances) {
        quality.mean += distance / static_cast<double>(distances.size());
    }
    quality.p95 = distances[distances.size() * 95 / 100];
    quality.largest = distances.back();
    return quality;
}

}  // namespace

std::vector<TrackedRun> TrackFrames(std::size_t count, const std::function<Mesh(std::size_t)>& load,
                                    const TrackOptions& options, std::size_t, const std::atomic<bool>& stop,
                                    const std::function<void(std::size_t done)>& onTracked) {
    std::vector<TrackedRun> runs;
    for (std::size_t frame = 0; frame < count && !stop; ++frame) {
        Mesh mesh = load(frame);
        if (!runs.empty()) {
            TrackedRun& run = runs.back();
            const ClosestPoint surface(mesh.positions, mesh.faces);
            Pose pose = run.poses.back();
            for (Vec3& p : pose.positions) {
                const glm::dvec3 nearest = surface.To(VectorOf(p)).position;
                p = {static_cast<float>(nearest.x), static_cast<float>(nearest.y), static_cast<float>(nearest.z)};
            }
            const TrackQuality quality = QualityOf(run.topology, pose, mesh, surface);
            if (quality.p95 <= options.p95 && quality.largest <= options.largest) {
                run.poses.push_back(std::move(pose));
                run.qualities.push_back(quality);
                onTracked(frame + 1);
                continue;
            }
        }
        TrackedRun& run = runs.emplace_back();
        run.first = run.key = frame;
        run.poses.push_back({mesh.positions, {}});
        run.qualities.emplace_back();
        run.topology = std::move(mesh);
        onTracked(frame + 1);
    }
    return runs;
}

}  // namespace Nimb::Authoring
