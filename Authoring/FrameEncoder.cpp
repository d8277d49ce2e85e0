#include "Authoring/FrameEncoder.h"

#include "Authoring/ClosedLoop.h"
#include "Authoring/DeltaSection.h"
#include "Authoring/FrameHeader.h"
#include "Authoring/IndexEncoder.h"
#include "Authoring/TransformDeltaEncoder.h"
#include "Authoring/VertexEncoder.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace Authoring {
namespace {

namespace HeaderVersion = NTarnStudioMeshHeaderVersion;
namespace VertexVersion = NTarnStudioVertexVersion;
namespace IndexVersion = NTarnStudioIndexVersion;
namespace FormatFlags = NTarnStudioFormatFlags;

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

std::vector<UINT32> IdentityOrder(std::size_t count) {
    std::vector<UINT32> order(count);
    std::iota(order.begin(), order.end(), 0u);
    return order;
}

/// The index section of a key frame, and what it does to the vertices.
struct Topology {
    BYTE indexVersion = 0;
    Bytes section;
    std::vector<UINT32> vertexOrder;
    std::size_t numIndices = 0;
};

bool IsStrips(IndexCoding coding) {
    return coding == IndexCoding::Strips1 || coding == IndexCoding::Strips2;
}

Topology EncodeTopology(const Mesh& mesh, IndexCoding coding) {
    Topology out;
    out.numIndices = 3 * mesh.faces.size();
    switch (coding) {
        case IndexCoding::List1:
            out.indexVersion = IndexVersion::c_UncompressedIndices;
            out.section = WriteRawIndices(FlattenFaces(mesh.faces));
            break;
        case IndexCoding::List2:
            out.indexVersion = IndexVersion::c_FixedByteDeltaEncodedIndices;
            out.section = WriteListDeltas(RotateForListDeltas(mesh.faces));
            break;
        case IndexCoding::EdgeBreaker: {
            EdgeBreakerIndices indices = WriteEdgeBreaker(mesh.faces);
            out.indexVersion = IndexVersion::c_EdgeBreakerIndices;
            out.section = std::move(indices.section);
            out.vertexOrder = std::move(indices.vertexOrder);
            return out;
        }
        case IndexCoding::Strips1:
        case IndexCoding::Strips2: {
            const std::vector<UINT32> strip = MakeStrip(mesh.faces);
            const bool raw = coding == IndexCoding::Strips1;
            out.indexVersion = raw ? IndexVersion::c_UncompressedIndices : IndexVersion::c_FixedByteDeltaEncodedIndices;
            out.section = raw ? WriteRawIndices(strip) : WriteStripDeltas(strip);
            out.numIndices = strip.size();
            break;
        }
    }
    out.vertexOrder = IdentityOrder(mesh.positions.size());
    return out;
}

void CheckOptions(const Mesh& mesh, const FrameOptions& options) {
    if (options.normals && mesh.normals.size() != mesh.positions.size()) {
        throw std::invalid_argument("normals are asked for, but the mesh has none");
    }
    if (options.box) {
        const Box& box = *options.box;
        CheckMesh({{box.min, box.max}, {{}, {}}, {}, {}});
        if (box.min.x > box.max.x || box.min.y > box.max.y || box.min.z > box.max.z) {
            throw std::invalid_argument("a box is turned inside out");
        }
    }
}

/// Header of a single-mesh frame; counts are left to key frames.
CStreamingMeshHeader MakeHeader(const FrameOptions& options, BYTE vertexVersion, BYTE headerVersion, BYTE indexVersion,
                                BYTE topologyFlag, const Box& box) {
    CStreamingMeshHeader header;
    auto& version = header.m_Version.v;
    version.m_VertexVersion = vertexVersion;
    version.m_MeshHeaderVersion = headerVersion;
    version.m_IndexVersion = indexVersion;
    UINT32 flags = topologyFlag;
    flags |= options.subMeshId ? FormatFlags::c_HasSubMeshId : 0u;
    flags |= options.frameId ? FormatFlags::c_HasFrameId : 0u;
    flags |= options.normals ? FormatFlags::c_HasNormals : 0u;
    flags |= options.unsignedUVs ? FormatFlags::c_UnsignedUVs : 0u;
    version.m_FormatFlags = static_cast<BYTE>(flags);
    header.m_SubMeshId = options.subMeshId.value_or(0);
    header.m_FrameId = options.frameId.value_or(0);
    SetBox(header, box);
    return header;
}

BYTE TopologyFlag(IndexCoding coding) {
    return IsStrips(coding) ? FormatFlags::c_TriStrips : FormatFlags::c_TriList;
}

CStreamingMeshHeader MakeKeyHeader(const KeyFrameOptions& options, const Topology& topology, std::size_t numVertices,
                                   std::size_t numFaces, const Box& box) {
    const UINT32 flags = TopologyFlag(options.indices) | (options.indicesFirst ? FormatFlags::c_IndicesFirst : 0u);
    CStreamingMeshHeader header =
        MakeHeader(options, VertexVersion::c_UnwrappedXYZUV, HeaderVersion::c_MeshHeaderVersion_KeyFrame,
                   topology.indexVersion, static_cast<BYTE>(flags), box);
    header.m_numVertices = static_cast<UINT32>(numVertices);
    header.m_numFaces = static_cast<UINT32>(numFaces);
    header.m_numIndices = static_cast<UINT32>(topology.numIndices);
    return header;
}

bool SameFaces(const std::vector<TarnMeshFace>& a, const std::vector<TarnMeshFace>& b) {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(TarnMeshFace)) == 0);
}

