#include "Clip/Read/DecodeTimes.h"

#include "Clip/Read/ClipMeshDecoder.h"

#include <algorithm>
#include <chrono>
#include <numeric>

namespace Nimb::Authoring {
namespace {

FrameTime TimeFrame(const ClipSample& sample, MeshFrameScanner& scanner, ClipMeshDecoder& decoder) {
    using Clock = std::chrono::steady_clock;
    const FrameFacts facts = DescribeFrame(sample, scanner);
    const SampleMesh mesh = FindMesh(sample);
    FrameTime time{facts.number, facts.kind, facts.meshBytes, 0, ""};
    if (!mesh.frame) {
        time.problem = mesh.unitCount == 0 ? "the sample has no mesh" : facts.layout.problem;
        return time;
    }
    const Clock::time_point begin = Clock::now();
    const DecodedMesh decoded = decoder.Decode(*mesh.frame, sample.microseconds * 10);
    time.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    time.problem = decoded.error.empty() && decoded.missingBytes != 0 ? "the mesh ends too early" : decoded.error;
    return time;
}

}  // namespace

std::vector<FrameTime> TimeDecoding(const std::string& path, const std::function<void(std::size_t)>& onFrame) {
    ClipReader reader(path);
    const std::optional<std::size_t> video = reader.VideoTrack();
    MeshFrameScanner scanner;
    ClipMeshDecoder decoder;
    std::vector<FrameTime> times;
    ClipSample sample;
    while (reader.Read(sample)) {
        if (sample.track == video) {
            times.push_back(TimeFrame(sample, scanner, decoder));
            onFrame(times.size());
        }
    }
    return times;
}

TimeSummary Summarize(const std::vector<FrameTime>& times, std::optional<FrameKind> kind) {
    TimeSummary summary;
    std::vector<double> sorted;
    for (const FrameTime& time : times) {
        if (!time.problem.empty() || (kind && time.kind != *kind)) {
            continue;
        }
        sorted.push_back(time.milliseconds);
        summary.bytes += time.meshBytes;
        if (time.milliseconds > summary.slowest) {
            summary.slowest = time.milliseconds;
            summary.slowestFrame = time.number;
        }
    }
    summary.frames = sorted.size();
    if (sorted.empty()) {
        return summary;
    }
    std::sort(sorted.begin(), sorted.end());
    const std::size_t count = sorted.size();
    summary.median = (sorted[(count - 1) / 2] + sorted[count / 2]) / 2;
    summary.mean = std::accumulate(sorted.begin(), sorted.end(), 0.0) / static_cast<double>(count);
    summary.percentile99 = sorted[(count * 99 + 99) / 100 - 1];
    return summary;
}

}  // namespace Nimb::Authoring
