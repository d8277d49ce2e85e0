// Golomb codes of byte sequences: the entropy coder of vertex version 4. S. W. Golomb, "Run-length encodings", 1966.
//
// Each byte is stored as its signed difference from a centre byte, zigzag-mapped to an unsigned number and written as a
// Golomb code with parameter M: quotient in unary (ones closed by a zero), remainder in truncated binary.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <array>
#include <cstddef>
#include <vector>

/// One code stream with what is needed to decode it.
struct GolombStream {
    const unsigned int* words;  ///< (numBits + 31) >> 5 words (the sum wraps), each read from bit 31 downwards
    unsigned int numBits;       ///< codes start only before this bit; the last one may run to the end of its word
    BYTE m;                     ///< Golomb parameter; 0 is tolerated: every code then stands for the centre
    BYTE center;                ///< the byte that a zero difference stands for
};

/// Stateless; one instance decodes all three axes of a frame. Thread-safe. A code that runs past the last word is an
/// assertion; in report mode Decompress then returns E_UNEXPECTED, and DecompressInterleaved throws.
class CGolombDecompressor {
public:
    /// Clears `out` and appends one byte per code. S_OK, or E_UNEXPECTED beyond Nimb::c_MaxBufferBytes bytes.
    /// std::bad_alloc passes through.
    HRESULT Decompress(const unsigned int* compressed, unsigned int numBits, BYTE m, BYTE center,
                       std::vector<BYTE>& out);

    /// Decodes the streams of three axes into `interleaved`: byte 3k + a is the k-th of axis a. At most `maxSymbols` of
    /// each axis are stored; `counts` receives how many each stream holds. The axes advance together, because each is a
    /// chain of dependent steps and three chains keep a processor busy. An overrun of any axis is the same violation,
    /// so their order does not show.
    void DecompressInterleaved(const std::array<GolombStream, 3>& axes, std::size_t maxSymbols, BYTE* interleaved,
                               std::array<std::size_t, 3>& counts);
};
