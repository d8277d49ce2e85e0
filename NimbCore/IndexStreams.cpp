// Index sections: raw indices, byte-delta triangle lists and strips, and the EdgeBreaker payload.
//
// Both byte-delta decoders read the section through one staging buffer of 8192 bytes that is topped up in place. Each
// checks once per element what is left of it and then reads without further checks.
#include "NimbCore/IndexStreams.h"
#include "Nimb/NimbAssert.h"
#include "NimbCore/EdgeBreaker.h"
#include "NimbCore/LockedBuffer.h"
#include "NimbCore/StreamReader.h"

#include <algorithm>
#include <cstring>

namespace Nimb {
namespace {

namespace IndexVersion = NTarnStudioIndexVersion;

constexpr INT32 c_StagingBytes = 8192;

/// Reads `bytes` bytes to `destination` and zeroes what the stream does not deliver.
HRESULT ReadRawIndices(IStream* pStream, BYTE* destination, UINT32 bytes) {
    UINT32 read = 0;
    const HRESULT hr = pStream->Read(destination, bytes, &read);
    std::memset(destination + read, 0, bytes - read);
    return hr;
}

/// Output that no triangle covers is zero.
void ZeroUnwritten(BYTE* out, UINT64 written, UINT outLen) {
    std::memset(out + written, 0, static_cast<std::size_t>(outLen - written));
}

/// The window of the section that the byte-delta decoders look through.
struct Staging {
    /// Moves the leftover to the front and reads as much of the section as fits behind it.
    HRESULT Refill(IStream* pStream) {
        const INT32 leftover = end - position;
        std::memmove(bytes, bytes + position, static_cast<std::size_t>(leftover));
        const LONGLONG wanted = std::min<LONGLONG>(remaining, c_StagingBytes - leftover);
        UINT32 read = 0;
        const HRESULT hr = pStream->Read(bytes + leftover, static_cast<UINT32>(wanted), &read);
        position = 0;
        end = leftover + static_cast<INT32>(read);
        remaining -= read;
        return hr;
    }

    INT32 Left() const noexcept { return end - position; }

    BYTE bytes[c_StagingBytes + 4] = {};  // 4 spare bytes, so that a delta can be loaded as a whole word
    INT32 position = 0;
    INT32 end = 0;
    LONGLONG remaining = 0;  // section bytes not yet read from the stream
};

/// How to read the three little-endian deltas of a triangle, by its control byte.
struct ListDeltas {
    BYTE offset[4] = {};  // from the control byte
    BYTE unused[4] = {};  // bits of a 32-bit word that a delta leaves free
};

struct ListDeltaTable {
    // Where the next triangle is must be known first, so it takes one load, from a table of its own.
    BYTE total[256] = {};  // bytes, the control byte included
    ListDeltas deltas[256] = {};

