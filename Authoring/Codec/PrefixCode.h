// Prefix codes of transform-delta sections: lengths from counts, and their code tables. NimbCore/TransformDeltas.cpp
// reads them.
#pragma once

#include "Authoring/Codec/BitWriter.h"
#include "NimbCore/NimbMeshReader.h"

#include <vector>

namespace Nimb::Authoring {

/// Exponential Golomb code of the section's plain numbers: p ones and a zero, then p + order bits.
void WriteGolombNumber(BitWriter& out, UINT32 value, UINT32 order);
UINT32 GolombNumberBits(UINT32 value, UINT32 order);

class PrefixCode {
public:
    PrefixCode() = default;

    /// The best code for these counts among those of at most `maxLength` bits. At least one count is positive.
    PrefixCode(const std::vector<UINT32>& counts, UINT32 maxLength);

    void WriteTable(BitWriter& out) const;
    void WriteSymbol(BitWriter& out, UINT32 symbol) const { out.Write(m_Codes[symbol].code, BitsOf(symbol)); }
    UINT32 BitsOf(UINT32 symbol) const { return static_cast<UINT32>(m_Codes[symbol].numbits); }

private:
    std::vector<UINT32> m_Lengths;  // as the table states them; 0: absent
    std::vector<HuffmanCode> m_Codes;
};

/// What the best code for these counts comes to: its table and all counted symbols.
UINT64 PrefixCodedBits(const std::vector<UINT32>& counts, UINT32 maxLength);

}  // namespace Nimb::Authoring
