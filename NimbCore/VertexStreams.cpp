// Vertex records of version 2, byte-delta streams of version 3, and the normal block behind compressed streams.
#include "NimbCore/VertexStreams.h"
#include "Nimb/NimbAssert.h"
#include "NimbCore/LockedBuffer.h"
#include "NimbCore/StreamReader.h"
#include "NimbCore/VertexMath.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace Nimb {
namespace {

constexpr std::size_t c_PlainRecord = 12;    // x, y, z, padding, u, v: 16 bits each
constexpr std::size_t c_NormalsRecord = 20;  // x, y, z, padding, nx, ny, nz, padding, u, v

/// Reads `bytes` bytes to `destination` and zeroes what the stream does not deliver: a section that ends early is not
/// an error, and its missing records are zeros.
HRESULT ReadZeroFilled(IStream* pStream, BYTE* destination, UINT32 bytes, bool* pIsCutShort) {
    UINT32 read = 0;
    const HRESULT hr = pStream->Read(destination, bytes, &read);
    std::memset(destination + read, 0, bytes - read);
    *pIsCutShort = read < bytes;
    return hr;
}

/// What output without normals keeps of a stored record: position with zero padding, and texture coordinates. Moved as
/// two words, since pieces of other widths would have to wait for each other in the store buffer.
struct PlainRecord {
    UINT64 xyz;
    UINT32 uv;

