// Every section tells its size in its first fields, given the number of vertices.
#include "Clip/Read/MeshFrameScanner.h"

#include "Nimb/NimbAssert.h"
#include "NimbClip/FrameStream.h"
#include "NimbCore/BitReader.h"
#include "NimbCore/Codings.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

namespace Nimb::Authoring {
namespace {

namespace HeaderVersion = NTarnStudioMeshHeaderVersion;
namespace VertexVersion = NTarnStudioVertexVersion;
namespace IndexVersion = NTarnStudioIndexVersion;
namespace FormatFlags = NTarnStudioFormatFlags;

constexpr UINT64 c_NormalBytes = 6;
constexpr BYTE c_AffineTransform = 1;
constexpr UINT64 c_AffineBytes = 24;

UINT64 WordBytes(UINT32 bits) {
    return UINT64{Nimb::CodeWords(bits)} * 4;
}

}  // namespace

/// A place in the frame. What is behind the frame's end is zero, and remembered as a failure.
class MeshFrameScanner::Cursor {
public:
    explicit Cursor(const Bytes& bytes) : m_Bytes(bytes) {}

    const Bytes& Frame() const { return m_Bytes; }
    std::size_t Position() const { return m_Position; }
    const std::string& Problem() const { return m_Problem; }

    void Fail(const std::string& problem) {
        if (m_Problem.empty()) {
            m_Problem = problem;
        }
    }

    void Skip(UINT64 count, const char* what) {
        const UINT64 left = m_Bytes.size() - m_Position;
        if (count > left) {
            Fail(std::string(what) + " needs " + std::to_string(count) + " bytes where " + std::to_string(left) +
                 " are left");
            count = left;
        }
        m_Position += static_cast<std::size_t>(count);
    }