    constexpr ListDeltaTable() {
        for (UINT32 control = 0; control < 256; ++control) {
            ListDeltas& d = deltas[control];
            BYTE size = 1;
            for (UINT32 k = 0; k < 3; ++k) {
                const UINT32 width = ((control >> (2 * k)) & 3) + 1;
                d.offset[k] = size;
                d.unused[k] = static_cast<BYTE>(32 - 8 * width);
                size = static_cast<BYTE>(size + width);
            }
            total[control] = size;
        }
    }
};

constexpr ListDeltaTable c_ListDeltas;

/// Longest triangle: a control byte and three deltas of four bytes.
constexpr INT32 c_LongestTriangle = 13;

/// The delta at `p`, where 4 bytes can be read.
UINT32 LoadDelta(const BYTE* p, BYTE unused) noexcept {
    UINT32 word;
    std::memcpy(&word, p, sizeof(word));
    return static_cast<UINT32>(static_cast<INT32>(word << unused) >> unused);
}

/// Adds the deltas of the triangle at `p` to `index` and returns where the next one is.
const BYTE* TakeTriangle(const BYTE* p, UINT32 (&index)[3]) noexcept {
    const ListDeltas& deltas = c_ListDeltas.deltas[*p];
    for (std::size_t k = 0; k < 3; ++k) {
        index[k] += LoadDelta(p + deltas.offset[k], deltas.unused[k]);
    }
    return p + c_ListDeltas.total[*p];
}

/// A triangle of three single bytes, by far the most frequent kind. Where the next one is does not wait for its control
/// byte: the branch that led here foretold it.
const BYTE* TakeShortTriangle(const BYTE* p, UINT32 (&index)[3]) noexcept {
    for (std::size_t k = 0; k < 3; ++k) {
        index[k] += static_cast<UINT32>(static_cast<signed char>(p[1 + k]));
    }
    return p + 4;
}

HRESULT DecodeByteDeltaList(IStream* pStream, const CStreamingMeshHeader& header, BYTE* out, UINT outLen) {
    Staging staging;
    HRESULT hr = ReadField(pStream, &staging.remaining);
    if (Failed(hr)) {
        return hr;
    }
    if (UINT64{12} * header.m_numFaces > outLen) {
        return E_UNEXPECTED;
    }
    ZeroUnwritten(out, UINT64{12} * header.m_numFaces, outLen);
    UINT32 index[3] = {0, 0, 0};
    for (UINT32 face = 0; face < header.m_numFaces;) {
        if (staging.Left() < c_LongestTriangle && staging.remaining >= 1 && Failed(hr = staging.Refill(pStream))) {
            return hr;
        }
        const BYTE* p = staging.bytes + staging.position;
        const BYTE* const end = staging.bytes + staging.end;
        if (staging.Left() < c_LongestTriangle) {
            // Near the end of the section. Deltas are checked together: they are short when the last of them is.
            const BYTE* const bufe = end;
            const BYTE* const bufi = p + 1;
            const INT32 numBytes = c_ListDeltas.total[*p] - 1;
            NIMB_ASSERT(bufe - bufi >= numBytes);
            p = TakeTriangle(p, index);
            std::memcpy(out, index, sizeof(index));
            out += sizeof(index);
            ++face;
        } else {
            // Triangles that the staging buffer surely holds in full need no check of their own.
            const BYTE* const lastSafe = end - c_LongestTriangle;
            for (; p <= lastSafe && face < header.m_numFaces; ++face, out += sizeof(index)) {
                p = *p == 0 ? TakeShortTriangle(p, index) : TakeTriangle(p, index);
                std::memcpy(out, index, sizeof(index));
            }
        }
        staging.position = static_cast<INT32>(p - staging.bytes);
    }
    return hr;
}

/// Version 3 never had a decoder. It is refused as soon as there is a triangle.
HRESULT RejectList(IStream* pStream, const CStreamingMeshHeader& header, BYTE* out, UINT outLen) {
    ZeroUnwritten(out, 0, outLen);
    LONGLONG compressedSize = 0;
    const HRESULT hr = ReadField(pStream, &compressedSize);
    if (Failed(hr) || header.m_numFaces == 0) {
        return hr;
    }
    NIMB_ASSERT_MSG(compressedSize >= 1, "Out of input");
    NIMB_ASSERT_MSG(false, "Overwrote end of buffer. This should never happen!");
    return E_UNEXPECTED;
}

HRESULT DecodeEdgeBreaker(IStream* pStream, BYTE* out, UINT outLen) {
    UINT32 payloadSize = 0;
    ReadField(pStream, &payloadSize);  // deliberately unchecked: a missing size is an empty payload
    std::vector<BYTE> payload;
    const HRESULT hr = ReadBacked(pStream, payloadSize, payload);

    // What did arrive is decoded even if the read failed, so a malformed payload is a violation either way.
    std::vector<TarnMeshFace> meshFaces;
    EdgeBreaker::CEdgeBreaker().Decompress(payload, &meshFaces);
    const UINT64 ibLen = outLen;
    NIMB_ASSERT(3 * meshFaces.size() * sizeof(UINT) <= ibLen);
    const std::size_t written = meshFaces.size() * sizeof(TarnMeshFace);
    if (written != 0) {
        std::memcpy(out, meshFaces.data(), written);
    }
    ZeroUnwritten(out, written, outLen);
    return hr;
}

}  // namespace

HRESULT DecompressTriangleList(IStream* pStream, CStreamingMeshHeader* pHeader, BYTE* out, UINT outLen) {
    switch (pHeader->m_Version.v.m_IndexVersion) {
        case IndexVersion::c_UncompressedIndices:
            return ReadRawIndices(pStream, out, outLen);
        case IndexVersion::c_FixedByteDeltaEncodedIndices:
            return DecodeByteDeltaList(pStream, *pHeader, out, outLen);
        case IndexVersion::c_Rejected:
            return RejectList(pStream, *pHeader, out, outLen);
        case IndexVersion::c_EdgeBreakerIndices:
            return DecodeEdgeBreaker(pStream, out, outLen);
        default:
            NIMB_ASSERT_MSG(false, "Unexpected file version");
            return E_UNEXPECTED;
    }
}

HRESULT DecompressTriangleStrips(IStream* pStream, CStreamingMeshHeader* pHeader, BYTE* out, UINT outLen) {
    NIMB_ASSERT(pHeader->m_Version.v.m_IndexVersion == NTarnStudioIndexVersion::c_FixedByteDeltaEncodedIndices ||
                pHeader->m_Version.v.m_IndexVersion == NTarnStudioIndexVersion::c_UncompressedIndices);
    if (pHeader->m_Version.v.m_IndexVersion == IndexVersion::c_UncompressedIndices) {
        return ReadRawIndices(pStream, out, outLen);
    }

    Staging staging;
    UINT32 reserved = 0;
    HRESULT hr = ReadField(pStream, &staging.remaining);
    if (Failed(hr) || Failed(hr = ReadField(pStream, &reserved))) {
        return hr;
    }
    const UINT32 capacity = outLen / 4;
    UINT32 value = 0;
    for (UINT32 written = 0; written < pHeader->m_numIndices; ++written) {
        if (staging.Left() < 5 && staging.remaining >= 1) {
            if (staging.position > staging.end) {
                return E_UNEXPECTED;
            }
            if (Failed(hr = staging.Refill(pStream))) {
                return hr;
            }
        } else if (staging.position >= c_StagingBytes) {
            return E_UNEXPECTED;
        }

        const INT32 numBytes = staging.bytes[staging.position];
        const INT32 bufi = staging.position + 1;
        const INT32 bufe = staging.end;
        NIMB_ASSERT(bufe - bufi >= numBytes);
        if (bufi >= c_StagingBytes) {
            return E_UNEXPECTED;
        }
        NIMB_ASSERT_MSG(numBytes >= 1 && numBytes <= 4, "Incorrect number of bytes");
        NIMB_ASSERT_MSG(written < capacity, "DecompressTriangleStrips: Buffer overflow!! Unexpected.");

        // Strips, unlike lists, store their deltas big-endian.
        UINT32 word;
        std::memcpy(&word, staging.bytes + bufi, sizeof(word));
        const INT32 delta = static_cast<INT32>(__builtin_bswap32(word)) >> (32 - 8 * numBytes);
        staging.position = bufi + numBytes;
        value += static_cast<UINT32>(delta);
        std::memcpy(out + std::size_t{4} * written, &value, sizeof(value));
    }
    return hr;
}

HRESULT CNimbMeshReader::ReadIndices(CNimbMeshReaderCtx* pCtx, IStream* pStream, CStreamingMeshHeader* pHeader,
                                     INimbBuffer** ppBuffer) {
    return GuardAssertions([&] {
        NIMB_ASSERT(pHeader);
        NIMB_ASSERT(pHeader->m_Version.v.m_VertexVersion == NTarnStudioVertexVersion::c_UnwrappedXYZUV);
        NIMB_ASSERT(ppBuffer);
        *ppBuffer = nullptr;

        // The product wraps at 32 bits, and the decoders stay inside what it leaves.
        LockedBuffer output;
        HRESULT hr = output.Allocate(m_pBufferAllocator, UINT32{4} * pHeader->m_numIndices, 4);
        if (Failed(hr)) {
            return hr;
        }
        // The flags byte as a whole decides between lists and strips, here and for the attribute.
        const bool isList = pHeader->m_Version.v.m_FormatFlags != NTarnStudioFormatFlags::c_TriStrips;
        NIMBCORE::CComPtr<INimbAttributesCore> pAttributes;
        if (Succeeded(output.Get()->QueryInterface(IID_INimbAttributesCore, reinterpret_cast<void**>(&pAttributes)))) {
            pAttributes->SetUINT32(NimbAttrib_UseTriList, isList ? 1 : 0);
        }
        if (Failed(hr = output.Lock())) {
            return hr;
        }

        hr = (isList ? DecompressTriangleList : DecompressTriangleStrips)(pStream, pHeader, output.Data(),
                                                                          output.Size());
        if (Failed(hr)) {
            return hr;
        }
        pCtx->m_pIndexBuffer = output.Get();
        pCtx->m_IndexBytes = output.Size();
        *ppBuffer = output.Detach();
        return S_OK;
    });
}

}  // namespace Nimb
