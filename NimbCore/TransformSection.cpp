// Parsing transform-delta sections. Everything but the corrections is in the forward stream and read field by field;
// corrections, most of a section, are read from both streams at once.
#include "NimbCore/TransformSection.h"

#include "NimbCore/StreamReader.h"
#include "NimbCore/SymbolCode.h"

#include <algorithm>
#include <memory>
#include <numeric>

namespace Nimb {
namespace TransformDeltas {
namespace {

using Forward = PairedBitReader<Direction::Forward>;
using Backward = PairedBitReader<Direction::Backward>;

INT32 ReadSigned(FieldReader& fields, UINT32 order) {
    return Unzigzag(fields.ReadGolomb(order));
}

bool ReadTransforms(FieldReader& fields, Section& section) {
    section.step = fields.ReadFloat();
    section.partsKept = fields.ReadFlag();
    section.numTransforms = fields.Read(7);
    if (section.numTransforms > c_MaxTransforms) {
        return false;
    }
    if (section.numTransforms == 0) {
        return true;
    }
    section.translationUnit = section.step * NegativePowerOfTwo(fields.Read(4));
    const UINT32 linearOrder = fields.Read(5);
    const UINT32 translationOrder = fields.Read(5);
    for (UINT32 i = 0; i < section.numTransforms; ++i) {
        Transform& transform = section.transforms[i];
        transform.kind = static_cast<Kind>(fields.Read(2));
        transform.extrapolation = static_cast<BYTE>(fields.Read(2));
        if (transform.kind >= Kind_Rigid) {
            transform.linearShift = static_cast<BYTE>(fields.Read(5));
            const std::size_t count = transform.kind == Kind_Rigid ? 3 : 9;
            for (std::size_t k = 0; k < count; ++k) {
                transform.linear[k] = ReadSigned(fields, linearOrder);
            }
        }
        if (transform.kind >= Kind_Translation) {
            for (INT32& component : transform.translation) {
                component = ReadSigned(fields, translationOrder);
            }
        }
    }
    return true;
}

/// The part of every vertex: runs of vertices of one part, named by its rank in the list of most recently named parts
/// (move to front: J. Bentley, D. Sleator, R. Tarjan, V. Wei, "A locally adaptive data compression scheme", 1986).
bool ReadParts(FieldReader& fields, UINT32 numTransforms, std::vector<BYTE>& parts) {
    if (numTransforms <= 1) {
        return true;
    }
    NumberCode ranks;
    NumberCode lengths;
    if (!ranks.Read(fields, numTransforms,
                    [](UINT32 symbol) {
                        return NumberBucket{symbol, 0};
                    }) ||
        !lengths.Read(fields, c_NumNumberSymbols)) {
        return false;
    }
    std::array<BYTE, c_MaxTransforms> recent;
    std::iota(recent.begin(), recent.end(), BYTE{0});
    Forward& bits = fields.Stream();
    for (std::size_t i = 0; i < parts.size();) {
        bits.Refill();
        const UINT32 rank = ranks.Next(bits);
        const std::size_t length = std::size_t{1} + lengths.Next(bits);
        if (length > parts.size() - i) {
            return false;
        }
        std::rotate(recent.begin(), recent.begin() + rank, recent.begin() + rank + 1);
        std::fill_n(parts.begin() + static_cast<std::ptrdiff_t>(i), length, recent[0]);
        i += length;
    }
    return true;
}

/// The codes of corrections.
struct CorrectionCodes {
    VertexCode vertex;
    NumberCode axes[3];
    const NumberCode* ofAxis[3] = {&axes[0], &axes[0], &axes[0]};

    bool Read(FieldReader& fields) {
        if (!vertex.Read(fields)) {
            return false;
        }
        if (vertex.HasEscapes()) {
            const std::size_t numCodes = fields.ReadFlag() ? 3 : 1;
            for (std::size_t axis = 0; axis < numCodes; ++axis) {
                ofAxis[axis] = &axes[axis];
                if (!axes[axis].Read(fields, c_NumNumberSymbols)) {
                    return false;
                }
            }
        }
        return true;
    }
};

/// Goes through the vertices of one stream: settles small corrections and notes where the escapes are. Runs and escapes
/// are no branches, since nothing foretells them.
template <class Bits>
struct VertexPass {
    Bits bits;
    std::size_t next, end;
    UINT32* escapes;

    bool IsOver() const { return next >= end; }