bool SameTexCoords(const std::vector<Vec2>& a, const std::vector<Vec2>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const Vec2& p, const Vec2& q) { return p.u == q.u && p.v == q.v; });
}

}  // namespace

/// One sub-mesh as a reader knows it, and as the caller does.
struct FrameEncoder::SubMeshState {
    Nimb::CNimbMeshReaderCtx ctx;
    TransformDeltaEncoder transformDeltas;
    bool inUse = false;  // mirrors the reader's flag: decoded since the last sweep of a temporal frame
    std::size_t framesSinceKey = 0;

    // The last key frame: its source, and how it was laid out.
    std::vector<TarnMeshFace> faces;
    std::vector<Vec2> texCoords;
    std::vector<UINT32> vertexOrder;
    UINT32 numIndices = 0;
    BYTE indexVersion = 0;
    BYTE topologyFlag = 0;
};

FrameEncoder::FrameEncoder() = default;
FrameEncoder::~FrameEncoder() = default;

FrameEncoder::SubMeshState& FrameEncoder::StateOf(UINT32 subMeshId) const {
    const auto found = m_States.find(static_cast<INT32>(subMeshId));
    if (found == m_States.end()) {
        throw std::invalid_argument("the sub-mesh has no key frame");
    }
    return *found->second;
}

const std::vector<UINT32>& FrameEncoder::VertexOrder(UINT32 subMeshId) const {
    return StateOf(subMeshId).vertexOrder;
}

EncodedFrame FrameEncoder::KeyFrame(const Mesh& mesh, const KeyFrameOptions& options) {
    CheckMesh(mesh);
    CheckOptions(mesh, options);
    if (IsStrips(options.indices) &&
        (options.subMeshId || options.frameId || options.normals || options.unsignedUVs || options.indicesFirst)) {
        throw std::invalid_argument("a strip frame has room for no option");
    }

    Topology topology = EncodeTopology(mesh, options.indices);
    Mesh ordered{Reordered(mesh.positions, topology.vertexOrder),
                 Reordered(mesh.texCoords, topology.vertexOrder),
                 Reordered(mesh.normals, topology.vertexOrder),
                 {}};
    const Box box = options.box.value_or(BoundingBox(ordered.positions));
    const CStreamingMeshHeader header =
        MakeKeyHeader(options, topology, ordered.positions.size(), mesh.faces.size(), box);
    ByteWriter records;
    WriteVertexRecords(ordered, box, options.normals, records);
    const Bytes vertices = records.Take();

    auto state = std::make_unique<SubMeshState>();
    EncodedFrame frame;
    frame.maxError = DecodeAndMeasure(vertices, header, ordered.positions, state->ctx);
    frame.isKeyFrame = true;
    frame.vertexVersion = VertexVersion::c_UnwrappedXYZUV;
    frame.box = box;
    frame.numVertices = header.m_numVertices;
    frame.numIndices = header.m_numIndices;
    ByteWriter out;
    WriteFrameHeader(header, out);
    out.Append(options.indicesFirst ? topology.section : vertices);
    out.Append(options.indicesFirst ? vertices : topology.section);
    frame.bytes = out.Take();

    state->inUse = true;
    state->faces = mesh.faces;
    state->texCoords = mesh.texCoords;
    state->vertexOrder = std::move(topology.vertexOrder);
    state->numIndices = header.m_numIndices;
    state->indexVersion = topology.indexVersion;
    state->topologyFlag = TopologyFlag(options.indices);
    std::unique_ptr<SubMeshState>& slot = m_States[static_cast<INT32>(header.m_SubMeshId)];
    if (slot != nullptr) {
        // What was learned of the motion outlives a key frame.
        state->transformDeltas = std::move(slot->transformDeltas);
        state->transformDeltas.Reset();
    }
    slot = std::move(state);
    return frame;
}

