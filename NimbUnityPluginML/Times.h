// Arithmetic with the player's times, and the clock that it goes by.
//
// Times of a scaled clock can be of any size. Only their differences count, and those survive a wrap: sums, differences
// and products are formed modulo 2^64.
#pragma once

#include <cstdint>
#include <ctime>

namespace Nimb::Plugin {

/// For the platform's dequeue calls: wait without limit.
constexpr std::int64_t c_NoTimeout = -1;

inline std::int64_t WrappingAdd(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

inline std::int64_t WrappingSubtract(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b));
}

inline std::int64_t WrappingMultiply(std::int64_t a, std::int64_t b) {
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

/// Of codecs and extractors, for meshes and the clock.
inline std::int64_t MicrosecondsToNanoseconds(std::int64_t time) {
    return WrappingMultiply(time, 1000);
}

inline std::int64_t MonotonicNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

}  // namespace Nimb::Plugin
