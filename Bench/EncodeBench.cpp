// Encoding: key frames, and clips of a key frame and the delta frames after it, on one core.
#include "Authoring/Frame/SegmentEncoder.h"
#include "Bench/EncodedClip.h"

namespace Bench {
namespace {

void EncodeKey(benchmark::State& state, const Subject& subject) {
    std::size_t bytes = 0;
    for (auto _ : state) {
        bytes = Nimb::Authoring::FrameEncoder().KeyFrame(subject.frames[0]).bytes.size();
    }
    Report(state, subject.Vertices(), subject.Vertices() * 20 + subject.Faces() * 12, bytes);
}

/// An iteration is a frame: the time is the mean of the clip's frames.
void EncodeClipFrames(benchmark::State& state, const Subject& subject, std::optional<DeltaCoding> coding) {
    constexpr std::size_t interval = 30;
    Nimb::Authoring::CodingOptions options;
    options.delta = coding;
    options.maxError = subject.maxError;
    std::vector<Nimb::Authoring::Moment> moments;
    for (std::size_t i = 0; i < std::min(interval, subject.frames.size()); ++i) {
        moments.push_back({{&subject.frames[i], 0, std::nullopt, false}});
    }
    std::size_t bytes = 0;
    while (state.KeepRunningBatch(static_cast<std::int64_t>(moments.size()))) {
        bytes = 0;
        for (const Nimb::Authoring::EncodedFrame& frame : Nimb::Authoring::EncodeSegment(moments, options)) {
            bytes += frame.bytes.size();
        }
    }
    Report(state, subject.Vertices(), subject.Vertices() * 20, bytes / moments.size());
}

}  // namespace

void RegisterEncodeBenchmarks(const Subject& subject) {
    const std::string prefix = "Encode/" + subject.name + "/";
    Register(prefix + "Key/automatic", [&subject](auto& state) { EncodeKey(state, subject); });
    Register(prefix + "Clip/automatic", [&subject](auto& state) { EncodeClipFrames(state, subject, std::nullopt); });
    for (const auto& [name, coding] : DeltaCodings()) {
        Register(prefix + "Clip/" + name, [&subject, c = coding](auto& state) { EncodeClipFrames(state, subject, c); });
    }
}

}  // namespace Bench
