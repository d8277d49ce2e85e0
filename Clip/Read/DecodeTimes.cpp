#include "Clip/Read/DecodeTimes.h"

#include "Clip/Read/ClipMeshes.h"

#include <algorithm>
#include <chrono>
#include <numeric>

namespace Nimb::Authoring {
namespace {

FrameTime TimeFrame(const ClipSample& sample, ClipMeshes& meshes, MeshFrameScanner& scanner) {
    using Clock = std::chrono::steady_clock;
    const Nimb::Clip::SampleMesh& mesh = meshes.Find(sample);
    const FrameFacts facts = DescribeFrame(sample, mesh, scanner);
    FrameTime time{facts.number, facts.kind, facts.meshBytes, 0, ""};
    if (!mesh.isFound) {
        time.problem = mesh.unitCount == 0 ? "the sample has no mesh" : facts.layout.problem;
        meshes.Decode(sample.number);  // or the next frame would have to pass over it
        return time;
    }
    meshes.Prepare(sample.number);
    const Clock::time_point begin = Clock::now();
    const DecodedMesh decoded = meshes.Decode(sample.number);
    time.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
    time.problem = decoded.error.empty() && decoded.missingBytes != 0 ? "the mesh ends too early" : decoded.error;
    return time;
}

}  // namespace

std::vector<FrameTime> TimeDecoding(const std::string& path, const std::function<void(std::size_t)>& onFrame) {
    ClipReader reader(path);
    const std::optional<std::size_t> video = reader.VideoTrack();
    ClipMeshes meshes(reader);
    MeshFrameScanner scanner;
    std::vector<FrameTime> times;
    ClipSample sample;
    while (reader.Read(sample)) {
        if (sample.track == video) {
            times.push_back(TimeFrame(sample, meshes, scanner));
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
