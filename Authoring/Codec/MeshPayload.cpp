// Writer of the mesh NAL unit.
//
// The payload is escaped by the reader's rule, not by H.264's: a 03 goes before every byte 01..03 that two or more
// zeros precede, and runs of zeros stay as they are. That is exact because
//   - in the escaped bytes, 00 00 03 arises only from an insertion: a 03 of the frame would have got one before it;
//   - the byte behind an inserted 03 is 01..03, so the reader takes the pattern for what it is, and as that byte is not
//     zero, its not looking at the byte again loses no pattern;
//   - that byte belongs to the payload, so no pattern reaches into the reader's blind spot at the end.
// And 00 00 01 cannot arise: every 01 behind two zeros got a 03 in between.
#include "Authoring/Codec/MeshPayload.h"

#include <algorithm>
#include <limits>
#include <stdexcept>

namespace Nimb::Authoring {
namespace {

constexpr BYTE c_StartCode[] = {0x00, 0x00, 0x01};
constexpr BYTE c_NalHeader = 0x18;
constexpr char c_Magic[] = {'T', 'A', 'R', 'N'};

// Bytes that readers do not interpret. Not 00 to 03, so that they end every run of zeros on either side of the size
// field and before the payload; byte 14 splits the size field itself, whose halves may be 00 00 and 01 xx.
constexpr BYTE c_Filler = 0xFF;
constexpr BYTE c_SizeSeparator = 0x03;
constexpr BYTE c_TrailingByte = 0x03;

constexpr std::size_t c_BytesBeforeSize = 4;
constexpr std::size_t c_BytesBehindSize = 9;
constexpr std::size_t c_LeadBytes = 8;
constexpr std::size_t c_MaxPayloadSize = std::numeric_limits<INT32>::max();

/// Calls `insert` before each byte that needs an escape and `append` for every byte of the frame.
template <class Insert, class Append>
void Escape(const BYTE* bytes, std::size_t size, Insert&& insert, Append&& append) {
    std::size_t zeros = 0;
    for (std::size_t i = 0; i < size; ++i) {
        const BYTE byte = bytes[i];
        if (zeros >= 2 && byte >= 0x01 && byte <= 0x03) {
            insert();
        }
        zeros = byte == 0 ? zeros + 1 : 0;
        append(byte);
    }
}

/// Size of the payload, lead bytes included, as it stands in the unit.
std::size_t EscapedPayloadSize(const BYTE* meshFrame, std::size_t size) {
    std::size_t total = c_LeadBytes;
    if (size <= c_MaxPayloadSize) {  // no use in reading a frame that is too long as it is
        Escape(
            meshFrame, size, [&] { ++total; }, [&](BYTE) { ++total; });
    }
    if (size > c_MaxPayloadSize || total > c_MaxPayloadSize) {
        throw std::length_error("mesh frame is too long for a NAL unit");
    }
    return total;
}

}  // namespace

std::vector<BYTE> WriteMeshNalUnit(const BYTE* meshFrame, std::size_t size, NalFraming framing) {
    const std::size_t payloadSize = EscapedPayloadSize(meshFrame, size);
    const auto sizeByte = [&](int index) { return static_cast<BYTE>(payloadSize >> 8 * index); };

    std::vector<BYTE> unit;
    unit.reserve(sizeof(c_StartCode) + 1 + sizeof(c_Magic) + c_BytesBeforeSize + 5 + c_BytesBehindSize + payloadSize +
                 1);
    if (framing == NalFraming::AnnexB) {
        unit.insert(unit.end(), std::begin(c_StartCode), std::end(c_StartCode));
    }
    unit.push_back(c_NalHeader);
    unit.insert(unit.end(), std::begin(c_Magic), std::end(c_Magic));
    unit.insert(unit.end(), c_BytesBeforeSize, c_Filler);
    unit.insert(unit.end(), {sizeByte(0), sizeByte(1), c_SizeSeparator, sizeByte(2), sizeByte(3)});
    unit.insert(unit.end(), c_BytesBehindSize + c_LeadBytes, c_Filler);
    Escape(
        meshFrame, size, [&] { unit.push_back(0x03); }, [&](BYTE byte) { unit.push_back(byte); });
    if (unit.back() == 0) {
        // Zeros at the end of a unit belong to the next start code for whoever splits the stream. The size field does
        // not count this byte.
        unit.push_back(c_TrailingByte);
    }
    return unit;
}

}  // namespace Nimb::Authoring