    template <class T>
    T Take(const char* what) {
        T value{};
        const std::size_t begin = m_Position;
        Skip(sizeof(T), what);
        std::memcpy(&value, m_Bytes.data() + begin, m_Position - begin);
        return value;
    }

private:
    const Bytes& m_Bytes;
    std::size_t m_Position = 0;
    std::string m_Problem;
};

namespace {

/// Seven bits in each byte, the lowest first; bit 7 is set in all but the last.
template <class Cursor>
UINT64 TakeSize(Cursor& cursor, const char* what) {
    UINT64 size = 0;
    for (UINT32 shift = 0; shift < 35; shift += 7) {
        const auto byte = cursor.template Take<BYTE>(what);
        size |= UINT64{byte & 127u} << shift;
        if (byte < 128) {
            break;
        }
    }
    return size;
}

/// The section, without normals that follow it.
template <class Cursor>
void SkipVertices(Cursor& cursor, const CStreamingMeshHeader& header, bool hasNormals) {
    constexpr const char* what = "the vertex section";
    const Nimb::VertexCoding* const coding = Nimb::FindVertexCoding(header.m_Version.v.m_VertexVersion);
    if (coding == nullptr) {
        return cursor.Fail("there is no vertex version " + std::to_string(header.m_Version.v.m_VertexVersion));
    }
    const Nimb::VertexSectionLayout& layout = coding->layout;
    const UINT64 vertexBytes = layout.vertexBytes + (hasNormals ? layout.normalBytes : 0);
    UINT64 bytes = layout.fixedBytes + vertexBytes * header.m_numVertices;
    cursor.Skip(layout.leadBytes, what);
    if (layout.statesSize) {
        bytes += TakeSize(cursor, what);
    }
    for (UINT32 stream = 0; stream < layout.numCodeStreams; ++stream) {
        bytes += WordBytes(cursor.template Take<UINT32>(what));
    }
    cursor.Skip(bytes, what);
}

template <class Cursor>
void SkipIndices(Cursor& cursor, const CStreamingMeshHeader& header, bool isStrip) {
    constexpr const char* what = "the index section";
    switch (header.m_Version.v.m_IndexVersion) {
        case IndexVersion::c_UncompressedIndices:
            return cursor.Skip(UINT32{4} * header.m_numIndices, what);  // wraps, as the buffer's size does
        case IndexVersion::c_FixedByteDeltaEncodedIndices: {
            const auto size = cursor.template Take<std::int64_t>(what);
            cursor.Skip(isStrip ? 4 : 0, what);
            return cursor.Skip(size > 0 ? static_cast<UINT64>(size) : 0, what);
        }
        case IndexVersion::c_EdgeBreakerIndices:
            return cursor.Skip(cursor.template Take<UINT32>(what), what);
        default:
            return cursor.Fail("there is no index version " + std::to_string(header.m_Version.v.m_IndexVersion));
    }
}

}  // namespace

bool MeshFrameLayout::IsKeyFrame() const {
    return std::none_of(subFrames.begin(), subFrames.end(), [](const SubFrameLayout& sub) { return sub.isDelta; });
}

bool MeshFrameLayout::HasNormals() const {
    return std::any_of(subFrames.begin(), subFrames.end(), [](const SubFrameLayout& sub) { return sub.hasNormals; });
}

bool MeshFrameScanner::ScanHeader(Cursor& cursor, CStreamingMeshHeader& header) {
    using Nimb::Clip::FrameStream;
    const NIMBCORE::CComPtr<FrameStream> stream(new FrameStream(cursor.Frame(), cursor.Position()));
    const Nimb::AssertionCapture assertions;
    if (Failed(header.Read(stream))) {
        cursor.Fail(assertions.Text());
        return false;
    }
    cursor.Skip(stream->Position() - cursor.Position(), "the header");
    if (stream->Missing() != 0) {
        cursor.Fail("the header is cut short");
    }
    return cursor.Problem().empty();
}

bool MeshFrameScanner::ScanSubFrame(Cursor& cursor, const CStreamingMeshHeader& header, SubFrameLayout& sub) {
    const BYTE flags = header.m_Version.v.m_FormatFlags;
    sub.header = header;
    sub.isDelta = header.m_Version.v.m_MeshHeaderVersion == HeaderVersion::c_MeshHeaderVersion_DeltaFrame;
    sub.hasNormals = (flags & FormatFlags::c_HasNormals) != 0;
    sub.hasKeyFrame = !sub.isDelta || m_SubMeshes.count(header.m_SubMeshId) != 0;

    SubMesh& subMesh = m_SubMeshes[header.m_SubMeshId];
    if (sub.isDelta) {
        sub.header.m_numVertices = subMesh.numVertices;
        sub.header.m_numFaces = subMesh.numFaces;
        sub.header.m_numIndices = subMesh.numIndices;
    } else {
        subMesh = {header.m_numVertices, header.m_numFaces, header.m_numIndices, flags == FormatFlags::c_TriStrips,
                   true};
    }
    subMesh.isInUse = true;
    sub.isStrip = subMesh.isStrip;
    if (!sub.hasKeyFrame) {
        m_SubMeshes.erase(header.m_SubMeshId);
        cursor.Fail("a delta frame of sub-mesh " + std::to_string(header.m_SubMeshId) + ", which has had no key frame");
        return false;
    }

    const auto skip = [&](UINT64& bytes, auto&& section) {
        const std::size_t begin = cursor.Position();
        section();
        bytes = cursor.Position() - begin;
    };
    const auto skipIndices = [&] { SkipIndices(cursor, sub.header, sub.isStrip); };
    const bool isIndicesFirst = (flags & FormatFlags::c_IndicesFirst) != 0;
    if (!sub.isDelta && isIndicesFirst) {
        skip(sub.indexBytes, skipIndices);
    }
    skip(sub.vertexBytes, [&] { SkipVertices(cursor, sub.header, sub.hasNormals); });
    if (sub.hasNormals && header.m_Version.v.m_VertexVersion != VertexVersion::c_UnwrappedXYZUV) {
        skip(sub.normalBytes, [&] { cursor.Skip(c_NormalBytes * sub.header.m_numVertices, "the normals"); });
    }
    if (!sub.isDelta && !isIndicesFirst) {
        skip(sub.indexBytes, skipIndices);
    }
    return cursor.Problem().empty();
}

MeshFrameLayout MeshFrameScanner::Scan(const Bytes& frame) {
    MeshFrameLayout layout;
    Cursor cursor(frame);
    bool isWhole = ScanHeader(cursor, layout.header);
    layout.isTemporal = layout.header.m_Version.v.m_MeshHeaderVersion == HeaderVersion::c_MeshHeaderVersion_Temporal;
    if (isWhole && !layout.isTemporal) {
        layout.subFrames.emplace_back();
        ScanSubFrame(cursor, layout.header, layout.subFrames.back());
        layout.header = layout.subFrames.back().header;
    } else if (isWhole) {
        for (UINT32 i = 0; isWhole && i < layout.header.m_numTransforms; ++i) {
            const BYTE kind = cursor.Take<BYTE>("a texture transform");
            cursor.Skip(kind == c_AffineTransform ? c_AffineBytes : 0, "a texture transform");
            isWhole = cursor.Problem().empty();
        }
        for (UINT32 i = 0; isWhole && i < layout.header.m_numTransforms; ++i) {
            CStreamingMeshHeader header;
            isWhole = ScanHeader(cursor, header);
            if (isWhole) {
                layout.subFrames.emplace_back();
                isWhole = ScanSubFrame(cursor, header, layout.subFrames.back());
            }
        }
        // As the reader does: a temporal frame that was decoded to its end forgets the sub-meshes that were not used.
        for (auto it = m_SubMeshes.begin(); isWhole && it != m_SubMeshes.end();) {
            it = std::exchange(it->second.isInUse, false) ? std::next(it) : m_SubMeshes.erase(it);
        }
    }
    layout.problem = cursor.Problem();
    return layout;
}

std::string VertexCodingName(BYTE vertexVersion) {
    const Nimb::VertexCoding* const coding = Nimb::FindVertexCoding(vertexVersion);
    return coding != nullptr ? coding->name : "unknown";
}

std::string IndexCodingName(BYTE indexVersion, bool isStrip) {
    switch (indexVersion) {
        case IndexVersion::c_UncompressedIndices:
            return "raw";
        case IndexVersion::c_FixedByteDeltaEncodedIndices:
            return isStrip ? "strip deltas" : "list deltas";
        case IndexVersion::c_EdgeBreakerIndices:
            return "EdgeBreaker";
        default:
            return "unknown";
    }
}

}  // namespace Nimb::Authoring
