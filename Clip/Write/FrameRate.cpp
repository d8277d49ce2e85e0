#include "Clip/Write/FrameRate.h"

#include <algorithm>
#include <cmath>

namespace Nimb::Authoring {

FrameRate ExactFrameRate(double rate, double tolerance) {
    const auto whole = static_cast<int>(std::lround(rate));
    if (whole > 0 && std::abs(rate - whole) < tolerance) {
        return {whole, 1};
    }
    constexpr double television = 1.001;
    const auto nominal = static_cast<int>(std::lround(rate * television));
    if (nominal > 0 && std::abs(rate - nominal / television) < 6e-3) {  // people write 23.98 for 23.976
        return {nominal * 1000, 1001};
    }
    return {std::max(1, static_cast<int>(std::lround(rate * 1000))), 1000};
}

}  // namespace Nimb::Authoring
