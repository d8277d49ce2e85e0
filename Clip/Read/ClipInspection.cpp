#include "Clip/Read/ClipInspection.h"

#include <algorithm>

namespace Nimb::Authoring {
namespace {

FrameKind KindOf(const SampleMesh& mesh, const MeshFrameLayout& layout) {
    if (!mesh.frame) {
        return mesh.unitCount != 0 ? FrameKind::Damaged : FrameKind::Empty;
    }
    return !layout.problem.empty() ? FrameKind::Damaged
           : layout.isTemporal     ? FrameKind::Temporal
           : layout.IsKeyFrame()   ? FrameKind::Key
                                   : FrameKind::Delta;
}

Box BoxOf(const CStreamingMeshHeader& header) {
    return {{header.m_BBoxMin[0], header.m_BBoxMin[1], header.m_BBoxMin[2]},
            {header.m_BBoxMax[0], header.m_BBoxMax[1], header.m_BBoxMax[2]}};
}

FrameFacts Describe(const ClipSample& sample, MeshFrameScanner& scanner) {
    FrameFacts facts;
    facts.number = sample.number;
    facts.seconds = static_cast<double>(sample.microseconds) / 1e6;
    facts.offset = sample.offset;
    facts.isKeyPicture = sample.isKeyPicture;
    const SampleMesh mesh = FindMesh(sample);
    if (mesh.frame) {
        facts.layout = scanner.Scan(*mesh.frame);
    } else if (mesh.unitCount != 0) {
        facts.layout.problem = "the mesh unit cannot be read";
    }
    facts.kind = KindOf(mesh, facts.layout);
    facts.meshOffset = mesh.offset;
    facts.meshBytes = mesh.storedBytes;
    facts.videoBytes = sample.bytes.size() - facts.meshBytes;
    return facts;
}

void Count(const FrameFacts& facts, ClipSummary& summary) {
    ++summary.frames;
    summary.meshBytes += facts.meshBytes;
    summary.videoBytes += facts.videoBytes;
    Share& kind = summary.kinds[static_cast<std::size_t>(facts.kind)];
    ++kind.frames;
    kind.bytes += facts.meshBytes;
    if (!facts.HasMesh()) {
        return;
    }
    summary.keyFrames += facts.layout.IsKeyFrame() ? 1 : 0;
    summary.maxSubMeshes = std::max(summary.maxSubMeshes, facts.layout.subFrames.size());
    const CStreamingMeshHeader& header = facts.layout.header;
    summary.vertices += header.m_numVertices;
    summary.maxVertices = std::max(summary.maxVertices, header.m_numVertices);
    summary.maxFaces = std::max(summary.maxFaces, header.m_numFaces);
    summary.maxIndices = std::max(summary.maxIndices, header.m_numIndices);
    summary.box = summary.box ? Union(*summary.box, BoxOf(header)) : BoxOf(header);
    for (const SubFrameLayout& sub : facts.layout.subFrames) {
        Share& vertices = summary.vertexCodings[VertexCodingName(sub.header.m_Version.v.m_VertexVersion)];
        ++vertices.frames;
        vertices.bytes += sub.vertexBytes + sub.normalBytes;
        if (!sub.isDelta) {
            Share& indices = summary.indexCodings[IndexCodingName(sub.header.m_Version.v.m_IndexVersion, sub.isStrip)];
            ++indices.frames;
            indices.bytes += sub.indexBytes;
        }
    }
}

}  // namespace

const char* FrameKindName(FrameKind kind) {
    constexpr const char* names[c_FrameKinds] = {"empty", "damaged", "key", "delta", "temporal"};
    return names[static_cast<std::size_t>(kind)];
}

ClipSummary InspectClip(ClipReader& reader, const std::function<void(const FrameFacts&)>& onFrame) {
    const std::optional<std::size_t> video = reader.VideoTrack();
    if (!video) {
        throw InputError(reader.Path() + ": has no video track, so it has no frames");
    }
    ClipSummary summary;
    summary.fileBytes = reader.Boxes().fileSize;
    summary.seconds = reader.Tracks()[*video].seconds;
    MeshFrameScanner scanner;
    ClipSample sample;
    while (reader.Read(sample)) {
        if (sample.track == *video) {
            const FrameFacts facts = Describe(sample, scanner);
            Count(facts, summary);
            onFrame(facts);
        } else if (reader.Tracks()[sample.track].kind == ClipTrack::Kind::Audio) {
            summary.audioBytes += sample.bytes.size();
        }
    }
    return summary;
}

}  // namespace Nimb::Authoring
