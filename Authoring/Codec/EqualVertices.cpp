#include "Authoring/Codec/EqualVertices.h"

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace Nimb::Authoring {
namespace {

constexpr UINT32 c_None = 0xFFFFFFFF;

template <class Number>
std::uint64_t BitsOf(Number value) {
    std::uint64_t bits = 0;
    if constexpr (std::is_floating_point_v<Number>) {
        value += 0;  // makes 0 of -0
    }
    std::memcpy(&bits, &value, sizeof value);
    return bits;
}

}  // namespace

/// `numberOf` gives the number of a vertex at a place of the attribute.
template <class NumberOf>
void EqualVertices::DistinguishBy(std::size_t width, NumberOf numberOf) {
    const auto areEqual = [&](std::size_t a, std::size_t b) {
        for (std::size_t i = 0; i < width; ++i) {
            if (BitsOf(numberOf(a, i)) != BitsOf(numberOf(b, i))) {
                return false;
            }
        }
        return true;
    };
    std::size_t vertex = 0;
    while (vertex < m_First.size() && areEqual(vertex, m_First[vertex])) {
        ++vertex;
    }
    if (vertex == m_First.size()) {
        return;  // as mostly where vertices are told apart frame after frame
    }
    // Vertices are found again by what they equalled before and by the attribute. Open addressing, half full at most.
    std::size_t slots = 2;
    while (slots < 2 * m_First.size()) {
        slots *= 2;
    }
    std::vector<UINT32> table(slots, c_None);
    const std::vector<UINT32> before = m_First;
    for (UINT32 v = 0; v < before.size(); ++v) {
        std::uint64_t hash = before[v];
        for (std::size_t i = 0; i < width; ++i) {
            hash = (hash ^ BitsOf(numberOf(v, i))) * 0x9E3779B97F4A7C15U;
            hash ^= hash >> 32;
        }
        std::size_t slot = hash % slots;
        while (table[slot] != c_None && (before[table[slot]] != before[v] || !areEqual(table[slot], v))) {
            slot = (slot + 1) % slots;
        }
        if (table[slot] == c_None) {
            table[slot] = v;
        }
        m_First[v] = table[slot];
    }
}

template <class Number>
void EqualVertices::Distinguish(const std::vector<Number>& values, std::size_t width) {
    DistinguishBy(width, [&](std::size_t v, std::size_t i) { return values[v * width + i]; });
}

template void EqualVertices::Distinguish(const std::vector<double>& values, std::size_t width);
template void EqualVertices::Distinguish(const std::vector<UINT32>& values, std::size_t width);

void EqualVertices::Distinguish(const std::vector<Vec2>& values) {
    DistinguishBy(2, [&](std::size_t v, std::size_t i) { return i == 0 ? values[v].u : values[v].v; });
}

void EqualVertices::Distinguish(const std::vector<Vec3>& values) {
    DistinguishBy(3, [&](std::size_t v, std::size_t i) {
        return i == 0 ? values[v].x : i == 1 ? values[v].y : values[v].z;
    });
}

void EqualVertices::Distinguish(const std::vector<std::array<float, 4>>& values) {
    DistinguishBy(4, [&](std::size_t v, std::size_t i) { return values[v][i]; });
}

}  // namespace Nimb::Authoring