    static PlainRecord Load(const BYTE* p, std::size_t stride) noexcept {
        PlainRecord record;
        std::memcpy(&record.xyz, p, sizeof(record.xyz));
        std::memcpy(&record.uv, p + stride - 4, sizeof(record.uv));
        record.xyz &= 0xFFFFFFFFFFFF;
        return record;
    }
    void Store(void* p, std::size_t stride) const noexcept {
        std::memcpy(p, &xyz, sizeof(xyz));
        std::memcpy(static_cast<BYTE*>(p) + stride - 4, &uv, sizeof(uv));
    }
};

/// Makes float records out of stored ones and remembers their positions. `stored` may be the tail of `out`: a stored
/// record is no longer than an output record, so it is read before it is overwritten.
template <bool StoredNormals, bool WithNormals>
void ConvertToFloat(const Box4& box, const BYTE* stored, std::size_t count, BYTE* out, __vector4* positions) {
    constexpr std::size_t storedStride = StoredNormals ? c_NormalsRecord : c_PlainRecord;
    constexpr std::size_t stride = WithNormals ? 32 : 20;
    for (std::size_t i = 0; i < count; ++i, stored += storedStride, out += stride) {
        const Float4 position = CanonicalNaN(DequantisePosition(ToFloat(LoadInt16x4(stored)), box));
        // The last four words of a record: texture coordinates are in lanes 2 and 3.
        const Float4 texCoords = DequantiseTexCoords(ToFloat(LoadInt16x4(stored + storedStride - 8)));
        Float4 normal = Float4::All(-1.0f);  // the placeholder of streams without normals
        if (StoredNormals && WithNormals) {
            normal = DequantiseNormal(ToFloat(LoadUint16x4(stored + 8)));
        }
        position.Store(&positions[i]);
        position.Store(out);
        if (WithNormals) {
            normal.Store(out + 12);
        }
        texCoords.StoreHigh(out + stride - 8);
    }
}

/// Requantises float output for the context. Positions take the X axis's minimum and extent for all three axes: this is
/// what the format says.
template <std::size_t Stride>
void RememberFloat(const Box4& box, const BYTE* out, std::size_t count, const __vector4* positions,
                   SQuantisedVertex* records) {
    const Float4 minX = Float4::All(box.MinX());
    const Float4 extentX = Float4::All(box.MaxX() - box.MinX());
    for (std::size_t i = 0; i < count; ++i, out += Stride) {
        const Float4 texCoords = Float4::LoadLow(out + Stride - 8);
        const PlainRecord record{
            TruncateToInt16x4(QuantisePosition(Float4::Load(&positions[i]), minX, extentX)) & 0xFFFFFFFFFFFF,
            static_cast<UINT32>(TruncateToInt16x4(QuantiseTexCoords(texCoords)))};
        record.Store(&records[i], sizeof(records[i]));
    }
}

/// Both, block by block: two short loops that a processor can overlap with themselves, where one long one would stall.
template <bool StoredNormals, bool WithNormals>
void DecodeFloatRecords(CNimbMeshReaderCtx* pCtx, const Box4& box, const BYTE* stored, std::size_t count, BYTE* out) {
    constexpr std::size_t storedStride = StoredNormals ? c_NormalsRecord : c_PlainRecord;
    constexpr std::size_t stride = WithNormals ? 32 : 20;
    constexpr std::size_t blockRecords = 256;
    for (std::size_t first = 0; first < count; first += blockRecords) {
        const std::size_t block = std::min(blockRecords, count - first);
        __vector4* const positions = pCtx->m_Positions.data() + first;
        ConvertToFloat<StoredNormals, WithNormals>(box, stored + first * storedStride, block, out + first * stride,
                                                   positions);
        RememberFloat<stride>(box, out + first * stride, block, positions, pCtx->m_QuantisedVertices.data() + first);
    }
}

/// Records the positions of quantised output in the context.
template <std::size_t Stride>
void RememberQuantised(CNimbMeshReaderCtx* pCtx, const Box4& box, const BYTE* out) {
    const std::size_t count = pCtx->m_QuantisedVertices.size();
    __vector4* const positions = pCtx->m_Positions.data();
    SQuantisedVertex* const records = pCtx->m_QuantisedVertices.data();
    for (std::size_t i = 0; i < count; ++i, out += Stride) {
        PlainRecord::Load(out, Stride).Store(&records[i], sizeof(records[i]));
        DequantisePosition(ToFloat(LoadInt16x4(out)), box).Store(&positions[i]);
    }
}

/// Widens 12-byte records at the end of the buffer to 20-byte records from its start, with normals to be filled later.
void WidenRecords(const BYTE* stored, std::size_t count, BYTE* out) {
    for (std::size_t i = 0; i < count; ++i, stored += c_PlainRecord, out += c_NormalsRecord) {
        const PlainRecord record = PlainRecord::Load(stored, c_PlainRecord);
        std::memset(out + 8, 0, 8);
        record.Store(out, c_NormalsRecord);
    }
}

/// Reads 20-byte records piece by piece and drops their normals.
HRESULT ReadNarrowed(IStream* pStream, std::size_t count, BYTE* out, bool* pIsCutShort) {
    std::array<BYTE, 256 * c_NormalsRecord> piece;
    HRESULT hr = S_OK;
    for (std::size_t first = 0; first < count && Succeeded(hr); first += 256) {
        const std::size_t records = std::min<std::size_t>(256, count - first);
        hr = ReadZeroFilled(pStream, piece.data(), static_cast<UINT32>(records * c_NormalsRecord), pIsCutShort);
        for (std::size_t i = 0; i < records; ++i, out += c_PlainRecord) {
            PlainRecord::Load(&piece[i * c_NormalsRecord], c_NormalsRecord).Store(out, c_PlainRecord);
        }
    }
    return hr;
}

/// Reads all stored records to the end of the output buffer, from where they are converted in place.
HRESULT ReadToTail(IStream* pStream, const LockedBuffer& output, std::size_t count, std::size_t storedStride,
                   const BYTE** ppStored, bool* pIsCutShort) {
    const UINT32 bytes = static_cast<UINT32>(count * storedStride);
    BYTE* const tail = output.Data() + (output.Size() - bytes);
    *ppStored = tail;
    return ReadZeroFilled(pStream, tail, bytes, pIsCutShort);
}

HRESULT ReadFloatRecords(CNimbMeshReaderCtx* pCtx, IStream* pStream, const CStreamingMeshHeader& header,
                         bool storedNormals, bool withNormals, const LockedBuffer& output) {
    const std::size_t count = header.m_numVertices;
    const BYTE* stored = nullptr;
    bool isCutShort = false;
    const HRESULT hr =
        ReadToTail(pStream, output, count, storedNormals ? c_NormalsRecord : c_PlainRecord, &stored, &isCutShort);
    if (Failed(hr)) {
        return hr;
    }
    const Box4 box(header);
    ResizeContext(pCtx, count, isCutShort);
    const auto decode = storedNormals
                            ? (withNormals ? &DecodeFloatRecords<true, true> : &DecodeFloatRecords<true, false>)
                            : (withNormals ? &DecodeFloatRecords<false, true> : &DecodeFloatRecords<false, false>);
    decode(pCtx, box, stored, count, output.Data());
    return hr;
}

HRESULT ReadQuantisedRecords(CNimbMeshReaderCtx* pCtx, IStream* pStream, const CStreamingMeshHeader& header,
                             bool storedNormals, bool withNormals, const LockedBuffer& output) {
    const std::size_t count = header.m_numVertices;
    HRESULT hr = S_OK;
    bool isCutShort = false;
    if (storedNormals == withNormals) {
        hr = ReadZeroFilled(pStream, output.Data(), output.Size(), &isCutShort);
    } else if (storedNormals) {
        hr = ReadNarrowed(pStream, count, output.Data(), &isCutShort);
    } else {
        const BYTE* stored = nullptr;
        hr = ReadToTail(pStream, output, count, c_PlainRecord, &stored, &isCutShort);
        WidenRecords(stored, count, output.Data());
    }
    if (Failed(hr)) {
        return hr;
    }
    const Box4 box(header);
    ResizeContext(pCtx, count, isCutShort);
    withNormals ? RememberQuantised<c_NormalsRecord>(pCtx, box, output.Data())
                : RememberQuantised<c_PlainRecord>(pCtx, box, output.Data());
    return hr;
}

/// Gives an array `count` elements of any value. Storage is kept from key frame to key frame while their sizes are
/// similar, and freed when it is far too large.
template <class T>
void ResizeForOverwrite(std::vector<T>& array, std::size_t count) {
    constexpr std::size_t sparePlaces = 65536;
    if (count <= array.capacity() && array.capacity() <= 4 * count + sparePlaces) {
        array.resize(count);
    } else {
        std::vector<T>().swap(array);  // first, so that old and new storage are not needed at once
        array.resize(count);
    }
}

}  // namespace

