// Bits of 32-bit words, as the transform deltas read them. Golomb, Huffman and EdgeBreaker streams are walked by their
// own decoders: those look up or branch on several bits at once, and a reader between them and the words costs time.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <cstddef>

namespace Nimb {

/// Words of a code stream of `numBits` bits. The sum wraps, as the format says: the 31 longest streams have no words,
/// and whoever decodes one finds it overrun at its first bit.
constexpr UINT32 CodeWords(UINT32 numBits) noexcept {
    return (numBits + 31) >> 5;
}

/// Bits of 32-bit words, each read from bit 31 downwards, words in order.
///
/// Holds up to 64 bits in a register, topped up word by word. Past the last word it delivers zeros and remembers how
/// far it went: a decoder reads on and asks `Overrun` once, where its format says what that means.
class WordBitReader {
public:
    WordBitReader(const UINT32* words, std::size_t numWords) noexcept : m_Next(words), m_End(words + numWords) {}

    /// Makes at least 32 bits available in the register.
    void Refill() noexcept {
        if (m_Available < 32) {
            if (m_Next != m_End) {
                m_Bits |= static_cast<UINT64>(*m_Next++) << (32 - m_Available);
            } else {
                m_Padding += 32;
            }
            m_Available += 32;
        }
    }

    /// The unread bits, the next one in bit 63. At least 32 of them count after Refill.
    UINT64 Peek() const noexcept { return m_Bits; }

    /// Drops `count` (at most 32) bits that Refill made available.
    void Skip(UINT32 count) noexcept {
        m_Bits <<= count;
        m_Available -= count;
    }

    /// The next `count` bits (0 to 32), first bit most significant.
    UINT32 Read(UINT32 count) noexcept {
        Refill();
        const UINT32 value = count == 0 ? 0 : static_cast<UINT32>(m_Bits >> (64 - count));
        Skip(count);
        return value;
    }

    /// Whether bits beyond the last word have been consumed.
    bool Overrun() const noexcept { return m_Padding > m_Available; }

private:
    UINT64 m_Bits = 0;
    UINT64 m_Padding = 0;    // zero bits added behind the last word
    UINT32 m_Available = 0;  // bits in the register, padding included
    const UINT32* m_Next;
    const UINT32* m_End;
};

}  // namespace Nimb
