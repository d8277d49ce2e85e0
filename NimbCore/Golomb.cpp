// Golomb decoding, code by code: short ones by a table, long ones bit by bit.
#include "NimbCore/Golomb.h"

#include "Nimb/NimbAssert.h"
#include "NimbCore/BitReader.h"
#include "NimbCore/NimbMeshReader.h"

#include <algorithm>

namespace {

/// ceil(log2 m), with 0 for m = 0 and m = 1.
UINT32 CeilLog2(BYTE m) noexcept {
    UINT32 b = 0;
    while ((UINT32{1} << b) < m) {
        ++b;
    }
    return b;
}

/// Centre plus the zigzag-mapped value, modulo 256. Halving the mapped number before or after the reduction is the
/// same, since the bit it drops is 0.
BYTE ToByte(UINT32 value, BYTE center) noexcept {
    return static_cast<BYTE>(center + ((value >> 1) ^ (0u - (value & 1u))));
}

/// The codes of one parameter: what their bits mean, and a table of the short ones.
class GolombCode {
public:
    explicit GolombCode(const GolombStream& stream)
        : m(stream.m),
          center(stream.center),
          remainderBits(CeilLog2(m) > 1 ? CeilLog2(m) - 1 : 0),
          longFrom((UINT32{1} << CeilLog2(m)) - m) {
        if (stream.numBits >= c_MinBitsForTable) {
            FillTable();
        }
    }

    static constexpr UINT32 c_TableBits = 11;
    static constexpr UINT32 c_MinBitsForTable = 64;  // shorter streams are not worth one

    struct Entry {
        BYTE value;
        BYTE length;  // 0: the code does not fit the table
    };

    const BYTE m;
    const BYTE center;
    const UINT32 remainderBits;  // of every code
    const UINT32 longFrom;       // remainders from this one on have an extra bit
    Entry table[1 << c_TableBits] = {};

private:
    /// All codes of at most c_TableBits bits, each at every index that begins with it. Codes grow with their value, but
    /// not strictly: a short remainder follows a long one when the quotient grows by one.
    void FillTable() {
        for (UINT32 quotient = 0; quotient + 1 + remainderBits <= c_TableBits; ++quotient) {
            const UINT32 ones = (UINT32{1} << quotient) - 1;
            for (UINT32 remainder = 0; remainder < (UINT32{1} << remainderBits); ++remainder) {
                const UINT32 code = (ones << (1 + remainderBits)) | remainder;
                const UINT32 length = quotient + 1 + remainderBits;
                if (remainder < longFrom) {
                    FillCode(code, length, quotient * m + remainder);
                } else if (length < c_TableBits) {
                    const UINT32 value = quotient * m + 2 * remainder - longFrom;
                    FillCode(2 * code, length + 1, value);
                    FillCode(2 * code + 1, length + 1, value + 1);
                }
            }
        }
    }

    void FillCode(UINT32 code, UINT32 length, UINT32 value) {
        const UINT32 unused = c_TableBits - length;
        const Entry entry{ToByte(value, center), static_cast<BYTE>(length)};
        std::fill_n(table + (code << unused), std::size_t{1} << unused, entry);
    }
};

/// The way through one stream.
class GolombCursor {
public:
    GolombCursor(const GolombStream& stream, const GolombCode& code) noexcept
        : m_Bits(stream.words, Nimb::CodeWords(stream.numBits)), m_NumBits(stream.numBits), m_Code(code) {}

    bool AtEnd() const noexcept { return m_Bits.Position() >= m_NumBits; }

    /// Whether the end is surely farther on.
    bool HasMoreWords() const noexcept { return m_Bits.HasMoreWords(); }

    /// Past the last word there are zeros to decode: see CheckInside.
    BYTE Next() noexcept {
        m_Bits.Refill();
        const GolombCode::Entry entry = m_Code.table[m_Bits.Peek() >> (64 - GolombCode::c_TableBits)];
        if (__builtin_expect(entry.length == 0, 0)) {
            return NextLong();
        }
        m_Bits.Skip(entry.length);
        return entry.value;
    }

    /// That the codes so far end within the last word. Streams without words have no end to stop at, so loops that
    /// nothing else ends ask after every code.
    void CheckInside() const { NIMB_ASSERT_MSG(!m_Bits.Overrun(), "compressedDataIndex < compressedLen"); }

private:
    BYTE NextLong() noexcept {
        UINT32 quotient = 0;
        while (m_Bits.Read(1) != 0) {
            ++quotient;
        }
        UINT32 remainder = m_Bits.Read(m_Code.remainderBits);
        if (remainder >= m_Code.longFrom) {
            remainder = remainder + remainder + m_Bits.Read(1) - m_Code.longFrom;
        }
        return ToByte(quotient * m_Code.m + remainder, m_Code.center);
    }

    Nimb::WordBitReader m_Bits;
    UINT32 m_NumBits;
    const GolombCode& m_Code;
};

}  // namespace

HRESULT CGolombDecompressor::Decompress(const unsigned int* compressed, unsigned int numBits, BYTE m, BYTE center,
                                        std::vector<BYTE>& out) {
    return Nimb::GuardAssertions([&] {
        out.clear();
        const GolombStream stream{compressed, numBits, m, center};
        const GolombCode code(stream);
        GolombCursor cursor(stream, code);
        while (!cursor.AtEnd()) {
            if (out.size() == Nimb::c_MaxBufferBytes) {
                return E_UNEXPECTED;
            }
            out.push_back(cursor.Next());
            cursor.CheckInside();
        }
        return S_OK;
    });
}

void CGolombDecompressor::DecompressInterleaved(const std::array<GolombStream, 3>& axes, std::size_t maxSymbols,
                                                BYTE* interleaved, std::array<std::size_t, 3>& counts) {
    const GolombCode codes[3] = {GolombCode(axes[0]), GolombCode(axes[1]), GolombCode(axes[2])};
    GolombCursor x(axes[0], codes[0]);
    GolombCursor y(axes[1], codes[1]);
    GolombCursor z(axes[2], codes[2]);
    std::size_t together = 0;
    BYTE* out = interleaved;
    while (together < maxSymbols && x.HasMoreWords() && y.HasMoreWords() && z.HasMoreWords()) {
        out[0] = x.Next();
        out[1] = y.Next();
        out[2] = z.Next();
        out += 3;
        ++together;
    }

    GolombCursor* const cursors[3] = {&x, &y, &z};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        GolombCursor& cursor = *cursors[axis];
        std::size_t count = together;
        cursor.CheckInside();
        for (; !cursor.AtEnd(); ++count) {
            const BYTE value = cursor.Next();
            cursor.CheckInside();
            if (count < maxSymbols) {
                interleaved[3 * count + axis] = value;
            }
        }
        counts[axis] = count;
    }
}
