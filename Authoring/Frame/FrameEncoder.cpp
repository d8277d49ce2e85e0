#include "Authoring/Frame/FrameEncoder.h"

#include "Authoring/Codec/MeshHeader.h"
#include "Authoring/Codec/TransformDeltas.h"
#include "Authoring/Codec/VertexStreams.h"
#include "Authoring/Frame/ClosedLoop.h"
#include "Authoring/Frame/DeltaSection.h"
#include "Authoring/Frame/Topology.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace Nimb::Authoring {
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

CStreamingMeshHeader MakeKeyHeader(const KeyFrameOptions& options, const Topology& topology, std::size_t numVertices,
                                   std::size_t numFaces, const Box& box) {
    const UINT32 flags = topology.Flags() | (options.indicesFirst ? FormatFlags::c_IndicesFirst : 0u);
    CStreamingMeshHeader header =
        MakeHeader(options, VertexVersion::c_UnwrappedXYZUV, HeaderVersion::c_MeshHeaderVersion_KeyFrame,
                   topology.IndexVersion(), static_cast<BYTE>(flags), box);
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
    TopologyChoice choice;
    Topology topology;
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
    return StateOf(subMeshId).topology.vertexOrder;
}

namespace {

/// A strip frame has room for none of these.
bool SaysMoreThanStripsCan(const KeyFrameOptions& options) {
    return options.subMeshId || options.frameId || options.normals || options.unsignedUVs || options.indicesFirst;
}

}  // namespace

void FrameEncoder::LookAhead(const Mesh& mesh, UINT32 subMeshId) {
    SubMeshState& state = StateOf(subMeshId);
    if (mesh.positions.size() == state.texCoords.size() && SameFaces(mesh.faces, state.faces)) {
        state.transformDeltas.Learn(Reordered(mesh.positions, state.topology.vertexOrder));
    }
}

EncodedFrame FrameEncoder::KeyFrame(const Mesh& mesh, const KeyFrameOptions& options) {
    return EncodeKey(mesh, options, !SaysMoreThanStripsCan(options));
}

/// The layout of a key frame, which is the one before it where faces stay what they were.
Topology FrameEncoder::TopologyOf(const Mesh& mesh, UINT32 subMeshId, const TopologyChoice& choice) const {
    const auto found = m_States.find(static_cast<INT32>(subMeshId));
    if (found != m_States.end()) {
        const SubMeshState& before = *found->second;
        if (before.choice == choice && before.texCoords.size() == mesh.positions.size() &&
            SameFaces(before.faces, mesh.faces)) {
            return before.topology;
        }
    }
    return ChooseTopology(mesh, choice);
}

EncodedFrame FrameEncoder::EncodeKey(const Mesh& mesh, const KeyFrameOptions& options, bool mayBeStrips) {
    CheckMesh(mesh);
    CheckOptions(mesh, options);
    if (options.indices && IsStrips(*options.indices) && !mayBeStrips) {
        throw std::invalid_argument("strip frames take no options, and cannot be part of a temporal frame");
    }

    const TopologyChoice choice{options.indices, mayBeStrips, options.keepVertexOrder, options.normals ? 20u : 12u};
    Topology topology = TopologyOf(mesh, options.subMeshId.value_or(0), choice);
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
    state->choice = choice;
    state->topology = std::move(topology);
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
        throw std::invalid_argument("a delta frame needs as many vertices as the key frame before it");
    }
    return {Reordered(mesh.positions, state.topology.vertexOrder),
            Reordered(mesh.texCoords, state.topology.vertexOrder),
            Reordered(mesh.normals, state.topology.vertexOrder),
            {}};
}

