// Whole frames through the mesh reader, as the player decodes them: buffers are allocated and attributes set every
// time.
#include "Bench/EncodedClip.h"

namespace Bench {
namespace {

void KeyFrame(benchmark::State& state, const Subject& subject, IndexCoding coding, UINT32 vertexFormat) {
    const Bytes& frame = EncodeKeyFrame(subject, coding, false);
    const auto reader = MakeReader(vertexFormat);
    FrameOutput output;
    for (auto _ : state) {
        output = DecodeFrame(*reader, frame);
        if (output.vertexBytes == 0) {
            state.SkipWithError("the frame was refused");
            return;
        }
    }
    Report(state, subject.Vertices(), output.vertexBytes + output.indexBytes, frame.size());
}

/// Plays the clip's delta frames over and over; the key frame at each start is decoded off the clock.
void DeltaFrames(benchmark::State& state, const Subject& subject, DeltaCoding coding, UINT32 vertexFormat) {
    const EncodedClip& clip = EncodeClip(subject, coding);
    const auto reader = MakeReader(vertexFormat);
    std::size_t next = clip.frames.size(), bytes = 0;  // bytes of vertices: the indices are the key frame's
    for (auto _ : state) {
        if (next == clip.frames.size()) {
            state.PauseTiming();
            DecodeFrame(*reader, clip.frames[0]);
            next = 1;
            state.ResumeTiming();
        }
        bytes = DecodeFrame(*reader, clip.frames[next++]).vertexBytes;
        if (bytes == 0) {
            state.SkipWithError("the frame was refused");
            return;
        }
    }
    Report(state, subject.Vertices(), bytes, clip.MeanDeltaBytes());
    state.counters["error"] = clip.maxError / clip.wantedError;
}

}  // namespace

void RegisterFrameBenchmarks(const Subject& subject) {
    const std::string prefix = "Frame/" + subject.name + "/";
    for (const auto& [name, coding] : c_IndexCodings) {
        for (const auto& [layout, format] : c_Layouts) {
            Register(prefix + "Key/" + name + "/" + layout,
                     [&subject, c = coding, f = format](auto& state) { KeyFrame(state, subject, c, f); });
        }
    }
    for (const auto& [name, coding] : DeltaCodings()) {
        for (const auto& [layout, format] : c_Layouts) {
            Register(prefix + "Delta/" + name + "/" + layout,
                     [&subject, c = coding, f = format](auto& state) { DeltaFrames(state, subject, c, f); });
        }
    }
}

}  // namespace Bench
