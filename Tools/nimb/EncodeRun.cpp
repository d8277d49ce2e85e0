#include "Tools/nimb/EncodeRun.h"

#include "Tools/nimb/Interrupt.h"
#include "Tools/nimb/Progress.h"

#include <chrono>
#include <cstdio>
#include <optional>

namespace NimbTool {
namespace {

using Authoring::EncodeReport;
using Authoring::EncodeStep;

void PrintSummary(const std::string& path, const EncodeReport& report, std::chrono::duration<double> elapsed) {
    const auto frames = static_cast<double>(report.frames);
    const double seconds = frames / report.frameRate;
    const auto kilobits = [seconds](std::uint64_t bytes) { return static_cast<double>(bytes) * 8 / 1000 / seconds; };
    std::printf("%s: %.0f bytes, %.0f kbit/s\n", path.c_str(), static_cast<double>(report.fileBytes),
                kilobits(report.fileBytes));
    std::printf("  frames    %zu (%zu key, %zu delta), %.5g a second, %.2f s\n", report.frames, report.keyFrames,
                report.frames - report.keyFrames, report.frameRate, seconds);
    std::printf("  geometry  up to %u vertices, %zu faces; sub-meshes: %zu\n", report.maxVertices, report.maxFaces,
                report.subMeshes);
    std::printf("  meshes    %.0f bytes, %.0f a frame, %.0f kbit/s\n", static_cast<double>(report.meshBytes),
                static_cast<double>(report.meshBytes) / frames, kilobits(report.meshBytes));
    std::printf("  video     %zu x %zu, %.0f bytes, %.0f kbit/s\n", report.atlas.width, report.atlas.height,
                static_cast<double>(report.videoBytes), kilobits(report.videoBytes));
    std::printf("  error     %.3g at most (frame %zu), limit %.3g\n", report.maxError, report.maxErrorFrame,
                report.errorLimit);
    std::printf("  time      %.1f s, %.1f frames/s\n", elapsed.count(), frames / elapsed.count());
}

}  // namespace

EncodeReport RunEncoder(const Authoring::MeshSource& source, Authoring::SoundSource* pSound, const std::string& output,
                        const Authoring::EncodeOptions& options) {
    const InterruptGuard interrupt;
    const auto start = std::chrono::steady_clock::now();
    std::optional<EncodeStep> shown;
    std::optional<Progress> progress;
    const EncodeReport report =
        Authoring::EncodeClip(source, pSound, output, options, [&](EncodeStep step, std::size_t framesDone) {
            InterruptGuard::Check();
            if (shown != step) {
                shown = step;
                progress.emplace(step == EncodeStep::Examine ? "Examining" : "Encoding", source.FrameCount());
            }
            progress->Report(framesDone);
        });
    progress.reset();
    PrintSummary(output, report, std::chrono::steady_clock::now() - start);
    return report;
}

}  // namespace NimbTool
