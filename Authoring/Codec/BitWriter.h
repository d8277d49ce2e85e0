// Writing code bits into 32-bit words, each from bit 31 downwards, or into bytes, each from bit 7 downwards: the mirror
// of Nimb::WordBitReader and Nimb::PairedBitReader.
#pragma once

#include "Authoring/Codec/ByteWriter.h"

namespace Nimb::Authoring {

class BitWriter {
public:
    /// Appends the low `count` (0 to 32) bits of `value`, the most significant of them first.
    void Write(UINT32 value, UINT32 count) {
        if (count == 0) {
            return;
        }
        const UINT32 room = (32 - (m_NumBits & 31)) & 31;  // in the last word
        if (room != 0) {
            m_Words.back() |= value << (32 - count) >> (32 - room);
        }
        if (count > room) {
            m_Words.push_back(static_cast<UINT32>(value << (32 - (count - room))));
        }
        m_NumBits += count;
    }

    /// Appends `count` one bits and the zero bit that closes them.
    void WriteUnary(UINT32 count) {
        for (; count >= 31; count -= 31) {
            Write(0x7FFFFFFF, 31);
        }
        Write(((UINT32{1} << count) - 1) << 1, count + 1);
    }

    UINT32 NumBits() const { return m_NumBits; }
    const std::vector<UINT32>& Words() const { return m_Words; }

    void AppendTo(ByteWriter& out) const {
        for (const UINT32 word : m_Words) {
            out.U32(word);
        }
    }

    Bytes ToBytes() const {
        Bytes bytes((m_NumBits + 7) / 8);
        for (std::size_t i = 0; i < bytes.size(); ++i) {
            bytes[i] = static_cast<BYTE>(m_Words[i / 4] >> (24 - 8 * (i % 4)));
        }
        return bytes;
    }

private:
    std::vector<UINT32> m_Words;
    UINT32 m_NumBits = 0;
};

}  // namespace Nimb::Authoring
