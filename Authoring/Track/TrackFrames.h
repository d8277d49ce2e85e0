// Frames that were meshed one by one, put into runs of one topology each.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace Nimb::Authoring {

struct TrackOptions {
    double p95 =
        0.001;  ///< metres: of the distances of a frame's surface and the tracked one, both ways, the 95th percentile
    double largest = 0.005;  // metres
};

struct TrackQuality {
    double mean = 0, p95 = 0, largest = 0;  // metres, both ways, against the source
};

struct TrackedRun {
    std::size_t first = 0;  ///< frame, counted from the first of all
    std::size_t key = 0;    ///< likewise: its mesh is the topology
    Mesh topology;          ///< the key frame's faces and texture coordinates, and its positions in the run; no normals
    std::vector<Pose> poses;              ///< of each frame, without normals
    std::optional<TrackQuality> before;   ///< what its surface comes to in the frame before its first; none: not tried
    std::optional<TrackQuality> after;    ///< likewise in the one after its last
    std::vector<TrackQuality> qualities;  ///< of each frame; zero where a run is one frame, which is left as it was
};

/// Turns `count` consecutive frames, none of which shares its topology with its neighbours, into runs of one topology
/// each, covering all frames in order. `load` may be called from several threads, more than once for a frame. Same
/// result on any number of threads.
std::vector<TrackedRun> TrackFrames(std::size_t count, const std::function<Mesh(std::size_t)>& load,
                                    const TrackOptions& options, std::size_t threads, const std::atomic<bool>& stop,
                                    const std::function<void(std::size_t done)>& onTracked);

}  // namespace Nimb::Authoring
