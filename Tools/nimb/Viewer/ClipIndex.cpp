#include "Tools/nimb/Viewer/ClipIndex.h"

#include "Clip/Read/ClipMeshes.h"
#include "Clip/Read/ClipReader.h"
#include "Clip/Write/FrameRate.h"
#include "Tools/nimb/ExitStatus.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Nimb::Tool {
namespace {

/// How far rates may be off that are computed from times, which files round.
constexpr double c_RateTolerance = 0.002;

}  // namespace

ClipIndex ReadClipIndex(const std::string& path) {
    Authoring::ClipReader reader(path);
    const std::optional<std::size_t> video = reader.VideoTrack();
    if (!video) {
        throw Authoring::InputError(path + ": has no video track");
    }
    ClipIndex index;
    Authoring::ClipSample sample;
    Clip::SampleMesh mesh;
    while (reader.Read(sample)) {
        if (sample.track == *video) {
            if (!index.firstWithoutMesh && sample.damage.empty()) {
                FindMesh(sample, mesh);
                index.firstWithoutMesh = mesh.isFound ? std::nullopt : std::optional(index.FrameCount());
            }
            index.times.push_back(sample.microseconds);
        }
    }
    if (index.times.empty()) {
        throw Authoring::InputError(path + ": its video track has no frames");
    }
    const auto [first, last] = std::minmax_element(index.times.begin(), index.times.end());
    if (*last > *first) {
        const double rate = 1e6 * (index.FrameCount() - 1) / static_cast<double>(*last - *first);
        const Authoring::FrameRate exact = Authoring::ExactFrameRate(std::clamp(rate, 0.01, 1000.0), c_RateTolerance);
        index.rateNumerator = exact.numerator;
        index.rateDenominator = exact.denominator;
    }
    index.seconds = index.FrameCount() / index.FrameRate();
    for (const Authoring::ClipTrack& track : reader.Tracks()) {
        index.seconds = std::max(index.seconds, track.seconds);
        index.hasSound = index.hasSound || track.kind == Authoring::ClipTrack::Kind::Audio;
    }
    return index;
}

int ParseMoment(const ClipIndex& index, const std::string& text) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    const std::string unit = end;
    const bool isFrame = unit.empty() && value == std::floor(value);
    if (end == text.c_str() || !(value >= 0) || (!isFrame && unit != "s" && unit != "%")) {
        throw UsageError("--at: '" + text +
                         "' is neither a frame number nor a time such as 1.5s nor a percentage such as 50%");
    }
    const double last = index.FrameCount() - 1;
    double frame = value;
    if (unit == "s") {
        const auto after = std::upper_bound(index.times.begin(), index.times.end(), value * 1e6 + 1);
        frame = value <= index.seconds ? std::max<double>(static_cast<double>(after - index.times.begin()) - 1, 0)
                                       : last + 1;
    } else if (unit == "%") {
        frame = std::round(value / 100 * last);
    }
    if (frame > last) {
        throw UsageError("--at: '" + text + "' is beyond the end: the clip has frames 0 to " +
                         std::to_string(index.FrameCount() - 1));
    }
    return static_cast<int>(frame);
}

}  // namespace Nimb::Tool