/// Makes a whole frame of a section, and decodes it so that the next one can build on it.
EncodedFrame FrameEncoder::CommitDelta(SubMeshState& state, const Mesh& ordered, const Box& box,
                                       const DeltaFrameOptions& options, const DeltaSection& section) {
    const CStreamingMeshHeader header =
        MakeHeader(options, section.vertexVersion, HeaderVersion::c_MeshHeaderVersion_DeltaFrame,
                   state.topology.IndexVersion(), state.topology.Flags(), box);
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
    frame.numIndices = static_cast<UINT32>(state.topology.numIndices);
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

/// A delta frame if the sub-mesh has something to build on and the limit can be met.
std::optional<EncodedFrame> FrameEncoder::TryDelta(const Mesh& mesh, const FrameOptions& options,
                                                   const ClipOptions& clip) {
    const auto found = m_States.find(static_cast<INT32>(options.subMeshId.value_or(0)));
    if (found == m_States.end() || !SameFaces(mesh.faces, found->second->faces) ||
        !SameTexCoords(mesh.texCoords, found->second->texCoords)) {
        return std::nullopt;
    }
    SubMeshState& state = *found->second;
    DeltaFrameOptions delta;
    static_cast<FrameOptions&>(delta) = options;
    delta.maxError = clip.maxError;
    delta.coding = clip.delta.value_or(DeltaCoding::Smallest);
    const Mesh ordered = OrderedForDelta(state, mesh, delta);
    if (ordered.positions.empty() && delta.coding != DeltaCoding::Smallest && CoderOf(delta.coding).fitsMotions) {
        return std::nullopt;  // nothing moves
    }
    const Box box = delta.box.value_or(BoundingBox(ordered.positions));
    try {
        const DeltaSection section = ChooseDeltaSection(state.ctx, state.transformDeltas, ordered, box, delta);
        if (delta.maxError > 0 && section.maxError > delta.maxError) {
            return std::nullopt;
        }
        return CommitDelta(state, ordered, box, delta, section);
    } catch (const std::range_error&) {
        return std::nullopt;  // the motion is too large for the one coding that is allowed
    }
}

EncodedFrame FrameEncoder::NextFrame(const Mesh& mesh, const ClipOptions& options) {
    const auto found = m_States.find(static_cast<INT32>(options.frame.subMeshId.value_or(0)));
    const std::size_t age = found != m_States.end() ? found->second->framesSinceKey : 0;
    if (options.keyFrameInterval == 0 || age + 1 < options.keyFrameInterval) {
        if (std::optional<EncodedFrame> delta = TryDelta(mesh, options.frame, options)) {
            return std::move(*delta);
        }
    }
    KeyFrameOptions key;
    static_cast<FrameOptions&>(key) = options.frame;
    key.indices = options.indices;
    key.keepVertexOrder = options.keepVertexOrder;
    return KeyFrame(mesh, key);
}

/// What a temporal frame says of a sub-mesh, whatever frame the sub-mesh gets.
struct FrameEncoder::TemporalPart {
    const Mesh* mesh;
    UINT32 id;
    std::optional<std::array<float, 6>> transform;
};

void FrameEncoder::CheckParts(const std::vector<TemporalPart>& parts) {
    std::vector<UINT32> ids;
    for (const TemporalPart& part : parts) {
        if (part.mesh == nullptr) {
            throw std::invalid_argument("a sub-frame needs a mesh");
        }
        ids.push_back(part.id);
    }
    std::sort(ids.begin(), ids.end());
    if (std::adjacent_find(ids.begin(), ids.end()) != ids.end()) {
        throw std::invalid_argument("two sub-frames have the same sub-mesh id");
    }
}

EncodedFrame FrameEncoder::NextTemporalFrame(const std::vector<ClipSubMesh>& subMeshes, const ClipOptions& options) {
    std::vector<TemporalPart> parts;
    for (const ClipSubMesh& sub : subMeshes) {
        parts.push_back({sub.mesh, sub.id, sub.transform});
    }
    CheckParts(parts);
    const bool due = options.keyFrameInterval > 0 && m_FramesSinceAllKeys + 1 >= options.keyFrameInterval;
    KeyFrameOptions key;
    key.indices = options.indices;
    key.keepVertexOrder = options.keepVertexOrder;
    key.normals = options.frame.normals;
    key.unsignedUVs = options.frame.unsignedUVs;
    const EncodedFrame frame = AssembleTemporal(parts, options.frame, [&](std::size_t i) {
        key.subMeshId = subMeshes[i].id;
        if (!due && !subMeshes[i].newTopology) {
            if (std::optional<EncodedFrame> delta = TryDelta(*subMeshes[i].mesh, key, options)) {
                return std::move(*delta);
            }
        }
        return EncodeKey(*subMeshes[i].mesh, key, false);
    });
    m_FramesSinceAllKeys = frame.isKeyFrame ? 0 : m_FramesSinceAllKeys + 1;
    return frame;
}

namespace {

void WriteTransform(const std::optional<std::array<float, 6>>& transform, ByteWriter& out) {
    out.U8(transform ? 1 : 0);
    if (transform) {
        for (const float coefficient : *transform) {
            out.F32(coefficient);
        }
    }
}

/// Adds a sub-frame to what the outer frame says of all of them.
void Accumulate(const EncodedFrame& sub, bool first, EncodedFrame& outer) {
    outer.maxError = std::max(outer.maxError, sub.maxError);
    const bool onlyKeysSoFar = first || outer.isKeyFrame;
    outer.oneDeltaVersion =
        outer.oneDeltaVersion && (onlyKeysSoFar || sub.isKeyFrame || sub.vertexVersion == outer.vertexVersion);
    outer.isKeyFrame = onlyKeysSoFar && sub.isKeyFrame;
    if (first || outer.vertexVersion == VertexVersion::c_UnwrappedXYZUV) {
        outer.vertexVersion = sub.vertexVersion;
    }
    outer.box = first ? sub.box : Union(outer.box, sub.box);
    outer.numVertices += sub.numVertices;
    outer.numIndices += sub.numIndices;
}

}  // namespace

EncodedFrame FrameEncoder::TemporalFrame(const std::vector<SubFrame>& subFrames, const FrameOptions& options) {
    std::vector<TemporalPart> parts;
    for (const SubFrame& sub : subFrames) {
        const std::optional<UINT32> id = sub.delta ? sub.delta->subMeshId : sub.key.subMeshId;
        parts.push_back({sub.mesh, id.value_or(0), sub.transform});
        if (!sub.delta && sub.key.indices && IsStrips(*sub.key.indices)) {
            throw std::invalid_argument("a sub-frame needs triangle lists");
        }
    }
    CheckParts(parts);
    return AssembleTemporal(parts, options, [&](std::size_t i) {
        const SubFrame& sub = subFrames[i];
        return sub.delta ? DeltaFrame(*sub.mesh, *sub.delta) : EncodeKey(*sub.mesh, sub.key, false);
    });
}

EncodedFrame FrameEncoder::AssembleTemporal(const std::vector<TemporalPart>& parts, const FrameOptions& options,
                                            const std::function<EncodedFrame(std::size_t)>& encodePart) {
    EncodedFrame frame;
    ByteWriter body;
    for (const TemporalPart& part : parts) {
        WriteTransform(part.transform, body);
    }
    for (std::size_t i = 0; i < parts.size(); ++i) {
        const EncodedFrame encoded = encodePart(i);
        Accumulate(encoded, i == 0, frame);
        body.Append(encoded.bytes);
    }
    SweepStates();

    frame.box = options.box.value_or(frame.box);
    // The outer header carries no vertices of its own: its versions only describe the sub-frames.
    CStreamingMeshHeader header = MakeHeader(options, frame.vertexVersion, HeaderVersion::c_MeshHeaderVersion_Temporal,
                                             IndexVersion::c_UncompressedIndices, FormatFlags::c_TriList, frame.box);
    header.m_numTransforms = static_cast<UINT32>(parts.size());
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

}  // namespace Nimb::Authoring
