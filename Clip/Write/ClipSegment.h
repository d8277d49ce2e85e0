// One segment of a clip, from the source to the samples of the file. Whoever encodes it, with whatever else beside it,
// the same bytes come out.
#pragma once

#include "Clip/Write/ClipPlan.h"
#include "Clip/Write/ClipWork.h"
#include "Clip/Write/KeyFrameReason.h"
#include "Clip/Write/TrackNote.h"
#include "Clip/Write/VideoParts.h"

#include <atomic>
#include <cstddef>
#include <optional>
#include <vector>

namespace Nimb::Authoring {

/// What the clip's attributes and the report sum up of a frame.
struct FrameNote {
    UINT32 vertices = 0;
    UINT32 indices = 0;
    double surfaceError = 0;                  ///< see SegmentFrame
    std::optional<KeyFrameReason> keyReason;  ///< of a key frame
    std::optional<TrackNote> track;           ///< of a frame that was to be tracked
};

struct EncodedSegment {
    std::vector<VideoSample> samples;
    std::vector<FrameNote> frames;  ///< one for each sample
};

/// Frames done, of all segments together. Any thread.
struct SegmentProgress {
    std::atomic<std::size_t> tracked{0};
    std::atomic<std::size_t> meshes{0};
    std::atomic<std::size_t> pictures{0};

    /// `plan` has `frames`, of which `toTrack` are to be tracked. Until they are, that is what is told; frames that
    /// need no tracking count as done. Then, a frame is half done when its mesh is encoded.
    void Tell(std::size_t frames, std::size_t toTrack, const EncodeProgress& progress) const {
        if (tracked < toTrack) {
            progress(EncodeStep::Track, frames - toTrack + tracked);
        } else {
            progress(EncodeStep::Encode, (meshes + pictures) / 2);
        }
    }
};

/// How many segments to encode at a time, and with how many threads each.
struct SegmentThreads {
    std::size_t segments = 1;
    std::size_t meshes = 1;    ///< of each segment
    std::size_t pictures = 1;  ///< likewise: encoders
};
SegmentThreads ShareThreads(const ClipWork& work, std::size_t segments);

/// Any number of threads may each encode a segment. Throws what EncodeMeshSegment throws, InputError for pictures,
/// ClipError when the video encoder fails, and Stopped when `stop` is set.
EncodedSegment EncodeClipSegment(const ClipWork& work, const ClipSegment& segment, const SegmentThreads& threads,
                                 SegmentProgress& progress, const std::atomic<bool>& stop);

}  // namespace Nimb::Authoring
