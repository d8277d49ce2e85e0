// Consecutive frames, each with a topology of its own in the source, on a few topologies; their pictures are baked
// to fit.
#pragma once

#include "Authoring/Track/ChartTexels.h"
#include "Authoring/Track/TrackFrames.h"
#include "Clip/Write/ClipPlan.h"
#include "Clip/Write/SubMeshSource.h"
#include "Clip/Write/TrackNote.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <vector>

namespace Nimb::Authoring {

/// Holds the poses of all of its frames, 12 bytes a vertex; source frames are loaded when they are asked for. Any
/// thread may call the methods, with frames of the clip. What comes out depends on source, stretch and options alone.
class TrackedStretch {
public:
    /// Tracks all frames. Keeps a reference to `source`. `onTracked` is called on any thread with the number of frames
    /// done. Throws InputError for frames that cannot be loaded, and Stopped when `stop` is set.
    TrackedStretch(const SubMeshSource& source, const MeshSegment& stretch, const TrackOptions& options,
                   std::size_t threads, const std::atomic<bool>& stop,
                   const std::function<void(std::size_t done)>& onTracked);

    /// As SubMeshSource has them.
    std::vector<Mesh> Load(std::size_t frame) const;

    bool BeginsRun(std::size_t frame) const { return PlaceOf(frame).pose == 0; }

    /// Why it does.
    KeyFrameReason ReasonOf(std::size_t frame) const;

    /// The pictures of these sub-meshes. Bakes them each time.
    std::vector<std::shared_ptr<const Image>> Textures(std::size_t frame, const std::vector<std::size_t>& subMeshes);

    /// What is known of the frame: of its textures once they have been baked.
    TrackNote Note(std::size_t frame) const;

private:
    struct Run {
        std::vector<Mesh> topology;  // by sub-mesh, without positions
        std::vector<Pose> poses;     // of all sub-meshes, one after the other
        TrackQuality lost;           // between this run and the one before it
    };
    struct Place {
        std::size_t run, pose;
    };
    using Charts = std::vector<std::unique_ptr<const ChartTexels>>;  // by sub-mesh; null where there are no faces

    void Add(TrackedRun& tracked, const TrackedRun* pBefore);
    const Place& PlaceOf(std::size_t frame) const { return m_Places.at(frame - m_First); }
    std::shared_ptr<const Charts> ChartsOf(std::size_t run);
    std::vector<Vec3> PositionsOf(const Place& place, std::size_t subMesh) const;

    const SubMeshSource& m_Source;
    const std::size_t m_First;
    const double m_Reach;  // how far from a tracked surface its colours are looked for
    std::vector<Run> m_Runs;
    std::vector<Place> m_Places;  // by frame

    mutable std::mutex m_Mutex;  // guards what follows
    std::vector<TrackNote> m_Notes;
    struct KnownCharts {
        std::size_t run;
        std::shared_future<std::shared_ptr<const Charts>> charts;
    };
    std::vector<KnownCharts> m_Charts;  // of the runs asked for last
};

}  // namespace Nimb::Authoring
