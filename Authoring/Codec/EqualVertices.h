// Which vertices are equal in all that is known of them.
#pragma once

#include "Authoring/Codec/Mesh.h"

#include <array>
#include <cstddef>
#include <vector>

namespace Nimb::Authoring {

/// All vertices are equal until attributes tell them apart.
class EqualVertices {
public:
    explicit EqualVertices(std::size_t count) : m_First(count, 0) {}

    /// Tells vertices apart by an attribute of `width` numbers each, double or UINT32. Numbers are equal if their
    /// bits are, except that -0 is 0: a NaN equals itself, so that no vertex differs from itself. O(count x width).
    template <class Number>
    void Distinguish(const std::vector<Number>& values, std::size_t width);
    void Distinguish(const std::vector<Vec2>& values);
    void Distinguish(const std::vector<Vec3>& values);
    void Distinguish(const std::vector<std::array<float, 4>>& values);

    /// For each vertex the first that is equal to it: its own number if that is the vertex itself.
    const std::vector<UINT32>& First() const { return m_First; }

private:
    template <class NumberOf>
    void DistinguishBy(std::size_t width, NumberOf numberOf);

    std::vector<UINT32> m_First;
};

}  // namespace Nimb::Authoring
