// Writing code bits into 32-bit words, each from bit 31 downwards: the mirror of Nimb::WordBitReader.
#pragma once

#include "Authoring/ByteWriter.h"

namespace Authoring {

class BitWriter {
public:
    /// Appends the low `count` (0 to 32) bits of `value`, the most significant of them first.
    void Write(UINT32 value, UINT32 count) {
        for (UINT32 i = count; i-- > 0;) {
            if ((m_NumBits & 31) == 0) {
                m_Words.push_back(0);
            }
            m_Words.back() |= ((value >> i) & 1) << (31 - (m_NumBits & 31));
            ++m_NumBits;
        }
    }

    /// Appends `count` one bits and the zero bit that closes them.
    void WriteUnary(UINT32 count) {
        for (UINT32 i = 0; i < count; ++i) {
            Write(1, 1);
        }
        Write(0, 1);
    }

    UINT32 NumBits() const { return m_NumBits; }
    const std::vector<UINT32>& Words() const { return m_Words; }

    void AppendTo(ByteWriter& out) const {
        for (const UINT32 word : m_Words) {
            out.U32(word);
        }
    }

private:
    std::vector<UINT32> m_Words;
    UINT32 m_NumBits = 0;
};

}  // namespace Authoring
