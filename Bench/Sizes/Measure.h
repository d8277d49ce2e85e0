// What the tables have in common.
#pragma once

#include "Bench/Peers.h"

#include <cmath>
#include <cstddef>
#include <ctime>
#include <vector>

namespace Bench {

/// Of the longest stretch that is coded together: what `nimb encode` does unless told otherwise.
constexpr std::size_t c_KeyInterval = 300;

inline double ProcessorMilliseconds() {
    std::timespec t{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) * 1e3 + static_cast<double>(t.tv_nsec) * 1e-6;
}

/// Mean bytes of a frame when no position is further off than `maxError`.
inline double DracoBytes(const std::vector<Nimb::Authoring::Mesh>& clip, double maxError) {
    const double step = 2 * maxError / std::sqrt(3.0);
    double bytes = 0;
    for (const Nimb::Authoring::Mesh& mesh : clip) {
        bytes += static_cast<double>(EncodeWithDraco(*MakeDracoMesh(mesh), c_DracoDefaultSpeed, step).size());
    }
    return bytes / static_cast<double>(clip.size());
}

}  // namespace Bench
