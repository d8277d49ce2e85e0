// The float arithmetic of vertex records, one vertex a vector. Every operation is written in the order that the format
// states; reordering any of it changes decoded bytes.
#pragma once

#include "NimbCore/NimbMeshReader.h"
#include "NimbCore/Simd.h"

namespace Nimb {

/// A box as vectors; the fourth lane is harmless filler.
struct Box4 {
    Float4 min;
    Float4 max;
    Float4 extent;

    explicit Box4(const CStreamingMeshHeader& header) noexcept
        : min(Float4::Of(header.m_BBoxMin[0], header.m_BBoxMin[1], header.m_BBoxMin[2], 0.0f)),
          max(Float4::Of(header.m_BBoxMax[0], header.m_BBoxMax[1], header.m_BBoxMax[2], 1.0f)),
          extent(max - min),
          m_MinX(header.m_BBoxMin[0]),
          m_MaxX(header.m_BBoxMax[0]) {}

    float MinX() const noexcept { return m_MinX; }
    float MaxX() const noexcept { return m_MaxX; }

private:
    float m_MinX;
    float m_MaxX;
};

/// n / 65535 for integers n from 0 to 65535, correctly rounded like the division itself but without it: the quotient is
/// n x 2^-16 + n x 2^-32 + n x 2^-48 + ..., whose first term is exact and whose others decide only the rounding.
inline Float4 Over65535(Float4 n) noexcept {
    constexpr float first = 1.0f / 65536, others = 65537.0f / 65536 / 65536 / 65536;  // 2^-16, 2^-32 + 2^-48
    return n * Float4::All(first) + n * Float4::All(others);
}

/// q + 32768 over 65535: a quantised component as a fraction of its range.
inline Float4 Fraction(Float4 q) noexcept {
    return Over65535(q + Float4::All(32768.0f));
}

/// Position from its quantised components.
inline Float4 DequantisePosition(Float4 q, const Box4& box) noexcept {
    return box.min + Fraction(q) * box.extent;
}

/// Quantised components, not yet truncated, of a position in the range that starts at `min`. A position inside the
/// range cannot leave 16 bits; what can is wrapped by the truncation.
inline Float4 QuantisePosition(Float4 position, Float4 min, Float4 extent) noexcept {
    return ((position - min) / extent) * Float4::All(65535.0f) + Float4::All(-32768.0f);
}

/// Texture coordinates from quantised ones. The detour through [-1, 1] changes the rounding and belongs to the format.
inline Float4 DequantiseTexCoords(Float4 q) noexcept {
    const Float4 t = Fraction(q);  // doubling before or after the division is the same
    return (((t + t) + Float4::All(-1.0f)) + Float4::All(1.0f)) * Float4::All(0.5f);
}

/// The way back, not yet truncated.
inline Float4 QuantiseTexCoords(Float4 w) noexcept {
    return ((((w + w) + Float4::All(-1.0f)) + Float4::All(1.0f)) * Float4::All(65535.0f)) * Float4::All(0.5f) +
           Float4::All(-32768.0f);
}

/// A normal from its three unsigned 16-bit components.
inline Float4 DequantiseNormal(Float4 q) noexcept {
    const Float4 n = Over65535(q);
    return (n + n) + Float4::All(-1.0f);
}

/// Clamps to the box, minimum first; a NaN passes.
inline Float4 ClampToBox(Float4 position, const Box4& box) noexcept {
    return LessOr(box.max, GreaterOr(box.min, position));
}

}  // namespace Nimb
