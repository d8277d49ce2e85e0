#include "Bench/Track/Ways.h"

#include "Authoring/Frame/SegmentEncoder.h"
#include "Authoring/Track/TrackFrames.h"
#include "Bench/CapturedClip.h"
#include "Bench/EncodedClip.h"
#include "Bench/Peers.h"
#include "Bench/Sizes/Measure.h"
#include "Bench/Track/PeakMemory.h"

#include <atomic>
#include <cstring>
#include <stdexcept>

namespace Bench {
namespace {

using namespace Nimb::Authoring;

template <class T>
std::vector<T> TakeContents(INimbBuffer* buffer) {
    NimbLockedMemory memory{};
    buffer->LockBuffer(&memory);
    UINT32 size = 0;
    buffer->GetSize(&size);
    std::vector<T> values(size / sizeof(T));
    std::memcpy(values.data(), memory.pData, values.size() * sizeof(T));
    buffer->UnlockBuffer();
    buffer->Release();
    return values;
}

/// Decodes the frames of a segment as a player does, and counts their bytes.
void AddSegment(const std::vector<EncodedFrame>& frames, Outcome& outcome) {
    constexpr UINT32 floats = 13;
    struct Vertex {
        Vec3 position;
        Vec2 texCoord;
    };
    const auto reader = MakeReader(floats);
    for (const EncodedFrame& frame : frames) {
        MemoryStream stream(frame.bytes);
        INimbBuffer *vertices = nullptr, *indices = nullptr;
        if (Failed(reader->ReadMesh(&stream, 0, &vertices, &indices))) {
            throw std::runtime_error("a frame is not decoded");
        }
        Mesh mesh;
        for (const Vertex& vertex : TakeContents<Vertex>(vertices)) {
            mesh.positions.push_back(vertex.position);
            mesh.texCoords.push_back(vertex.texCoord);
        }
        mesh.faces = TakeContents<TarnMeshFace>(indices);
        outcome.decoded.push_back(std::move(mesh));
        outcome.bytes += static_cast<double>(frame.bytes.size());
    }
}

/// A run of poses, as one segment.
void EncodeRun(const Mesh& topology, const std::vector<Pose>& poses, double maxError, Outcome& outcome) {
    CodingOptions options;
    options.maxError = maxError;
    options.keyFrameInterval = c_KeyInterval;
    std::vector<Moment> moments;
    for (const Pose& pose : poses) {
        SubMesh subMesh;
        subMesh.mesh = &topology;
        subMesh.pose = &pose;
        moments.push_back({subMesh});
    }
    AddSegment(EncodeSegment(moments, options), outcome);
    outcome.runs.push_back(poses.size());
}

}  // namespace

Outcome EncodeUntracked(const std::vector<Mesh>& capture) {
    Outcome outcome;
    for (const Mesh& mesh : capture) {
        EncodeRun(mesh, {{mesh.positions, {}}}, 0, outcome);
    }
    outcome.bytes /= static_cast<double>(capture.size());
    return outcome;
}

Outcome EncodeTracked(const std::vector<Mesh>& capture, double maxError) {
    Outcome outcome;
    const PeakMemory memory;
    const double start = ProcessorMilliseconds();
    const std::atomic<bool> stop{false};
    const std::vector<TrackedRun> runs = TrackFrames(
        capture.size(), [&](std::size_t frame) { return capture[frame]; }, {}, 1, stop, [](std::size_t) {});
    const auto frames = static_cast<double>(capture.size());
    outcome.seconds = (ProcessorMilliseconds() - start) / 1000 / frames;
    outcome.megabytes = memory.Megabytes();
    for (const TrackedRun& run : runs) {
        EncodeRun(run.topology, run.poses, maxError, outcome);
    }
    outcome.bytes /= frames;
    return outcome;
}

Outcome EncodeAllWithDraco(const std::vector<Mesh>& capture, double step) {
    Outcome outcome;
    for (const Mesh& mesh : capture) {
        const draco::EncoderBuffer encoded = EncodeWithDraco(*MakeDracoMesh(mesh), c_DracoDefaultSpeed, step);
        outcome.bytes += static_cast<double>(encoded.size()) / static_cast<double>(capture.size());
        outcome.decoded.push_back(DecodeWithDraco(encoded));
        outcome.runs.push_back(1);
    }
    return outcome;
}

}  // namespace Bench
