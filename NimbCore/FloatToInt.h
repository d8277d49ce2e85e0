// Float to integer as the format defines it.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <limits>

namespace Nimb {

/// Truncates toward zero, saturates at 32 bits, and gives 0 for NaN; never undefined behaviour.
inline INT32 TruncateToInt32(float value) noexcept {
    if (!(value < 2147483648.0f)) {
        return value != value ? 0 : std::numeric_limits<INT32>::max();
    }
    return value > -2147483648.0f ? static_cast<INT32>(value) : std::numeric_limits<INT32>::min();
}

/// The low 16 bits of TruncateToInt32: what quantised records store, values beyond 16 bits wrapping.
inline std::int16_t TruncateToInt16(float value) noexcept {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(static_cast<UINT32>(TruncateToInt32(value))));
}

/// Decoded floats are the same bit for bit on every processor. The sign and payload of a NaN that an operation makes
/// are not, so every NaN that a decoder computes is stored as this one.
inline float CanonicalNaN(float value) noexcept {
    return value == value ? value : std::numeric_limits<float>::quiet_NaN();
}

}  // namespace Nimb
