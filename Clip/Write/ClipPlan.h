// What has to be known of all frames of a clip before the first one is coded.
#pragma once

#include "Authoring/Scene/Warnings.h"
#include "Authoring/Track/TrackFrames.h"
#include "Clip/Write/KeyFrameReason.h"
#include "Clip/Write/SubMeshSource.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

namespace Nimb::Authoring {

/// Consecutive frames whose meshes are coded without knowledge of any others. The first is a key frame. Or, with
/// `track`, a stretch of at least two frames of which none shares its topology with its neighbours, while each has a
/// surface of the same sub-meshes: they are put onto a few topologies first.
struct MeshSegment {
    std::size_t first = 0;
    std::size_t count = 0;
    KeyFrameReason reason;  ///< why it begins
    bool track = false;
};

/// Consecutive frames whose meshes and pictures are coded without knowledge of any others: one or several mesh
/// segments, at least two frames unless the clip has only one. What comes out does not depend on who encodes it.
struct ClipSegment {
    std::size_t first = 0;
    std::size_t count = 0;
    std::vector<MeshSegment> meshes;
    double pictureBytes = 0;  ///< of all its pictures together, with a bit rate; 0: constant quality
};

struct ClipPlan {
    Box box;                             ///< of all frames, with room for tracked surfaces
    double errorLimit = 0;               ///< above 0
    double surfaceLimit = 0;             ///< what surfaces may differ by for one to go on in the other's topology; the
                                         ///< rest of the error limit is left for coding
    std::size_t maxFaces = 0;            ///< of any frame
    std::size_t maxWelded = 0;           ///< likewise; see SourceFrame
    std::vector<std::size_t> subMeshes;  ///< those that occur in any frame, at least one
    std::vector<ClipSegment> segments;
};

struct PlanOptions {
    std::size_t keyFrameInterval = 300;  ///< at least 1
    std::size_t segmentFrames = 300;     ///< at least 2: mesh segments are put together up to so many frames
    std::optional<TrackOptions> track;   ///< none: no segment is to be tracked
    std::optional<double> errorLimit;    ///< none: 1/10000 of the diagonal of the clip's box
    std::size_t threads = 1;
    Warnings* pWarnings = nullptr;                    ///< may be null; told when the default limit had to be widened
    std::function<void(std::size_t frame)> onLoaded;  ///< may be empty; called on any of the threads
};

/// Loads every frame once, on several threads, and checks it, so that faults of the input show before work is put into
/// it. Segments end where the interval is over, and where all sub-meshes change their topology at once. To tell that,
/// frames are matched in pairs, each with the one before it, which all threads can do at once; EncodeMeshSegment
/// matches them again, in order, to the topology that its run has grown by then. That costs less than a tenth of
/// encoding them. `progress` is called on the caller's thread now and then with the number of frames seen, and may
/// throw.
///
/// Throws InputError; std::invalid_argument for an error limit below what a key frame's 16-bit positions can keep.
ClipPlan PlanClip(const SubMeshSource& subMeshes, const PlanOptions& options,
                  const std::function<void(std::size_t)>& progress);

}  // namespace Nimb::Authoring