    [[gnu::always_inline]] void Step(const VertexCode& code, Correction* corrections) {
        UINT32 numVertices = 0;
        const VertexCode::Meaning& meaning = code.Next(bits, numVertices);
        corrections[next] = meaning.correction;
        *escapes = static_cast<UINT32>(next);
        escapes += meaning.isEscape;
        next += numVertices;
    }
};

/// Both streams, by turns, so that a processor is busy with one while it waits for the other. False when a run goes
/// beyond its half. `escapes` has room for the number of each vertex and two more; those of the escapes come to be at
/// its front.
bool ReadVertexSymbols(const VertexCode& code, Forward& forward, Backward& backward,
                       std::vector<Correction>& corrections, UINT32* escapes, std::size_t& numEscapes) {
    const std::size_t count = corrections.size(), middle = FirstHalf(count);
    UINT32* const secondEscapes = escapes + middle + 1;
    VertexPass<Forward> first{forward, 0, middle, escapes};
    VertexPass<Backward> second{backward, middle, count, secondEscapes};
    Correction* const out = corrections.data();
    // Two symbols for one refill, which is as dear as a symbol: only long runs take more.
    while (!first.IsOver() && !second.IsOver()) {
        first.bits.Refill();
        second.bits.Refill();
        first.Step(code, out);
        second.Step(code, out);
        if (first.IsOver() || second.IsOver()) {
            break;
        }
        first.bits.Require(VertexCode::c_MaxBits);
        second.bits.Require(VertexCode::c_MaxBits);
        first.Step(code, out);
        second.Step(code, out);
    }
    while (!first.IsOver()) {
        first.bits.Refill();
        first.Step(code, out);
    }
    while (!second.IsOver()) {
        second.bits.Refill();
        second.Step(code, out);
    }
    forward = first.bits;
    backward = second.bits;
    numEscapes = static_cast<std::size_t>(std::copy(secondEscapes, second.escapes, first.escapes) - escapes);
    return first.next == first.end && second.next == second.end;
}

template <class Bits>
[[gnu::always_inline]] inline void ReadEscape(const CorrectionCodes& codes, Bits& bits, Correction& correction) {
    const auto next = [&](std::size_t axis) {
        return static_cast<std::int16_t>(Unzigzag(codes.ofAxis[axis]->Next(bits)));
    };
    bits.Refill();
    correction.axis[0] = next(0);
    correction.axis[1] = next(1);
    bits.Require(NumberCode::c_MaxBits);
    correction.axis[2] = next(2);
}

void ReadEscapes(const CorrectionCodes& codes, Forward& forward, Backward& backward,
                 std::vector<Correction>& corrections, const UINT32* escapes, std::size_t numEscapes) {
    Forward first = forward;
    Backward second = backward;
    const std::size_t half = FirstHalf(numEscapes);
    for (std::size_t i = 0; i < numEscapes - half; ++i) {
        ReadEscape(codes, first, corrections[escapes[i]]);
        ReadEscape(codes, second, corrections[escapes[half + i]]);
    }
    if (numEscapes % 2 != 0) {
        ReadEscape(codes, first, corrections[escapes[half - 1]]);
    }
    forward = first;
    backward = second;
}

bool ReadCorrections(FieldReader& fields, Backward& backward, std::vector<Correction>& corrections) {
    CorrectionCodes codes;
    if (!codes.Read(fields)) {
        return false;
    }
    const std::unique_ptr<UINT32[]> escapes(new UINT32[corrections.size() + 2]);
    std::size_t numEscapes = 0;
    if (!ReadVertexSymbols(codes.vertex, fields.Stream(), backward, corrections, escapes.get(), numEscapes)) {
        return false;
    }
    ReadEscapes(codes, fields.Stream(), backward, corrections, escapes.get(), numEscapes);
    return true;
}

/// A number of bytes, seven bits in each, the lowest first; bit 7 is set in all but the last.
HRESULT ReadSize(IStream* pStream, UINT32* pSize) {
    UINT64 size = 0;
    for (UINT32 shift = 0; shift < 35; shift += 7) {
        BYTE byte = 0;
        UINT32 read = 0;
        const HRESULT hr = ReadField(pStream, &byte, &read);
        if (Failed(hr) || read == 0) {
            return Failed(hr) ? hr : E_UNEXPECTED;
        }
        size |= static_cast<UINT64>(byte & 127) << shift;
        if (byte < 128) {
            *pSize = static_cast<UINT32>(size);
            return size >> 32 == 0 ? S_OK : E_UNEXPECTED;
        }
    }
    return E_UNEXPECTED;
}

bool Parse(const BYTE* bytes, std::size_t numBytes, std::size_t numVertices, std::size_t numKept, Section& section) {
    FieldReader fields(Forward(bytes, numBytes));
    Backward backward(bytes, numBytes);
    if (!ReadTransforms(fields, section)) {
        return false;
    }
    if (section.partsKept) {
        if (numKept != numVertices) {
            return false;
        }
    } else {
        section.parts.resize(numVertices);
        if (!ReadParts(fields, section.numTransforms, section.parts)) {
            return false;
        }
    }
    section.corrections.resize(numVertices);
    return ReadCorrections(fields, backward, section.corrections) &&
           fields.Stream().Bytes() + backward.Bytes() <= numBytes;
}

}  // namespace

HRESULT ReadSection(IStream* pStream, std::size_t numVertices, std::size_t numKept, Section& section) {
    constexpr std::size_t margin = Forward::c_Margin;
    UINT32 numBytes = 0;
    std::vector<BYTE> bytes;
    HRESULT hr = ReadSize(pStream, &numBytes);
    if (Failed(hr) || Failed(hr = ReadBacked(pStream, numBytes, bytes))) {
        return hr;
    }
    if (bytes.size() != numBytes) {
        return E_UNEXPECTED;
    }
    bytes.insert(bytes.begin(), margin, BYTE{0});
    bytes.resize(bytes.size() + margin);
    return Parse(bytes.data() + margin, numBytes, numVertices, numKept, section) ? S_OK : E_UNEXPECTED;
}

}  // namespace TransformDeltas
}  // namespace Nimb
