// Turns frames that were each meshed anew into runs of one topology.
//
// A run grows both ways from a key frame: one in which as much of the surface as possible is apart, not far from
// the middle of what is left to track. The key frame's surface is fitted to one frame after the other by an
// embedded deformation graph with an as-rigid-as-possible term, coarse to fine, and by an offset of each vertex for
// what the graph is too coarse for; what is still far off then comes to where it is nearest. Ways through time are
// smoothed. A run ends where the distance of the surfaces, measured both ways, is above the
// limit, and nowhere else. What is left between the runs is treated likewise. (Of this kind: Li, Adams, Guibas, Pauly,
// "Robust Single-View Geometry and Motion Reconstruction", 2009; Collet et al., "High-Quality Streamable Free-Viewpoint
// Video", 2015.)
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace Nimb::Authoring {

struct TrackOptions {
    double p95 = 0.001;      ///< metres: of a frame's distances the 95th percentile at most
    double largest = 0.005;  ///< metres: the largest of a patch at most

    /// What coding may add where nothing else is asked for: tracked surfaces are off by noise of about that much, which
    /// is not worth coding. With 0.5, deltas are a quarter smaller, and rendered views lose 0.7 dB.
    double CodingError() const { return 0.3 * p95; }
};

/// Distances in metres between a frame's surface and the tracked one, from the vertices of either to the other. What
/// has no counterpart does not count: what is near the rim of a hole in the other surface, and of the tracked surface
/// what lies inside the frame's, where nobody sees it, such as a palm on the hip.
struct TrackQuality {
    double mean = 0;
    double p95 = 0;
    double largest = 0;
    double patch = 0;  ///< the largest when each vertex has the least distance among its own and its neighbours': a hem
                       ///< or a fingertip, which every frame's mesh cuts off elsewhere, does not end a run
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

/// Turns `count` frames into runs that cover all of them in order; a frame that no other can be tracked to is a run of
/// its own. `load` gives the mesh of a frame, with faces; it may be called from several threads, and more than once for
/// a frame. `onTracked` is called from any of them, one at a time, with the number of frames that are done. The result
/// does not depend on the number of threads. Returns early, with anything, when `stop` is set. Throws what `load`
/// throws; std::invalid_argument for meshes whose arrays do not fit together.
std::vector<TrackedRun> TrackFrames(std::size_t count, const std::function<Mesh(std::size_t)>& load,
                                    const TrackOptions& options, std::size_t threads, const std::atomic<bool>& stop,
                                    const std::function<void(std::size_t done)>& onTracked);

}  // namespace Nimb::Authoring
