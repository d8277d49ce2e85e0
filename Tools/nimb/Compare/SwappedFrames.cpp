#include "Tools/nimb/Compare/SwappedFrames.h"

#include <algorithm>
#include <cmath>

namespace Nimb::Tool {
namespace {

constexpr std::size_t c_Window = 150;
constexpr double c_LeastDifference = 0.25;  // levels of luma, root mean square over blocks
constexpr double c_MostDifferenceLeft = 0.5;

double Difference(const std::vector<float>& a, const std::vector<float>& b) {
    double squares = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const double difference = static_cast<double>(a[i]) - static_cast<double>(b[i]);
        squares += difference * difference;
    }
    return std::sqrt(squares / static_cast<double>(std::max<std::size_t>(a.size(), 1)));
}

}  // namespace

std::vector<SwappedFrame> FindSwapped(const std::vector<FrameResult>& results) {
    std::vector<SwappedFrame> swapped;
    for (std::size_t i = 0; i < results.size(); ++i) {
        const std::vector<float>& shown = results[i].clipSignature;
        if (shown.empty()) {
            continue;
        }
        const double own = Difference(shown, results[i].sourceSignature);
        double best = own;
        std::size_t bestAt = i;
        const std::size_t end = std::min(results.size(), i + c_Window + 1);
        for (std::size_t other = i - std::min(i, c_Window); other < end && own > c_LeastDifference; ++other) {
            const std::vector<float>& signature = results[other].sourceSignature;
            const double difference = signature.size() == shown.size() ? Difference(shown, signature) : own;
            if (difference < best) {
                best = difference;
                bestAt = other;
            }
        }
        if (best < c_MostDifferenceLeft * own) {
            swapped.push_back({results[i].number, results[bestAt].number});
        }
    }
    return swapped;
}

}  // namespace Nimb::Tool
