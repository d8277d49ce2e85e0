#include "Clip/Write/AvcSample.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>
#include <vector>

namespace Nimb::Authoring {
namespace {

constexpr std::size_t c_StartCodeBytes = 3;
constexpr BYTE c_StartCode[c_StartCodeBytes] = {0x00, 0x00, 0x01};

enum class UnitType : BYTE { FirstSlice = 1, LastSlice = 5, SequenceParameters = 7, PictureParameters = 8 };

struct Unit {
    const BYTE* begin;
    const BYTE* end;

    UnitType Type() const { return static_cast<UnitType>(*begin & 0x1F); }
    bool IsSlice() const { return Type() >= UnitType::FirstSlice && Type() <= UnitType::LastSlice; }
};

/// The NAL units of a byte stream, without start codes and without the zeros before them.
std::vector<Unit> SplitByteStream(const BYTE* byteStream, std::size_t size) {
    std::vector<Unit> units;
    const BYTE* const end = byteStream + size;
    const auto nextStartCode = [end](const BYTE* from) {
        return std::search(from, end, std::begin(c_StartCode), std::end(c_StartCode));
    };
    for (const BYTE* code = nextStartCode(byteStream); code != end;) {
        Unit unit{code + c_StartCodeBytes, nextStartCode(code + c_StartCodeBytes)};
        code = unit.end;
        while (unit.end != unit.begin && unit.end[-1] == 0) {
            --unit.end;
        }
        if (unit.begin != unit.end) {
            units.push_back(unit);
        }
    }
    return units;
}

void AppendWithLength(ByteWriter& out, const Bytes& unit, std::size_t lengthBytes) {
    out.Big(unit.size(), lengthBytes);
    out.Append(unit);
}

}  // namespace

Bytes MakeAvcSample(const BYTE* byteStream, std::size_t size, const Bytes& meshUnit) {
    ByteWriter out;
    bool isMeshDue = !meshUnit.empty();
    for (const Unit& unit : SplitByteStream(byteStream, size)) {
        if (isMeshDue && unit.IsSlice()) {
            AppendWithLength(out, meshUnit, 4);
            isMeshDue = false;
        }
        AppendWithLength(out, Bytes(unit.begin, unit.end), 4);
    }
    return out.Take();
}

Bytes MakeAvcConfiguration(const BYTE* byteStream, std::size_t size) {
    Bytes sequence, picture;
    for (const Unit& unit : SplitByteStream(byteStream, size)) {
        if (unit.Type() == UnitType::SequenceParameters) {
            sequence.assign(unit.begin, unit.end);
        } else if (unit.Type() == UnitType::PictureParameters) {
            picture.assign(unit.begin, unit.end);
        }
    }
    if (sequence.size() < 4 || picture.empty()) {
        throw std::invalid_argument("the video encoder gave no parameter sets");
    }
    ByteWriter out;
    out.U8(1);            // version
    out.U8(sequence[1]);  // profile
    out.U8(sequence[2]);  // compatibility
    out.U8(sequence[3]);  // level
    out.U8(0xFC | 3);     // reserved bits, and lengths of 4 bytes
    out.U8(0xE0 | 1);     // reserved bits, and one sequence parameter set
    AppendWithLength(out, sequence, 2);
    out.U8(1);  // picture parameter sets
    AppendWithLength(out, picture, 2);
    if (sequence[1] >= 100) {
        out.U8(0xFC | 1);  // 4:2:0, the one format this project writes
        out.U8(0xF8);      // 8 bits luma
        out.U8(0xF8);      // 8 bits chroma
        out.U8(0);         // extensions
    }
    return out.Take();
}

}  // namespace Nimb::Authoring
