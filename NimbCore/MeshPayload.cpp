// FindCompressedMesh: finds the mesh NAL unit in a video sample and removes its escaping.
//
// The unit, offsets from its start code; Authoring/Codec/MeshPayload.cpp writes it, Docs/format.md has the reasons:
//
//     0  00 00 01      start code
//     3  18 or 15      NAL header, the whole byte
//     4  "TARN"
//     8  4 bytes       not interpreted
//    12  2 bytes       payload size, bits 0-15
//    14  1 byte        not part of the size
//    15  2 bytes       payload size, bits 16-31; signed, counts the escaped bytes
//    17  9 bytes       not interpreted
//    26  payload       escaped; its first 8 bytes stand before the mesh frame header
#include "Nimb/NimbAssert.h"
#include "NimbCore/MeshUnit.h"
#include "NimbCore/NimbCrossPlatform.h"

#include <cstring>
#include <limits>
#include <utility>

namespace NimbCrossPlatform {
namespace {

constexpr std::size_t c_MagicOffset = 4;
constexpr std::size_t c_PayloadOffset = 26;
constexpr UINT32 c_MeshFrameOffset = 8;

/// Offset of the first 00 00 `third` that lies wholly in data[from, size), or `size`. `third` is not 0.
/// Only the last of three bytes is looked at first: when it is neither 0 nor `third`, none of the three starts a match.
std::size_t FindBehindZeroPair(const std::uint8_t* data, std::size_t from, std::size_t size, std::uint8_t third) {
    while (from < size && size - from >= 3) {
        const std::uint8_t last = data[from + 2];
        if (last == 0) {
            ++from;
        } else if (last == third && data[from] == 0 && data[from + 1] == 0) {
            return from;
        } else {
            from += 3;
        }
    }
    return size;
}

/// Offset of the mesh unit's start code, or `size`. A scan that counted one step for every cursor movement and stopped
/// after size - 3 steps would end no earlier: the cursor is never behind the steps, so it leaves the sample first.
std::size_t FindMeshNalUnit(const std::uint8_t* data, std::size_t size) {
    std::size_t start = 0;
    while ((start = FindBehindZeroPair(data, start, size, 0x01)) != size) {
        const std::size_t remaining = size - start;
        if (remaining < c_MagicOffset + sizeof(c_MeshUnitMagic)) {
            break;  // too short for this candidate and for every later one
        }
        if (!IsMeshNalHeader(data[start + 3])) {
            start += 3;
        } else if (IsMeshNalUnit(data + start + 3, remaining - 3)) {
            return start;
        } else {
            start += 5;  // deliberate: past the first magic byte, even when a start code begins there
        }
    }
    return size;
}

/// The signed size field as it stands, or 0 when it is not positive.
UINT32 ReadPayloadSize(const std::uint8_t* unit) {
    const UINT32 size = UINT32{unit[12]} | UINT32{unit[13]} << 8 | UINT32{unit[15]} << 16 | UINT32{unit[16]} << 24;
    return size <= static_cast<UINT32>(std::numeric_limits<INT32>::max()) ? size : 0;
}

/// Drops the 03 of every 00 00 03 that a byte of at most 03 follows. Deliberately unlike H.264, that byte does not
/// start a further pattern, and a pattern cannot begin in the last three bytes. Returns the number of bytes written to
/// `out`, which holds `meshSize`.
UINT32 Unescape(const std::uint8_t* in, UINT32 meshSize, BYTE* out) {
    UINT32 outputIndex = 0;
    const auto copy = [&](std::size_t begin, std::size_t end) {
        NIMB_ASSERT_MSG(end - begin <= meshSize - outputIndex, "outputIndex < meshSize");
        std::memcpy(out + outputIndex, in + begin, end - begin);
        outputIndex += static_cast<UINT32>(end - begin);
    };

    std::size_t copied = 0;
    std::size_t pattern = 0;
    while ((pattern = FindBehindZeroPair(in, pattern, meshSize, 0x03)) != meshSize) {
        if (meshSize - pattern > 3 && in[pattern + 3] <= 3) {
            copy(copied, pattern + 2);
            copied = pattern + 3;
            pattern += 4;
        } else {
            pattern += 3;
        }
    }
    copy(copied, meshSize);
    return outputIndex;
}

Stream* ReadMeshNalUnit(const std::uint8_t* unit, std::size_t size) {
    if (size < c_PayloadOffset) {
        return nullptr;
    }
    const UINT32 meshSize = ReadPayloadSize(unit);
    if (meshSize > size - c_PayloadOffset) {
        return nullptr;
    }
    std::unique_ptr<BYTE[]> block(new BYTE[meshSize]);
    const UINT32 unescapedSize = Unescape(unit + c_PayloadOffset, meshSize, block.get());
    if (unescapedSize < c_MeshFrameOffset) {
        return nullptr;
    }
    return new Stream(std::move(block), unescapedSize, c_MeshFrameOffset);
}

}  // namespace

Stream* FindCompressedMesh(const std::uint8_t* data, std::size_t size) try {
    const std::size_t start = FindMeshNalUnit(data, size);
    return start != size ? ReadMeshNalUnit(data + start, size - start) : nullptr;
} catch (const Nimb::AssertionFailure&) {
    return nullptr;
}

}  // namespace NimbCrossPlatform