Mesh FrameEncoder::OrderedForDelta(const SubMeshState& state, const Mesh& mesh, const FrameOptions& options) {
    CheckMesh(mesh);
    CheckOptions(mesh, options);
    if (mesh.positions.size() != state.texCoords.size()) {
        throw std::invalid_argument("a delta frame has as many vertices as the key frame before it");
    }
    return {Reordered(mesh.positions, state.vertexOrder),
            Reordered(mesh.texCoords, state.vertexOrder),
            Reordered(mesh.normals, state.vertexOrder),
            {}};
}

/// Makes a whole frame of a section, and decodes it so that the next one can build on it.
EncodedFrame FrameEncoder::CommitDelta(SubMeshState& state, const Mesh& ordered, const Box& box,
                                       const DeltaFrameOptions& options, const DeltaSection& section) {
    const CStreamingMeshHeader header =
        MakeHeader(options, section.vertexVersion, HeaderVersion::c_MeshHeaderVersion_DeltaFrame, state.indexVersion,
                   state.topologyFlag, box);
    ByteWriter vertices;
    vertices.Append(section.bytes);
    const bool records = section.vertexVersion == VertexVersion::c_UnwrappedXYZUV;
    if (options.normals && !records) {
        WriteNormalBlock(ordered.normals, vertices);
    }
    const Bytes decoded = vertices.Take();

    EncodedFrame frame;
    frame.maxError = DecodeAndMeasure(decoded, header, ordered.positions, state.ctx);
    frame.vertexVersion = section.vertexVersion;
    frame.box = box;
    frame.numVertices = static_cast<UINT32>(ordered.positions.size());
    frame.numIndices = state.numIndices;
    ByteWriter out;
    WriteFrameHeader(header, out);
    out.Append(decoded);
    frame.bytes = out.Take();
    if (section.transforms) {
        state.transformDeltas.Accept(*section.transforms);
    } else if (records) {
        state.transformDeltas.Reset();  // records make the decoder forget the parts, as a key frame does
    }
    state.inUse = true;
    ++state.framesSinceKey;
    return frame;
}

EncodedFrame FrameEncoder::DeltaFrame(const Mesh& mesh, const DeltaFrameOptions& options) {
    SubMeshState& state = StateOf(options.subMeshId.value_or(0));
    const Mesh ordered = OrderedForDelta(state, mesh, options);
    const Box box = options.box.value_or(BoundingBox(ordered.positions));
    const DeltaSection section = ChooseDeltaSection(state.ctx, state.transformDeltas, ordered, box, options);
    return CommitDelta(state, ordered, box, options, section);
}

