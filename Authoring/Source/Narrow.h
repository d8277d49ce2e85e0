// From double to float.
#pragma once

#include <cmath>
#include <limits>

namespace Nimb::Authoring {

/// Infinite beyond the range of float, where the conversion alone would be undefined.
inline float Narrowed(double value) {
    const bool isBeyond = std::abs(value) > static_cast<double>(std::numeric_limits<float>::max());
    return isBeyond ? (value > 0 ? 1.0F : -1.0F) * std::numeric_limits<float>::infinity() : static_cast<float>(value);
}

}  // namespace Nimb::Authoring
