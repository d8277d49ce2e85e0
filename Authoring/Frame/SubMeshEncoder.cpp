#include "Authoring/Frame/SubMeshEncoder.h"

#include "Authoring/Codec/MeshHeader.h"
#include "Authoring/Codec/VertexStreams.h"
#include "Authoring/Frame/ClosedLoop.h"
#include "Authoring/Frame/DeltaSection.h"
#include "Authoring/Frame/FrameHeader.h"

#include <algorithm>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

namespace VertexVersion = NTarnStudioVertexVersion;

template <class T>
std::vector<T> Reordered(const std::vector<T>& source, const std::vector<UINT32>& order) {
    std::vector<T> out;
    if (!source.empty()) {
        out.reserve(order.size());
        for (const UINT32 index : order) {
            out.push_back(source[index]);
        }
    }
    return out;
}

/// The vertices of a mesh in decoded order.
Mesh OrderedVertices(const Mesh& mesh, const std::vector<UINT32>& order) {
    return {Reordered(mesh.positions, order), Reordered(mesh.texCoords, order), Reordered(mesh.normals, order), {}};
}

bool SameFaces(const std::vector<TarnMeshFace>& a, const std::vector<TarnMeshFace>& b) {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(TarnMeshFace)) == 0);
}

bool SameTexCoords(const std::vector<Vec2>& a, const std::vector<Vec2>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const Vec2& p, const Vec2& q) { return p.u == q.u && p.v == q.v; });
}

}  // namespace

void SubMeshEncoder::LookAhead(const Mesh& mesh) {
    if (mesh.positions.size() == m_Key.texCoords.size() && SameFaces(mesh.faces, m_Key.faces)) {
        m_TransformDeltas.Learn(Reordered(mesh.positions, m_Key.topology.vertexOrder));
    }
}

/// The layout of a key frame, which is the one before it where faces stay what they were.
Topology SubMeshEncoder::TopologyOf(const Mesh& mesh, const TopologyChoice& choice) const {
    const bool same = m_Ctx != nullptr && m_Key.choice == choice && m_Key.texCoords.size() == mesh.positions.size() &&
                      SameFaces(m_Key.faces, mesh.faces);
    return same ? m_Key.topology : ChooseTopology(mesh, choice);
}

EncodedFrame SubMeshEncoder::KeyFrame(const Mesh& mesh, const KeyFrameOptions& options, bool mayBeStrips) {
    CheckMesh(mesh);
    CheckOptions(mesh, options);
    if (options.indices && IsStrips(*options.indices) && !mayBeStrips) {
        throw std::invalid_argument("strip frames take no options, and cannot be part of a temporal frame");
    }

    Key key{mesh.faces, mesh.texCoords, {}, {}};
    key.choice = {options.indices, mayBeStrips, options.keepVertexOrder, options.normals ? 20u : 12u};
    key.topology = TopologyOf(mesh, key.choice);
    const Mesh ordered = OrderedVertices(mesh, key.topology.vertexOrder);
    const Box box = options.box.value_or(BoundingBox(ordered.positions));
    const CStreamingMeshHeader header =
        MakeKeyHeader(options, key.topology, ordered.positions.size(), mesh.faces.size(), box);
    ByteWriter records;
    WriteVertexRecords(ordered, box, options.normals, records);
    const Bytes vertices = records.Take();

    auto ctx = std::make_unique<Nimb::CNimbMeshReaderCtx>();
    EncodedFrame frame;
    frame.maxError = DecodeAndMeasure(vertices, header, ordered.positions, *ctx);
    frame.isKeyFrame = true;
    frame.vertexVersion = VertexVersion::c_UnwrappedXYZUV;
    frame.box = box;
    frame.numVertices = header.m_numVertices;
    frame.numIndices = header.m_numIndices;
    ByteWriter out;
    WriteFrameHeader(header, out);
    out.Append(options.indicesFirst ? key.topology.section : vertices);
    out.Append(options.indicesFirst ? vertices : key.topology.section);
    frame.bytes = out.Take();

    m_Ctx = std::move(ctx);
    m_Key = std::move(key);
    m_TransformDeltas.Reset();  // what was learned of the motion outlives a key frame
    m_FramesSinceKey = 0;
    m_IsInUse = true;
    return frame;
}

Mesh SubMeshEncoder::OrderedForDelta(const Mesh& mesh, const FrameOptions& options) const {
    CheckMesh(mesh);
    CheckOptions(mesh, options);
    if (mesh.positions.size() != m_Key.texCoords.size()) {
        throw std::invalid_argument("a delta frame needs as many vertices as the key frame before it");
    }
    return OrderedVertices(mesh, m_Key.topology.vertexOrder);
}

/// Makes a whole frame of a section, and decodes it so that the next one can build on it.
EncodedFrame SubMeshEncoder::CommitDelta(const Mesh& ordered, const Box& box, const DeltaFrameOptions& options,
                                         const DeltaSection& section) {
    const CStreamingMeshHeader header = MakeDeltaHeader(options, section.vertexVersion, m_Key.topology, box);
    ByteWriter vertices;
    vertices.Append(section.bytes);
    const bool isRecords = section.vertexVersion == VertexVersion::c_UnwrappedXYZUV;
    if (options.normals && !isRecords) {
        WriteNormalBlock(ordered.normals, vertices);
    }
    const Bytes decoded = vertices.Take();

    EncodedFrame frame;
    frame.maxError = DecodeAndMeasure(decoded, header, ordered.positions, *m_Ctx);
    frame.vertexVersion = section.vertexVersion;
    frame.box = box;
    frame.numVertices = static_cast<UINT32>(ordered.positions.size());
    frame.numIndices = static_cast<UINT32>(m_Key.topology.numIndices);
    ByteWriter out;
    WriteFrameHeader(header, out);
    out.Append(decoded);
    frame.bytes = out.Take();
    if (section.transforms) {
        m_TransformDeltas.Accept(*section.transforms);
    } else if (isRecords) {
        m_TransformDeltas.Reset();  // records make the decoder forget the parts, as a key frame does
    }
    m_IsInUse = true;
    ++m_FramesSinceKey;
    return frame;
}

EncodedFrame SubMeshEncoder::DeltaFrame(const Mesh& mesh, const DeltaFrameOptions& options) {
    const Mesh ordered = OrderedForDelta(mesh, options);
    const Box box = options.box.value_or(BoundingBox(ordered.positions));
    return CommitDelta(ordered, box, options, ChooseDeltaSection(*m_Ctx, m_TransformDeltas, ordered, box, options));
}

std::optional<EncodedFrame> SubMeshEncoder::TryDeltaFrame(const Mesh& mesh, const DeltaFrameOptions& options) {
    if (!SameFaces(mesh.faces, m_Key.faces) || !SameTexCoords(mesh.texCoords, m_Key.texCoords)) {
        return std::nullopt;
    }
    const Mesh ordered = OrderedForDelta(mesh, options);
    if (ordered.positions.empty() && options.coding != DeltaCoding::Smallest && CoderOf(options.coding).fitsMotions) {
        return std::nullopt;  // nothing moves
    }
    const Box box = options.box.value_or(BoundingBox(ordered.positions));
    try {
        const DeltaSection section = ChooseDeltaSection(*m_Ctx, m_TransformDeltas, ordered, box, options);
        if (options.maxError > 0 && section.maxError > options.maxError) {
            return std::nullopt;
        }
        return CommitDelta(ordered, box, options, section);
    } catch (const std::range_error&) {
        return std::nullopt;  // the motion is too large for the one coding that is allowed
    }
}

}  // namespace Nimb::Authoring
