// Golomb decoding. A cursor goes through the stream code by code: by a table of the short codes where a 64-bit window
// lies inside the stream, bit by bit near its end and for long codes.
#include "NimbCore/Golomb.h"

#include "Nimb/NimbAssert.h"
#include "NimbCore/BitReader.h"
#include "NimbCore/NimbMeshReader.h"

#include <algorithm>
#include <cstring>

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
        if (stream.numBits >= c_WindowBits) {
            FillTable();
        }
    }

    static constexpr UINT32 c_TableBits = 11;
    static constexpr UINT32 c_WindowBits = 64;

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
        : m_Words(stream.words),
          m_NumBits(stream.numBits),
          m_WindowEnd(std::min<UINT64>(stream.numBits, UINT64{32} * Nimb::CodeWords(stream.numBits))),
          m_Code(code) {}

    bool AtEnd() const noexcept { return m_Position >= m_NumBits; }

    /// Whether a window of 64 bits, words included that it starts in the middle of, ends before the stream does.
    bool HasWindow() const noexcept { return m_Position + GolombCode::c_WindowBits <= m_WindowEnd; }

    /// Decodes a code from a window. Requires HasWindow.
    BYTE NextInWindow() {
        UINT64 window;
        std::memcpy(&window, m_Words + (m_Position >> 5), sizeof(window));
        window = ((window << 32) | (window >> 32)) << (m_Position & 31);
        const GolombCode::Entry entry = m_Code.table[window >> (64 - GolombCode::c_TableBits)];
        if (__builtin_expect(entry.length == 0, 0)) {
            return Next();
        }
        m_Position += entry.length;
        return entry.value;
    }

    /// Decodes a code bit by bit, anywhere.
    BYTE Next() {
        UINT32 quotient = 0;
        while (NextBit() != 0) {
            ++quotient;
        }
        UINT32 remainder = 0;
        for (UINT32 i = 0; i < m_Code.remainderBits; ++i) {
            remainder = 2 * remainder + NextBit();
        }
        if (remainder >= m_Code.longFrom) {
            remainder = remainder + remainder + NextBit() - m_Code.longFrom;
        }
        return ToByte(quotient * m_Code.m + remainder, m_Code.center);
    }

    BYTE NextAnywhere() { return HasWindow() ? NextInWindow() : Next(); }

private:
    UINT32 NextBit() {
        const UINT64 compressedDataIndex = m_Position >> 5;
        const UINT64 compressedLen = Nimb::CodeWords(m_NumBits);
        NIMB_ASSERT(compressedDataIndex < compressedLen);
        const UINT32 bit = (m_Words[compressedDataIndex] >> (31 - (m_Position & 31))) & 1;
        ++m_Position;
        return bit;
    }

    const unsigned int* m_Words;
    UINT64 m_Position = 0;
    UINT32 m_NumBits;
    UINT64 m_WindowEnd;
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
            out.push_back(cursor.NextAnywhere());
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
    while (together < maxSymbols && x.HasWindow() && y.HasWindow() && z.HasWindow()) {
        out[0] = x.NextInWindow();
        out[1] = y.NextInWindow();
        out[2] = z.NextInWindow();
        out += 3;
        ++together;
    }

    GolombCursor* const cursors[3] = {&x, &y, &z};
    for (std::size_t axis = 0; axis < 3; ++axis) {
        GolombCursor& cursor = *cursors[axis];
        std::size_t count = together;
        for (; !cursor.AtEnd(); ++count) {
            const BYTE value = cursor.NextAnywhere();
            if (count < maxSymbols) {
                interleaved[3 * count + axis] = value;
            }
        }
        counts[axis] = count;
    }
}
