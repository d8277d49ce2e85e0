// Steps and ends of scales that people read.
#pragma once

#include <cmath>

namespace Nimb::Tool {

/// 1, 2 or 5 times a power of ten, at least `value`, which is above 0.
inline double RoundUp(double value) {
    const double power = std::pow(10.0, std::floor(std::log10(value)));
    for (const double factor : {1.0, 2.0, 5.0}) {
        if (factor * power >= value * (1 - 1e-9)) {
            return factor * power;
        }
    }
    return 10 * power;
}

}  // namespace Nimb::Tool
