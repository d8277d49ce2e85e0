// Golomb codes with truncated-binary remainders of zigzag-mapped bytes: S. W. Golomb, "Run-length encodings", 1966.
// NimbCore/Golomb.cpp reads them.
#pragma once

#include "Authoring/Codec/BitWriter.h"

#include <array>
#include <vector>

namespace Nimb::Authoring {

struct GolombParameters {
    BYTE center = 0;  ///< the byte that a difference of zero stands for
    BYTE m = 1;       ///< the divisor
};

/// The parameters with the shortest code for these bytes. Tries all centres and divisors.
GolombParameters ChooseGolombParameters(const std::array<std::size_t, 256>& counts);

void WriteGolombBytes(const std::vector<BYTE>& bytes, GolombParameters parameters, BitWriter& out);

}  // namespace Nimb::Authoring
