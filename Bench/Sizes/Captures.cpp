#include "Bench/Sizes/Captures.h"

#include "Authoring/Frame/SegmentEncoder.h"
#include "Authoring/Scene/SurfaceRun.h"
#include "Bench/CapturedClip.h"
#include "Bench/EncodedClip.h"
#include "Bench/Sizes/Measure.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

namespace Bench {
namespace {

using namespace Nimb::Authoring;

constexpr unsigned c_Seed = 7;

struct Outcome {
    std::size_t keyFrames = 0;
    double bytes = 0;                   // mean of a frame
    double distance = 0;                // largest between a frame's surface and the one in its run's topology
    double error = 0;                   // largest of coding
    double matching = 0, encoding = 0;  // milliseconds a frame
};

void Encode(SurfaceRun& run, const CodingOptions& options, Outcome& outcome) {
    run.Finish();
    std::vector<Moment> moments;
    for (const Pose& pose : run.Poses()) {
        SubMesh subMesh;
        subMesh.mesh = &run.Topology();
        subMesh.pose = &pose;
        moments.push_back({subMesh});
    }
    for (const EncodedFrame& frame : EncodeSegment(moments, options)) {
        outcome.bytes += static_cast<double>(frame.bytes.size());
        outcome.error = std::max(outcome.error, frame.maxError);
        outcome.keyFrames += frame.isKeyFrame ? 1 : 0;
    }
}

Outcome EncodeCapture(const std::vector<Mesh>& capture, double maxError) {
    CodingOptions options;
    options.maxError = maxError;
    options.keyFrameInterval = c_KeyInterval;
    Outcome outcome;
    std::unique_ptr<SurfaceRun> run;
    double now = ProcessorMilliseconds();
    const auto lap = [&now](double& sum) {
        const double before = std::exchange(now, ProcessorMilliseconds());
        sum += now - before;
    };
    for (const Mesh& mesh : capture) {
        const SurfaceMatch match = run ? run->Add(mesh, maxError) : SurfaceMatch();
        outcome.distance = std::max(outcome.distance, match.distance);
        lap(outcome.matching);
        if (!match.joined) {
            if (run) {
                Encode(*run, options, outcome);
                lap(outcome.encoding);
            }
            run = std::make_unique<SurfaceRun>(mesh);
        }
    }
    Encode(*run, options, outcome);
    lap(outcome.encoding);
    const auto frames = static_cast<double>(capture.size());
    outcome.bytes /= frames;
    outcome.matching /= frames;
    outcome.encoding /= frames;
    return outcome;
}

void PrintRow(const char* how, const std::vector<Mesh>& capture, double maxError) {
    const Outcome outcome = EncodeCapture(capture, maxError);
    const double draco = DracoBytes(capture, maxError);
    std::printf("| %s | %zu of %zu | %.0f | %.0f | %.3f | %.2f | %.2f | %.2g | %.2g |\n", how, outcome.keyFrames,
                capture.size(), outcome.bytes, draco, outcome.bytes / draco, outcome.matching, outcome.encoding,
                outcome.distance / maxError, outcome.error / maxError);
}

}  // namespace

void PrintCaptures(const char* name, const std::vector<Mesh>& clip) {
    std::printf("### Captures of %s\n\n", name);
    std::puts("| | Key frames | Bytes a frame | Draco's | Share | Matching, ms | Encoding, ms | Surfaces | Coding |");
    std::puts("|---|--:|--:|--:|--:|--:|--:|--:|--:|");
    const double maxError = std::sqrt(3.0) * PeerPositionError(clip.front());  // Draco's own, corner to corner
    PrintRow("tracked", clip, maxError);
    PrintRow("tracked over 25 frames, quantised", SimulateCapture(clip, c_Seed), maxError);
    PrintRow("meshed anew in every frame", SimulateCapture(clip, c_Seed, 1), maxError);
    std::puts("");
}

}  // namespace Bench
