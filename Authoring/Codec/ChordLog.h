// A logarithm for estimates of bits.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <cstring>

namespace Nimb::Authoring {

/// Binary logarithm by chords between powers of two: the same on every machine, and fast. For normal positive numbers.
inline double ChordLog2(double value) {
    UINT64 bits = 0;
    std::memcpy(&bits, &value, sizeof(bits));
    return static_cast<double>(bits) * 0x1p-52 - 1023.0;
}

}  // namespace Nimb::Authoring
