#include "Authoring/Codec/Golomb.h"

#include <algorithm>
#include <limits>

namespace Nimb::Authoring {
namespace {

using Histogram = std::array<std::size_t, 256>;

/// A byte's signed difference from the centre, modulo 256 the smaller way round, mapped to 0 to 255.
UINT32 ZigZag(BYTE byte, BYTE center) {
    const UINT32 up = static_cast<BYTE>(byte - center);
    return up < 128 ? 2 * up : 2 * (256 - up) - 1;
}

UINT32 CeilLog2(UINT32 m) {
    UINT32 bits = 0;
    while ((UINT32{1} << bits) < m) {
        ++bits;
    }
    return bits;
}

/// Code bits of all symbols: `below[v]` of them have mapped values smaller than v. The shortest form of a code is a
/// quotient, its closing zero and b - 1 bits; remainders from `shorts` on take one more. Gives up at `limit`.
std::size_t GolombCost(const std::array<std::size_t, 257>& below, UINT32 m, std::size_t limit) {
    const std::size_t all = below[256];
    const UINT32 b = CeilLog2(m);
    const UINT32 shorts = (UINT32{1} << b) - m;
    std::size_t cost = all * std::max<std::size_t>(b, 1);
    for (UINT32 first = 0; first < 256 && cost < limit; first += m) {
        if (first > 0) {
            cost += all - below[first];
        }
        const std::size_t end = std::min<std::size_t>(first + m, 256);
        cost += below[end] - below[std::min<std::size_t>(first + shorts, end)];
    }
    return cost;
}

/// Tries all parameters with one centre. `*pBest` and `*pBestCost` change where one of them makes shorter codes.
void TryGolombCenter(const Histogram& counts, BYTE center, GolombParameters* pBest, std::size_t* pBestCost) {
    std::array<std::size_t, 257> below{};
    for (UINT32 byte = 0; byte < 256; ++byte) {
        below[ZigZag(static_cast<BYTE>(byte), center) + 1] = counts[byte];
    }
    UINT32 largest = 0;
    for (UINT32 v = 0; v < 256; ++v) {
        largest = below[v + 1] != 0 ? v : largest;
        below[v + 1] += below[v];
    }
    // Larger parameters only widen the remainders.
    for (UINT32 m = 1; m < std::min<UINT32>(256, 2 * largest + 3); ++m) {
        const std::size_t cost = GolombCost(below, m, *pBestCost);
        if (cost < *pBestCost) {
            *pBestCost = cost;
            *pBest = {center, static_cast<BYTE>(m)};
        }
    }
}

void WriteGolombCode(UINT32 value, UINT32 m, BitWriter& bits) {
    const UINT32 b = CeilLog2(m);
    const UINT32 shorts = (UINT32{1} << b) - m;
    const UINT32 remainder = value % m;
    bits.WriteUnary(value / m);
    if (remainder < shorts) {
        bits.Write(remainder, b - 1);
    } else {
        // With m = 1 the remainder is no bit wide, and its extra bit is written all the same.
        bits.Write(remainder + shorts, std::max<UINT32>(b, 1));
    }
}

}  // namespace

/// Exact, and cheap because the cost of one pair takes 256 / m steps.
GolombParameters ChooseGolombParameters(const Histogram& counts) {
    UINT32 first = 0, last = 255;
    while (first < last && counts[first] == 0) {
        ++first;
    }
    while (last > first && counts[last] == 0) {
        --last;
    }
    // A centre outside is never better than the nearest byte inside, unless differences are shorter the other way
    // round.
    if (last - first >= 128) {
        first = 0;
        last = 255;
    }
    GolombParameters best;
    std::size_t bestCost = std::numeric_limits<std::size_t>::max();
    for (UINT32 center = first; center <= last; ++center) {
        TryGolombCenter(counts, static_cast<BYTE>(center), &best, &bestCost);
    }
    return best;
}

void WriteGolombBytes(const std::vector<BYTE>& bytes, GolombParameters parameters, BitWriter& out) {
    for (const BYTE byte : bytes) {
        WriteGolombCode(ZigZag(byte, parameters.center), parameters.m, out);
    }
}

}  // namespace Nimb::Authoring