void ResizeContext(CNimbMeshReaderCtx* pCtx, std::size_t numVertices, bool isCutShort) {
    // Without a previous mesh every delta frame is refused, so an exception between here and the end does no harm.
    pCtx->m_pPrevMesh = nullptr;
    pCtx->m_pPrevPrevMesh = nullptr;
    pCtx->m_IsCutShort = isCutShort;
    pCtx->m_FoldedVertices = 0;
    std::vector<STexCoord>().swap(pCtx->m_TexCoords);
    std::vector<BYTE>().swap(pCtx->m_TransformIndices);
    ResizeForOverwrite(pCtx->m_QuantisedVertices, numVertices);
    ResizeForOverwrite(pCtx->m_Positions, numVertices);
    ResizeForOverwrite(pCtx->m_HistoryPositions, numVertices);
    pCtx->m_pPrevMesh = &pCtx->m_Positions;
}

HRESULT CNimbMeshReader::ReadVertices(CNimbMeshReaderCtx* pCtx, IStream* pStream, CStreamingMeshHeader* pHeader,
                                      INimbBuffer** ppBuffer) {
    return GuardAssertions([&] {
        NIMB_ASSERT(pHeader);
        NIMB_ASSERT(ppBuffer);
        *ppBuffer = nullptr;

        LockedBuffer output;
        const UINT32 stride = VertexStride(m_VertexFormat);
        HRESULT hr = output.Create(m_pBufferAllocator, UINT64{stride} * pHeader->m_numVertices, stride);
        if (Failed(hr)) {
            return hr;
        }
        const bool storedNormals = (pHeader->m_Version.v.m_FormatFlags & NTarnStudioFormatFlags::c_HasNormals) != 0;
        const bool withNormals = (m_VertexFormat & NTarnOutputFormat::c_Normals) != 0;
        const bool asFloat = (m_VertexFormat & NTarnOutputFormat::c_Float) != 0;
        hr = (asFloat ? ReadFloatRecords : ReadQuantisedRecords)(pCtx, pStream, *pHeader, storedNormals, withNormals,
                                                                 output);
        if (Failed(hr)) {
            return hr;
        }
        *ppBuffer = output.Detach();
        return hr;
    });
}

