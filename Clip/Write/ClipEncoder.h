// A whole clip, from the frames of a source to the finished file.
//
// Segments are encoded on all cores, meshes and pictures of each side by side; the file is written in order. Neither
// the clip's meshes nor its pictures are ever in memory all at once. A clip can also be made by many: see Clip/Job.
#pragma once

#include "Authoring/Codec/Mesh.h"
#include "Authoring/Frame/FrameOptions.h"
#include "Authoring/Scene/Atlas.h"
#include "Authoring/Scene/MatchRule.h"
#include "Authoring/Scene/MeshSource.h"
#include "Authoring/Scene/SoundSource.h"
#include "Authoring/Scene/Warnings.h"
#include "Authoring/Track/TrackFrames.h"
#include "Clip/Write/ClipError.h"
#include "Clip/Write/KeyFrameReason.h"
#include "Clip/Write/TrackNote.h"
#include "Clip/Write/TrackOptions.h"

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::Authoring {

struct EncodeOptions {
    std::size_t keyFrameInterval = 300;  ///< of meshes: frames from one key frame to the next, at most
    std::size_t keyPictureInterval = 0;  ///< likewise of pictures, while they change; 0: a second
    std::size_t segmentFrames = 300;  ///< at least 2: of a segment, unless one key frame serves more; see ClipSegment
    MatchRule match = MatchRule::Surface;
    std::optional<TrackOptions> track;  ///< none: frames with a topology of their own are key frames; see ClipPlan
    VideoTrackOptions video;  ///< size, frame rate, key frame interval and threads are filled in; a bit rate is that
                              ///< of the pictures
    AudioTrackOptions audio;
    PictureSize atlasLimit = c_LargestAtlas;
    std::optional<IndexCoding> indices;  ///< none: the smallest
    std::optional<DeltaCoding> delta;    ///< none: the smallest
    bool deltaFrames = true;             ///< false: key frames alone
    bool normals = false;                ///< store the source's normals
    std::optional<double> maxError;      ///< of positions, in the source's units; none: see PlanOptions, and for
                                         ///< frames that are tracked see TrackOptions::CodingError
    std::size_t threads = 0;             ///< 0: one for each core
    Warnings* pWarnings = nullptr;       ///< may be null; see PlanOptions
    std::function<void(std::size_t frame)> onLoaded;  ///< likewise, while the source is examined
};

enum class EncodeStep { Examine, ExaminePictures, Track, Encode, Check, Join };

/// Called on the caller's thread about ten times a second. To cancel the run, throw.
using EncodeProgress = std::function<void(EncodeStep step, std::size_t framesDone)>;

/// What is known of a clip before any of it is encoded.
struct ClipExamination {
    std::size_t frames = 0;
    double frameRate = 0;
    std::size_t subMeshes = 0;
    std::size_t maxFaces = 0;             ///< of any of the source's frames
    std::size_t maxWelded = 0;            ///< likewise: vertices that are gone since they are equal to others
    std::size_t toTrack = 0;              ///< frames that are to be put onto the topology of others
    std::vector<KeyFrameNote> keyFrames;  ///< those that the surface and the key frame interval ask for
    PictureSize atlas;
    Box box;  ///< of all frames
    double errorLimit = 0;
    std::optional<double> trackedErrorLimit;  ///< of the frames that are to be tracked; none: there are none
};

/// InspectClip tells the rest about the finished file.
struct EncodeReport {
    ClipExamination clip;
    std::vector<KeyFrameNote> keyFrames;
    std::optional<std::vector<TrackNote>> track;  ///< of all frames to be tracked, in order; none: it was not asked for
    double maxError = 0;  ///< no point of a decoded surface, or of the source's, is further from the other; where a
                          ///< frame was tracked, the tracked surface stands for the source's
    std::size_t maxErrorFrame = 0;
    std::size_t damagedAudioPackets = 0;
};

/// Loads every mesh and picture of the source once, checks them as EncodeClip does, and throws the same exceptions.
ClipExamination ExamineClip(const MeshSource& source, const EncodeOptions& options, const EncodeProgress& progress);

/// Writes the clip of all frames of `source` to `path`, which may exist; it is replaced when the new file is complete.
/// `audio` may be null. Sound starts with the first frame; it is cut, or padded with silence, to the clip's length.
///
/// Throws InputError for what is wrong with source or sound, ClipError for what is wrong with the output, and
/// std::invalid_argument for invalid options, such as an error limit that cannot be kept. No file is left then.
EncodeReport EncodeClip(const MeshSource& source, SoundSource* audio, const std::string& path,
                        const EncodeOptions& options, const EncodeProgress& progress);

}  // namespace Nimb::Authoring
