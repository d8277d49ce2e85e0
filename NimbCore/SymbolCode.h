// Symbols of transform-delta sections: prefix codes whose lengths stand in the section, read through tables that the
// next bits of a stream index.
#pragma once

#include "NimbCore/BitReader.h"
#include "NimbCore/NimbMeshReader.h"
#include "NimbCore/TransformDeltas.h"

#include <array>
#include <vector>

namespace Nimb {
namespace TransformDeltas {

/// Fields of a section, and the prefix codes that it states.
class FieldReader {
public:
    using Bits = PairedBitReader<Direction::Forward>;

    struct CodeWord {
        UINT32 symbol;
        UINT32 code;
        UINT32 length;
    };

    explicit FieldReader(const Bits& bits) noexcept : m_Bits(bits) {}

    UINT32 Read(UINT32 numBits);
    bool ReadFlag() { return Read(1) != 0; }
    float ReadFloat();

    /// Exponential Golomb code (J. Teuhola, "A compression method for clustered bit-vectors", 1978): p ones and a zero,
    /// then p + order bits, counted on from where p - 1 ended.
    UINT32 ReadGolomb(UINT32 order);

    /// The words of a code, which end when the next one is read. None unless the code is complete, or has a single
    /// symbol, with no bits.
    const std::vector<CodeWord>& ReadCode(UINT32 numSymbols, UINT32 maxLength);

    Bits& Stream() noexcept { return m_Bits; }

private:
    bool ReadLengths(UINT32 numSymbols, UINT32 maxLength);
    void Collect(const HuffmanEncoding::TreeNode* node, UINT32 code, UINT32 length);

    Bits m_Bits;
    HuffmanEncoding m_Builder;
    std::vector<int> m_Frequencies;
    std::vector<CodeWord> m_Words;
};

/// Numbers of 16 bits, as symbols and extra bits.
class NumberCode {
public:
    /// What one number takes of a stream at most.
    static constexpr UINT32 c_MaxBits = c_MaxNumberCodeLength + 14;

    /// Reads the code. False if it is malformed.
    bool Read(FieldReader& fields, UINT32 numSymbols, NumberBucket (*bucketOf)(UINT32 symbol) = BucketOfSymbol);

    /// The number at the front of a stream that has c_MaxBits bits in its register.
    template <class Bits>
    [[gnu::always_inline]] UINT32 Next(Bits& bits) const noexcept {
        const UINT32 entry = m_Table[bits.Peek() >> (64 - c_MaxNumberCodeLength)];
        const UINT32 numBits = entry & 63;
        const UINT64 taken = bits.Peek() >> 1 >> (63 - numBits);
        bits.Skip(numBits);
        return (static_cast<UINT32>(taken) + (entry >> 16)) & 0xFFFF;
    }

private:
    // The bits of code word and number in the low half. In the high half, what makes the number of them when they are
    // taken as a whole: its base less the code word where it then stands, modulo 2^16.
    std::array<UINT32, 1 << c_MaxNumberCodeLength> m_Table;
};

/// Vertex symbols.
class VertexCode {
public:
    struct Meaning {
        Correction correction;
        UINT32 isEscape;   // 1 or 0
        UINT32 runOffset;  // as in NumberCode, makes a number of vertices of the bits: 1 where the symbol is no run
    };

    /// What one symbol takes of a stream at most.
    static constexpr UINT32 c_MaxBits = c_MaxVertexCodeLength + c_MaxRunExponent;

    /// Reads the code. False if it is malformed.
    bool Read(FieldReader& fields);

    bool HasEscapes() const noexcept { return m_HasEscapes; }

    /// The symbol at the front of a stream that has c_MaxBits bits in its register, and how many vertices it is about.
    template <class Bits>
    [[gnu::always_inline]] const Meaning& Next(Bits& bits, UINT32& numVertices) const noexcept {
        const UINT32 entry = m_Table[bits.Peek() >> (64 - c_MaxVertexCodeLength)];
        const UINT32 numBits = entry & 63;
        const Meaning& meaning = m_Meanings[entry >> 8];
        numVertices = static_cast<UINT32>(bits.Peek() >> 1 >> (63 - numBits)) + meaning.runOffset;
        bits.Skip(numBits);
        return meaning;
    }

private:
    std::array<std::uint16_t, 1 << c_MaxVertexCodeLength> m_Table;  // symbol << 8 | bits of code word and run length
    std::array<Meaning, c_NumVertexSymbols> m_Meanings;
    bool m_HasEscapes = false;
};

}  // namespace TransformDeltas
}  // namespace Nimb