EncodedFrame FrameEncoder::NextFrame(const Mesh& mesh, const ClipOptions& options) {
    const auto found = m_States.find(static_cast<INT32>(options.key.subMeshId.value_or(0)));
    if (found == m_States.end()) {
        return KeyFrame(mesh, options.key);
    }
    SubMeshState& state = *found->second;
    const bool due = options.keyFrameInterval > 0 && state.framesSinceKey + 1 >= options.keyFrameInterval;
    if (due || !SameFaces(mesh.faces, state.faces) || !SameTexCoords(mesh.texCoords, state.texCoords)) {
        return KeyFrame(mesh, options.key);
    }
    DeltaFrameOptions delta;
    static_cast<FrameOptions&>(delta) = options.key;
    delta.maxError = options.maxError;
    const Mesh ordered = OrderedForDelta(state, mesh, delta);
    const Box box = delta.box.value_or(BoundingBox(ordered.positions));
    const DeltaSection section = ChooseDeltaSection(state.ctx, state.transformDeltas, ordered, box, delta);
    if (delta.maxError > 0 && section.maxError > delta.maxError) {
        return KeyFrame(mesh, options.key);
    }
    return CommitDelta(state, ordered, box, delta, section);
}

namespace {

void CheckSubFrames(const std::vector<SubFrame>& subFrames) {
    std::vector<UINT32> ids;
    for (const SubFrame& sub : subFrames) {
        if (sub.mesh == nullptr || (!sub.delta && IsStrips(sub.key.indices))) {
            throw std::invalid_argument("a sub-frame needs a mesh, and triangle lists");
        }
        ids.push_back((sub.delta ? sub.delta->subMeshId : sub.key.subMeshId).value_or(0));
    }
    std::sort(ids.begin(), ids.end());
    if (std::adjacent_find(ids.begin(), ids.end()) != ids.end()) {
        throw std::invalid_argument("two sub-frames have the same sub-mesh id");
    }
}

void WriteTransforms(const std::vector<SubFrame>& subFrames, ByteWriter& out) {
    for (const SubFrame& sub : subFrames) {
        out.U8(sub.transform ? 1 : 0);
        if (sub.transform) {
            for (const float coefficient : *sub.transform) {
                out.F32(coefficient);
            }
        }
    }
}

/// Adds a sub-frame to what the outer frame says of all of them.
void Accumulate(const EncodedFrame& sub, bool first, EncodedFrame& outer) {
    outer.maxError = std::max(outer.maxError, sub.maxError);
    outer.isKeyFrame = (first || outer.isKeyFrame) && sub.isKeyFrame;
    if (first || outer.vertexVersion == VertexVersion::c_UnwrappedXYZUV) {
        outer.vertexVersion = sub.vertexVersion;
    }
    outer.box = first ? sub.box : Union(outer.box, sub.box);
    outer.numVertices += sub.numVertices;
    outer.numIndices += sub.numIndices;
}

}  // namespace

EncodedFrame FrameEncoder::TemporalFrame(const std::vector<SubFrame>& subFrames, const FrameOptions& options) {
    CheckSubFrames(subFrames);
    EncodedFrame frame;
    ByteWriter body;
    WriteTransforms(subFrames, body);
    for (const SubFrame& sub : subFrames) {
        const EncodedFrame encoded = sub.delta ? DeltaFrame(*sub.mesh, *sub.delta) : KeyFrame(*sub.mesh, sub.key);
        Accumulate(encoded, &sub == &subFrames.front(), frame);
        body.Append(encoded.bytes);
    }
    SweepStates();

    frame.box = options.box.value_or(frame.box);
    // The outer header carries no vertices of its own: its versions only describe the sub-frames.
    CStreamingMeshHeader header = MakeHeader(options, frame.vertexVersion, HeaderVersion::c_MeshHeaderVersion_Temporal,
                                             IndexVersion::c_UncompressedIndices, FormatFlags::c_TriList, frame.box);
    header.m_numTransforms = static_cast<UINT32>(subFrames.size());
    header.m_numVertices = frame.numVertices;
    header.m_numFaces = frame.numIndices / 3;
    header.m_numIndices = frame.numIndices;
    ByteWriter out;
    WriteFrameHeader(header, out);
    out.Append(body.Take());
    frame.bytes = out.Take();
    return frame;
}

/// What a reader does after a temporal frame: contexts that no frame has used since the last time are dropped.
void FrameEncoder::SweepStates() {
    for (auto state = m_States.begin(); state != m_States.end();) {
        if (state->second->inUse) {
            state->second->inUse = false;
            ++state;
        } else {
            state = m_States.erase(state);
        }
    }
}

}  // namespace Authoring