HRESULT CNimbMeshReader::ReadCompressedVertices(CNimbMeshReaderCtx* pCtx, IStream* pStream,
                                                CStreamingMeshHeader* pHeader, INimbBuffer** ppBuffer) {
    return GuardAssertions([&] {
        NIMB_ASSERT(ppBuffer);
        *ppBuffer = nullptr;

        // Here, unlike in the Golomb-coded stream, a failing status is as fatal as a short read.
        CorrectionBox box;
        const HRESULT boxStatus = ReadCorrectionBox(pStream, &box);
        NIMB_ASSERT_MSG(Succeeded(boxStatus), "(((HRESULT)(hr)) >= 0) && bytesRead == sizeof(maxz)");

        const UINT64 numBytes = UINT64{3} * pHeader->m_numVertices;
        if (numBytes > c_MaxBufferBytes) {
            return E_UNEXPECTED;
        }
        std::vector<BYTE> deltas;
        HRESULT hr = ReadBacked(pStream, numBytes, deltas);
        NIMB_ASSERT_MSG(Succeeded(hr) && deltas.size() == numBytes, "numBytes == bytesRead");
        hr = DecodeDeltas(pCtx, pHeader, deltas.data(), static_cast<UINT32>(numBytes), box.min[0], box.min[1],
                          box.min[2], box.max[0], box.max[1], box.max[2], ppBuffer);
        return Failed(hr) ? hr : ReadNormals(pStream, pHeader, *ppBuffer);
    });
}

HRESULT ReadCorrectionBox(IStream* pStream, CorrectionBox* pBox) {
    struct Field {
        float* value;
        const char* text;
    };
    const Field fields[] = {
        {&pBox->min[0], "bytesRead == sizeof(minx)"}, {&pBox->min[1], "bytesRead == sizeof(miny)"},
        {&pBox->min[2], "bytesRead == sizeof(minz)"}, {&pBox->max[0], "bytesRead == sizeof(maxx)"},
        {&pBox->max[1], "bytesRead == sizeof(maxy)"},
    };
    UINT32 bytesRead = 0;
    for (const Field& field : fields) {
        const HRESULT hr = ReadField(pStream, field.value, &bytesRead);
        if (Failed(hr)) {
            return hr;
        }
        NIMB_ASSERT_MSG(bytesRead == sizeof(float), field.text);
    }
    // For the last field, deliberately, a failing status is a violation too.
    const HRESULT hr = ReadField(pStream, &pBox->max[2], &bytesRead);
    NIMB_ASSERT_MSG(Succeeded(hr) && bytesRead == sizeof(float), "(((HRESULT)(hr)) >= 0) && bytesRead == sizeof(maxz)");
    return hr;
}

HRESULT CNimbMeshReader::ReadNormals(IStream* pStream, CStreamingMeshHeader* pHeader, INimbBuffer* pBuffer) {
    return GuardAssertions([&] {
        if ((pHeader->m_Version.v.m_FormatFlags & NTarnStudioFormatFlags::c_HasNormals) == 0) {
            return S_OK;
        }
        LockedBuffer output;
        HRESULT hr = output.Open(pBuffer);
        if (Failed(hr)) {
            return hr;
        }
        const bool withNormals = (m_VertexFormat & NTarnOutputFormat::c_Normals) != 0;
        const bool asFloat = (m_VertexFormat & NTarnOutputFormat::c_Float) != 0;
        const UINT32 stride = VertexStride(m_VertexFormat);
        const UINT32 numVertices = pHeader->m_numVertices;
        NIMB_ASSERT_MSG(UINT64{numVertices} * stride <= output.Size(), "normals exceed the vertex buffer");

        // A failing read does not stop the others: the status of the last vertex counts.
        BYTE* out = output.Data();
        for (UINT32 i = 0; i < numVertices; ++i, out += stride) {
            std::uint16_t q[4] = {};
            for (std::size_t component = 0; component < 3; ++component) {
                const HRESULT status = ReadField(pStream, &q[component]);
                hr = component == 0 || Succeeded(hr) ? status : hr;
            }
            if (!withNormals) {
                continue;
            }
            if (asFloat) {
                float normal[4];
                DequantiseNormal(ToFloat(LoadUint16x4(q))).Store(normal);
                std::memcpy(out + 12, normal, 12);
            } else {
                std::memcpy(out + 8, q, sizeof(q));
            }
        }
        return hr;
    });
}

}  // namespace Nimb
