#include "Clip/Read/ClipInspection.h"

#include "Clip/Read/ClipMeshes.h"

#include <algorithm>

namespace Nimb::Authoring {
namespace {

using Nimb::Clip::SampleMesh;

FrameKind KindOf(const SampleMesh& mesh, const MeshFrameLayout& layout) {
    if (!mesh.isFound) {
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

/// Not inside out, and of numbers.
bool IsProper(const Box& box) {
    return box.min.x <= box.max.x && box.min.y <= box.max.y && box.min.z <= box.max.z;
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

FrameFacts DescribeFrame(const ClipSample& sample, const SampleMesh& mesh, MeshFrameScanner& scanner) {
    FrameFacts facts;
    facts.number = sample.number;
    facts.seconds = static_cast<double>(sample.microseconds) / 1e6;
    facts.offset = sample.offset;
    facts.isKeyPicture = sample.isKeyPicture;
    if (mesh.isFound) {
        facts.layout = scanner.Scan(mesh.frame);
    } else if (mesh.unitCount != 0) {
        facts.layout.problem = "the mesh unit cannot be read";
    }
    facts.kind = KindOf(mesh, facts.layout);
    facts.meshOffset = sample.offset + mesh.offset;
    facts.meshBytes = mesh.storedBytes;
    facts.videoBytes = sample.bytes.size() - facts.meshBytes;
    return facts;
}

void AttributeFinder::Count(const FrameFacts& facts) {
    ++m_Values.frameCount;
    if (!facts.HasMesh()) {
        return;
    }
    const CStreamingMeshHeader& header = facts.layout.header;
    m_Values.maxVertexCount = std::max(m_Values.maxVertexCount, header.m_numVertices);
    m_Values.maxIndexCount = std::max(m_Values.maxIndexCount, header.m_numIndices);
    const bool hasNormals = m_Values.hasVertexNormals.value_or(0) == 1 || facts.layout.HasNormals();
    m_Values.hasVertexNormals = hasNormals ? 1 : 0;
    const Box box = BoxOf(header);
    m_HasMesh = true;
    if (IsProper(box)) {
        m_Box = m_Box ? Union(*m_Box, box) : box;
    }
}

std::optional<FileAttributes> AttributeFinder::Attributes() const {
    if (!m_HasMesh) {
        return std::nullopt;
    }
    FileAttributes values = m_Values;
    const Box box = m_Box.value_or(Box{});
    values.bboxMin = {box.min.x, box.min.y, box.min.z};
    values.bboxMax = {box.max.x, box.max.y, box.max.z};
    return values;
}

std::optional<FileAttributes> FindAttributes(const std::string& path) {
    ClipReader reader(path);
    const std::optional<std::size_t> video = reader.VideoTrack();
    AttributeFinder finder;
    MeshFrameScanner scanner;
    SampleMesh mesh;
    ClipSample sample;
    while (reader.Read(sample)) {
        if (sample.track == video) {
            FindMesh(sample, mesh);
            finder.Count(DescribeFrame(sample, mesh, scanner));
        }
    }
    return finder.Attributes();
}

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
    ClipMeshes meshes(reader);
    MeshFrameScanner scanner;
    ClipSample sample;
    while (reader.Read(sample)) {
        if (sample.track == *video) {
            const FrameFacts facts = DescribeFrame(sample, meshes.Find(sample), scanner);
            Count(facts, summary);
            onFrame(facts);
        } else if (reader.Tracks()[sample.track].kind == ClipTrack::Kind::Audio) {
            summary.audioBytes += sample.bytes.size();
        }
    }
    return summary;
}

}  // namespace Nimb::Authoring
