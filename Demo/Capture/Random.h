// Random numbers that are the same everywhere, for any frame in any order.
#pragma once

#include "Demo/Space.h"

#include <cstdint>

namespace Nimb::Authoring::Capture {

/// Well mixed bits of a number: the finaliser of SplitMix64 (Steele, Lea and Flood 2014).
inline std::uint64_t Mixed(std::uint64_t x) {
    x += 0x9e3779b97f4a7c15U;
    x = (x ^ (x >> 30)) * 0xbf58476d1ce4e5b9U;
    x = (x ^ (x >> 27)) * 0x94d049bb133111ebU;
    return x ^ (x >> 31);
}

class Random {
public:
    explicit Random(std::uint64_t seed) : m_State(Mixed(seed)) {}
    Random(std::uint64_t seed, std::uint64_t stream) : Random(Mixed(seed) ^ stream) {}

    /// From 0 up to 1.
    double Next() { return static_cast<double>(Bits() >> 11) / 9007199254740992.0; }
    std::size_t Below(std::size_t count) { return static_cast<std::size_t>(Bits() % count); }

    /// Of the normal distribution with deviation 1 (Box and Muller 1958).
    double Normal() {
        const double radius = std::sqrt(-2 * std::log(1 - Next()));
        return radius * std::cos(2 * Demo::c_Pi * Next());
    }

private:
    std::uint64_t Bits() { return Mixed(m_State++); }

    std::uint64_t m_State;
};

}  // namespace Nimb::Authoring::Capture
