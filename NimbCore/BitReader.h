// The bits of code streams: one reader for streams of 32-bit words (Golomb), one for streams of bytes (EdgeBreaker),
// one for streams of bytes that come in pairs (transform deltas). Decoders look at several bits at once and then say
// how many of them were theirs.
//
// Huffman streams alone are walked without it: they are taken a whole word at a time, and a reader that can also stop
// between words made decoding them 3 % to 6 % slower.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace Nimb {

/// Words of a code stream of `numBits` bits. The sum wraps, as the format says: the 31 longest streams have no words,
/// and whoever decodes one finds it overrun at its first bit.
constexpr UINT32 CodeWords(UINT32 numBits) noexcept {
    return (numBits + 31) >> 5;
}

/// Bits of 32-bit words, each read from bit 31 downwards, words in order. Past the last word come zeros, without end: a
/// decoder reads on and asks `Overrun` where its format says what that means.
///
/// Holds up to 64 bits in a register, topped up word by word.
class WordBitReader {
public:
    WordBitReader(const UINT32* words, std::size_t numWords) noexcept
        : m_Next(words), m_Begin(words), m_End(words + numWords) {}

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

    /// How many bits have been read or skipped.
    UINT64 Position() const noexcept { return static_cast<UINT64>(m_Next - m_Begin) * 32 + m_Padding - m_Available; }

    /// Whether there are words that are not in the register yet. Cheaper to ask than Position.
    bool HasMoreWords() const noexcept { return m_Next != m_End; }

    /// Whether bits beyond the last word have been.
    bool Overrun() const noexcept { return m_Padding > m_Available; }

private:
    UINT64 m_Bits = 0;
    UINT64 m_Padding = 0;    // zero bits added behind the last word
    UINT32 m_Available = 0;  // bits in the register, padding included
    const UINT32* m_Next;
    const UINT32* m_Begin;
    const UINT32* m_End;
};

/// Bits of bytes, each read from bit 7 downwards, bytes in order. Zeros stand in for bytes behind the end.
class ByteBitReader {
public:
    ByteBitReader(const BYTE* bytes, std::size_t numBytes) noexcept : m_Bytes(bytes), m_NumBytes(numBytes) {}

    static constexpr UINT32 c_PeekBits = 57;  ///< of a 64-bit word after dropping up to 7 bits

    /// The unread bits, the next one in bit 63. c_PeekBits of them count.
    UINT64 Peek() const noexcept {
        const UINT64 first = m_Position >> 3;
        BYTE raw[8] = {};
        if (m_NumBytes >= 8 && first <= m_NumBytes - 8) {
            std::memcpy(raw, m_Bytes + first, 8);
        } else if (first < m_NumBytes) {
            std::memcpy(raw, m_Bytes + first, static_cast<std::size_t>(m_NumBytes - first));
        }
        UINT64 bits;
        std::memcpy(&bits, raw, sizeof(bits));
        return __builtin_bswap64(bits) << (m_Position & 7);
    }

    void Skip(UINT32 count) noexcept { m_Position += count; }

    bool AtEnd() const noexcept { return m_Position >= m_NumBytes * 8; }

private:
    const BYTE* m_Bytes;
    UINT64 m_NumBytes;
    UINT64 m_Position = 0;
};

/// Which way a stream goes through its bytes. In each byte bit 7 comes first either way.
enum class Direction { Forward, Backward };

/// One of the two streams that share an array of bytes: the forward one from its first byte on, the backward one from
/// its last. Each may run into the other's bytes and beyond, where bits are zero: `Bytes` tells in the end.
///
/// Holds up to 64 bits in a register. What refills it is loaded from where the refill before ended, which is known long
/// before the last code's length is: two streams read in turn keep a processor busy.
template <Direction D>
class PairedBitReader {
public:
    static constexpr std::size_t c_Margin = 16;  ///< zeros wanted on both sides of the bytes

    PairedBitReader(const BYTE* bytes, std::size_t numBytes) noexcept
        : m_Begin(D == Direction::Forward ? bytes : bytes + numBytes),
          m_Limit(D == Direction::Forward ? bytes + numBytes + c_Margin / 2 : bytes - c_Margin / 2),
          m_Next(m_Begin) {}

    /// Makes at least 56 bits available in the register.
    void Refill() noexcept {
        m_Bits |= Load() >> m_Available;
        Advance((63 - m_Available) >> 3);
        m_Available |= 56;
    }

    /// Refills if there are fewer than `count` bits: for when that is rare, so that it costs next to nothing.
    void Require(UINT32 count) noexcept {
        if (m_Available < count) {
            Refill();
        }
    }

    /// The unread bits, the next one in bit 63.
    UINT64 Peek() const noexcept { return m_Bits; }

    /// Drops `count` (at most 56) bits that Refill made available.
    void Skip(UINT32 count) noexcept {
        m_Bits <<= count;
        m_Available -= count;
    }

    /// The next `count` bits (0 to 32), first bit most significant.
    UINT32 Read(UINT32 count) noexcept {
        Refill();
        const auto value = static_cast<UINT32>(m_Bits >> 1 >> (63 - count));
        Skip(count);
        return value;
    }

    /// How many bytes the bits read so far are from. Behind the array the count stops, but not before it is larger than
    /// the array.
    std::size_t Bytes() const noexcept {
        const auto loaded = static_cast<std::size_t>(D == Direction::Forward ? m_Next - m_Begin : m_Begin - m_Next);
        return loaded - (m_Available >> 3);
    }

private:
    UINT64 Load() const noexcept {
        UINT64 bits;
        std::memcpy(&bits, D == Direction::Forward ? m_Next : m_Next - 8, sizeof(bits));
        return D == Direction::Forward ? __builtin_bswap64(bits) : bits;
    }

    void Advance(std::size_t count) noexcept {
        if (D == Direction::Forward) {
            m_Next = std::min(m_Next + count, m_Limit);
        } else {
            m_Next = std::max(m_Next - count, m_Limit);
        }
    }

    const BYTE* m_Begin;
    const BYTE* m_Limit;
    const BYTE* m_Next;
    UINT64 m_Bits = 0;
    UINT32 m_Available = 0;  // bits in the register
};

}  // namespace Nimb
