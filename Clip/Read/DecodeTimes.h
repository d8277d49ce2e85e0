// How long the meshes of a clip take to decode, frame by frame.
#pragma once

#include "Clip/Read/ClipInspection.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Nimb::Authoring {

struct FrameTime {
    std::size_t number = 0;
    FrameKind kind = FrameKind::Empty;
    UINT64 meshBytes = 0;
    double milliseconds = 0;
    std::string problem;  ///< why there is no time; empty: there is one
};

/// What some frames took. Times are in milliseconds.
struct TimeSummary {
    std::size_t frames = 0;  ///< that were decoded; without any, the rest is 0
    double median = 0;
    double mean = 0;
    double percentile99 = 0;  ///< 99 of 100 frames took no longer
    double slowest = 0;
    std::size_t slowestFrame = 0;
    UINT64 bytes = 0;
};

/// Decodes the clip once, from its start, on the calling thread, with ClipMeshes and thus into the player's
/// layout. What is timed is the decoder alone: samples are read, and meshes found in them, beforehand. `onFrame` gets
/// the number of frames done. Throws InputError as ClipReader does.
std::vector<FrameTime> TimeDecoding(const std::string& path, const std::function<void(std::size_t)>& onFrame);

/// Of the frames of one kind, or of all.
TimeSummary Summarize(const std::vector<FrameTime>& times, std::optional<FrameKind> kind = std::nullopt);

}  // namespace Nimb::Authoring
