#include "NimbClip/MeshAccess.h"

#include "Nimb/NimbAssert.h"
#include "NimbClip/ClipFault.h"
#include "NimbClip/FrameStream.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <utility>

namespace Nimb {
namespace Clip {
namespace {

// A step back decodes half as many frames on average. A state is as large as a frame.
constexpr std::uint32_t c_StateInterval = 16;

// Frames that are only passed through are decoded in the layout that costs least.
constexpr UINT32 c_QuickLayout = NIMB_CLIP_INT16;

bool IsDelta(const CStreamingMeshHeader& header) {
    return header.m_Version.v.m_MeshHeaderVersion == NTarnStudioMeshHeaderVersion::c_MeshHeaderVersion_DeltaFrame;
}

bool IsTemporal(const CStreamingMeshHeader& header) {
    return header.m_Version.v.m_MeshHeaderVersion == NTarnStudioMeshHeaderVersion::c_MeshHeaderVersion_Temporal;
}

/// False when the core refuses it.
bool ReadHeader(const Bytes& frame, CStreamingMeshHeader& header) {
    const NIMBCORE::CComPtr<FrameStream> stream(new FrameStream(frame));
    return Succeeded(header.Read(stream));
}

const BYTE* View(INimbBuffer& buffer, std::size_t* pSize) {
    NimbLockedMemory memory{};
    buffer.LockBuffer(&memory);
    buffer.UnlockBuffer();
    *pSize = memory.cbMaxLength;
    return memory.pData;
}

UINT32 AttributeOf(INimbBuffer& buffer, const _GUID& key) {
    NIMBCORE::CComPtr<INimbAttributesCore> attributes;
    UINT32 value = 0;
    if (Succeeded(buffer.QueryInterface(IID_INimbAttributesCore, reinterpret_cast<void**>(&attributes)))) {
        attributes->GetUINT32(key, &value);
    }
    return value;
}

float BoxOf(INimbBuffer& buffer, const _GUID& key) {
    NIMBCORE::CComPtr<INimbAttributesCore> attributes;
    double value = 0;
    if (Succeeded(buffer.QueryInterface(IID_INimbAttributesCore, reinterpret_cast<void**>(&attributes)))) {
        attributes->GetDouble(key, &value);
    }
    return static_cast<float>(value);
}

}  // namespace

MeshAccess::MeshAccess(const ByteSource& source, const Track& video)
    : m_Source(source),
      m_Video(video),
      m_Allocator(new LimitedAllocator),
      m_Kinds(video.samples.size(), Kind::Unknown) {}

/// Afterwards m_Mesh is that of the frame.
void MeshAccess::LoadFrame(std::uint32_t frame) {
    if (m_Loaded == frame) {
        return;
    }
    m_Loaded = -1;
    const Sample& sample = m_Video.samples[frame];
    m_Sample.clear();
    m_IsCut = sample.offset > m_Source.Size() || sample.size > m_Source.Size() - sample.offset;
    if (!m_IsCut) {
        m_Source.Read(sample.offset, sample.size, m_Sample);
    }
    FindMesh(m_Sample, m_Video.lengthSize, m_Mesh);
    m_Loaded = frame;
}

const SampleMesh& MeshAccess::Find(std::uint32_t frame) {
    LoadFrame(frame);
    return m_Mesh;
}

MeshAccess::Kind MeshAccess::KindOf(std::uint32_t frame) {
    if (m_Kinds[frame] != Kind::Unknown) {
        return m_Kinds[frame];
    }
    LoadFrame(frame);
    const AssertionCapture assertions;
    CStreamingMeshHeader header;
    Kind kind = Kind::Delta;
    if (!m_IsCut && !m_Mesh.isFound) {
        kind = Kind::NoMesh;
    } else if (m_IsCut || !ReadHeader(m_Mesh.frame, header)) {
        kind = Kind::Delta;  // nothing can begin here
    } else if (!IsTemporal(header)) {
        kind = IsDelta(header) ? Kind::Delta : Kind::Key;
    } else {
        // The headers of its sub-meshes stand between sections of unknown length.
        CNimbMeshReader reader;
        reader.Initialize(m_Allocator, c_QuickLayout);
        const NIMBCORE::CComPtr<FrameStream> stream(new FrameStream(m_Mesh.frame));
        Buffers buffers;
        kind = Succeeded(reader.ReadMesh(stream, 0, &buffers.vertices, &buffers.indices)) ? Kind::Key : Kind::Delta;
    }
    m_Kinds[frame] = kind;
    return kind;
}

bool MeshAccess::IsKey(std::uint32_t frame) {
    return KindOf(frame) == Kind::Key;
}

/// A key frame at or before this one: itself, or one that falls on a key picture, as encoders place them; otherwise
/// whichever there is. The clip's first frame when there is none.
std::uint32_t MeshAccess::FindStart(std::uint32_t frame) {
    if (m_MustBeginFirst) {
        return 0;
    }
    if (KindOf(frame) == Kind::Key) {
        return frame;
    }
    for (std::uint32_t i = frame; i-- > 0;) {
        if (m_Video.samples[i].isKey && KindOf(i) == Kind::Key) {
            return i;
        }
    }
    for (std::uint32_t i = frame; i-- > 0;) {
        if (KindOf(i) == Kind::Key) {
            return i;
        }
    }
    return 0;
}

/// Afterwards the reader expects this frame or one before it, as near as may be.
void MeshAccess::GoTo(std::uint32_t frame) {
    const bool canGoOn = m_Reader != nullptr && m_Next <= frame;
    if (canGoOn && frame - m_Next < c_StateInterval) {
        return;
    }
    const std::uint32_t start = FindStart(frame);
    const auto after = m_States.lower_bound(frame);  // states are behind the frame that they are named by
    const auto state = after != m_States.begin() ? std::prev(after) : m_States.end();
    const std::uint32_t fromState = state != m_States.end() ? state->first + 1 : 0;
    if (canGoOn && m_Next >= std::max(start, fromState)) {
        return;
    }
    m_ShownLayout = 0;
    m_Reader.reset(new CNimbMeshReader);
    m_DamagedAt = -1;
    if (fromState > start) {
        m_Reader->RestoreState(*state->second.reader);
        m_Next = fromState;
        m_SeenIds = state->second.seenIds;
        m_HasSwept = state->second.hasSwept;
        m_BeganInside = state->second.beganInside;
    } else {
        m_Next = start;
        m_SeenIds.clear();
        m_HasSwept = false;
        m_BeganInside = start != 0;
    }
}

/// Decodes the frame that the reader expects. A frame that builds on a damaged one is passed over.
void MeshAccess::Pass(std::uint32_t frame, UINT32 layout, Buffers* pBuffers) {
    LoadFrame(frame);
    m_Next = frame + 1;
    m_Missing = m_Unused = 0;
    if (m_IsCut) {
        return NoteDamage(frame, "the file ends inside its sample");
    }
    if (!m_Mesh.isFound) {
        m_Kinds[frame] = Kind::NoMesh;
        return;
    }
    if (m_DamagedAt >= 0 && !m_GoesOn && KindOf(frame) != Kind::Key) {
        return;
    }
    m_DamagedAt = -1;
    const AssertionCapture assertions;
    CStreamingMeshHeader header;
    if (!ReadHeader(m_Mesh.frame, header)) {
        return NoteFailure(frame, header, assertions.Text());
    }
    m_Reader->Initialize(m_Allocator, layout);
    const NIMBCORE::CComPtr<FrameStream> stream(new FrameStream(m_Mesh.frame));
    Buffers buffers;
    const bool isRead = Succeeded(m_Reader->ReadMesh(stream, 0, &buffers.vertices, &buffers.indices));
    m_Missing = stream->Missing();
    m_Unused = stream->Unread();
    if (!isRead) {
        return NoteFailure(frame, header, assertions.Text());
    }
    m_HasSwept = m_HasSwept || IsTemporal(header);
    if (!IsTemporal(header)) {
        m_SeenIds.insert(header.m_SubMeshId);
    }
    if (frame % c_StateInterval == c_StateInterval - 1) {
        Keep(frame);
    }
    if (pBuffers != nullptr) {
        *pBuffers = buffers;
    }
}

void MeshAccess::NoteDamage(std::uint32_t frame, const char* text) {
    m_DamagedAt = frame;
    m_Damage = text;
}

void MeshAccess::NoteFailure(std::uint32_t frame, const CStreamingMeshHeader& header, const char* text) {
    NoteDamage(frame,
               text[0] != '\0' ? text : "refused: its sizes exceed the format's limits, or the bytes of the frame");
    // Or does it go on with a sub-mesh whose key frame is before the one that the reader began with?
    if (m_BeganInside && !m_HasSwept && (IsTemporal(header) || m_SeenIds.count(header.m_SubMeshId) == 0)) {
        m_MustBeginFirst = true;
        m_States.clear();
        m_StateBytes = 0;
    }
}

void MeshAccess::Keep(std::uint32_t frame) {
    if (m_CacheBytes == 0 || m_States.count(frame) != 0) {
        return;
    }
    try {
        State state{m_Reader->SaveState(), m_SeenIds, m_HasSwept, m_BeganInside};
        const std::size_t bytes = state.reader->Bytes();
        m_States.emplace(frame, std::move(state));
        m_StateBytes += bytes;
    } catch (const std::bad_alloc&) {
        return;  // what is not kept is decoded again
    }
    ShrinkCache(frame);
}

/// Lets go of the states that are furthest from this frame.
void MeshAccess::ShrinkCache(std::uint32_t frame) {
    while (m_StateBytes > m_CacheBytes && !m_States.empty()) {
        const auto first = m_States.begin(), last = std::prev(m_States.end());
        const bool isFirst =
            frame > first->first && (frame - first->first >= last->first - std::min(frame, last->first));
        const auto furthest = isFirst ? first : last;
        m_StateBytes -= furthest->second.reader->Bytes();
        m_States.erase(furthest);
    }
}

void MeshAccess::SetLimit(std::size_t bytes) {
    m_Allocator->limit = std::min<std::size_t>(bytes, c_MaxBufferBytes);
}

void MeshAccess::SetCache(std::size_t bytes) {
    m_CacheBytes = bytes;
    ShrinkCache(m_Next);
}

/// The frame's arrays; none when it has no mesh, or builds on damage.
MeshAccess::Buffers MeshAccess::DecodeAt(std::uint32_t frame, nimb_clip_layout layout) {
    GoTo(frame);
    while (m_Next < frame) {
        Pass(m_Next, c_QuickLayout, nullptr);
    }
    Buffers buffers;
    Pass(frame, static_cast<UINT32>(layout), &buffers);
    return buffers;
}

nimb_clip_mesh MeshAccess::Decode(std::uint32_t frame, nimb_clip_layout layout) {
    if (m_ShownLayout == layout && m_ShownMesh.frame == frame) {
        m_ShownMesh.has_same_indices = 1;
        return m_ShownMesh;
    }
    Buffers buffers;
    try {
        const bool beganFirst = m_MustBeginFirst;
        buffers = DecodeAt(frame, layout);
        if (m_MustBeginFirst != beganFirst) {
            m_Reader.reset();
            buffers = DecodeAt(frame, layout);
        }
    } catch (...) {
        m_Reader.reset();  // its frame may be half done
        throw;
    }
    if (!m_IsCut && !m_Mesh.isFound) {
        throw ClipFault(NIMB_CLIP_NO_MESH, "the frame has no mesh", frame);
    }
    if (m_DamagedAt >= 0) {
        const std::string where = m_DamagedAt == frame ? "" : " (frame " + std::to_string(m_DamagedAt) + ")";
        throw ClipFault(NIMB_CLIP_DAMAGED, "the mesh, or one that it builds on" + where + ", is damaged: " + m_Damage,
                        frame);
    }

    nimb_clip_mesh mesh = {};
    mesh.frame = frame;
    mesh.stride = CNimbMeshReader::VertexStride(static_cast<UINT32>(layout));
    std::size_t vertexBytes = 0, indexBytes = 0;
    mesh.vertices = View(*buffers.vertices, &vertexBytes);
    mesh.indices = reinterpret_cast<const std::uint32_t*>(View(*buffers.indices, &indexBytes));
    mesh.vertex_count = static_cast<std::uint32_t>(vertexBytes / mesh.stride);
    mesh.index_count = static_cast<std::uint32_t>(indexBytes / sizeof(std::uint32_t));
    mesh.has_same_indices = m_ShownLayout != 0 && m_Shown.indices.p == buffers.indices.p ? 1 : 0;
    const UINT32 flags = AttributeOf(*buffers.vertices, NimbAttrib_VertexFormatFlags) >> 8 & 0xFF;
    mesh.is_strips = flags == NTarnStudioFormatFlags::c_TriStrips ? 1 : 0;
    mesh.has_normals = (flags & NTarnStudioFormatFlags::c_HasNormals) != 0 ? 1 : 0;
    mesh.is_key = KindOf(frame) == Kind::Key ? 1 : 0;
    const _GUID* const box[2][3] = {{&NimbAttrib_BBoxMinX, &NimbAttrib_BBoxMinY, &NimbAttrib_BBoxMinZ},
                                    {&NimbAttrib_BBoxMaxX, &NimbAttrib_BBoxMaxY, &NimbAttrib_BBoxMaxZ}};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        mesh.box_min[axis] = BoxOf(*buffers.vertices, *box[0][axis]);
        mesh.box_max[axis] = BoxOf(*buffers.vertices, *box[1][axis]);
    }
    m_Shown = buffers;
    m_ShownMesh = mesh;
    m_ShownLayout = layout;
    return mesh;
}

}  // namespace Clip
}  // namespace Nimb
