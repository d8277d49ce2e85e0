// Transform deltas (vertex version 5): what decoder and encoder share of the format.
//
// A figure moves in parts. Each vertex names a part, each part has a transform that carries its vertices from the
// previous frame to this one, and what the transforms miss is made up by corrections, whole multiples of one step. The
// arithmetic below is the format: the encoder predicts with the very functions that the decoder runs.
#pragma once

#include "NimbCore/NimbMeshReader.h"
#include "NimbCore/Simd.h"

namespace Nimb {
namespace TransformDeltas {

constexpr UINT32 c_MaxTransforms = 64;
constexpr UINT32 c_MaxVertexCodeLength = 12;
constexpr UINT32 c_MaxNumberCodeLength = 11;
constexpr UINT32 c_FirstCodeLength = 4;  // what the first length of a code table is compared with

/// What a transform stores. Every kind contains the one before it.
enum Kind : BYTE {
    Kind_Identity = 0,
    Kind_Translation = 1,
    Kind_Rigid = 2,   // a rotation and a translation
    Kind_Affine = 3,  // nine coefficients and a translation
};

/// The previous position is carried on by 0, 3/8, 6/8 or 9/8 of the motion that led to it.
constexpr BYTE c_MaxExtrapolation = 3;
constexpr float c_ExtrapolationUnit = 0.375f;

/// The alphabet of vertex symbols: small corrections of all three axes at once, an escape to three separate numbers,
/// and runs of 2^e to 2^(e+1) - 1 vertices without a correction.
constexpr INT32 c_SmallRadius = 2;
constexpr UINT32 c_NumSmallCorrections = 125;
constexpr UINT32 c_EscapeSymbol = c_NumSmallCorrections;
constexpr UINT32 c_MaxRunExponent = 31;
constexpr UINT32 c_NumVertexSymbols = c_EscapeSymbol + 1 + c_MaxRunExponent;
constexpr UINT32 RunSymbol(UINT32 exponent) noexcept {
    return c_EscapeSymbol + exponent;
}

/// A section has two streams: the forward one starts with the symbols of the first half of the vertices and the numbers
/// of the first half of the escapes, the backward one has the others. The larger half is the first.
constexpr std::size_t FirstHalf(std::size_t count) noexcept {
    return (count + 1) / 2;
}

/// Corrections of one vertex in steps; the fourth lane is zero.
struct Correction {
    std::int16_t axis[4] = {0, 0, 0, 0};
};
static_assert(sizeof(Correction) == 8, "corrections are loaded as four lanes");

/// The corrections of vertex symbols; none of those that are not small. Shortest first, equally short ones by x, then
/// y, then z. Frequent ones thus have neighbouring symbols, which keeps code tables short.
struct VertexCorrections {
    Correction ofSymbol[c_NumVertexSymbols];

    constexpr VertexCorrections() noexcept : ofSymbol() {
        std::size_t next = 0;
        for (INT32 norm = 0; norm <= 3 * c_SmallRadius * c_SmallRadius; ++norm) {
            for (INT32 x = -c_SmallRadius; x <= c_SmallRadius; ++x) {
                for (INT32 y = -c_SmallRadius; y <= c_SmallRadius; ++y) {
                    for (INT32 z = -c_SmallRadius; z <= c_SmallRadius; ++z) {
                        if (x * x + y * y + z * z == norm) {
                            ofSymbol[next].axis[0] = static_cast<std::int16_t>(x);
                            ofSymbol[next].axis[1] = static_cast<std::int16_t>(y);
                            ofSymbol[next].axis[2] = static_cast<std::int16_t>(z);
                            ++next;
                        }
                    }
                }
            }
        }
    }
};
inline constexpr VertexCorrections c_VertexCorrections{};

/// The alphabet of 16-bit numbers: 0 to 15 stand for themselves; a larger one is its leading bit's position e, the two
/// bits below it, and e - 2 bits that follow uncoded.
constexpr UINT32 c_NumNumberSymbols = 64;
constexpr UINT32 c_MaxNumber = 0xFFFF;

struct NumberBucket {
    UINT32 base;
    UINT32 extraBits;
};

constexpr NumberBucket BucketOfSymbol(UINT32 symbol) noexcept {
    if (symbol < 16) {
        return {symbol, 0};
    }
    const UINT32 extraBits = (symbol - 16) / 4 + 2;
    return {(4 + symbol % 4) << extraBits, extraBits};
}

constexpr UINT32 Zigzag(INT32 value) noexcept {
    return value < 0 ? ~(static_cast<UINT32>(value) << 1) : static_cast<UINT32>(value) << 1;
}

constexpr INT32 Unzigzag(UINT32 code) noexcept {
    return static_cast<INT32>((code >> 1) ^ (0 - (code & 1)));
}

/// One transform as it is stored.
struct Transform {
    Kind kind = Kind_Identity;
    BYTE extrapolation = 0;  // in units of 3/8
    BYTE linearShift = 0;    // unit of `linear` is 2^-linearShift
    INT32 linear[9] = {};  // rigid: the rotation vector (tangent of half the angle); affine: rows of matrix - identity
    INT32 translation[3] = {};
};

/// 2^-shift, exact; shift at most 31.
inline float NegativePowerOfTwo(UINT32 shift) noexcept {
    return 1.0f / static_cast<float>(UINT32{1} << shift);
}

/// A transform made ready for its vertices.
struct Motion {
    Float4 columns[3];  // of matrix - identity
    Float4 translation;
    Float4 pivot;
    Float4 extrapolation;
};

/// Rows of matrix - identity from a rotation vector.
inline void RotationMinusIdentity(float a, float b, float c, float rows[9]) noexcept {
    const float s = 2.0f / (((a * a + b * b) + c * c) + 1.0f);
    rows[0] = -(s * (b * b + c * c));
    rows[1] = s * (a * b - c);
    rows[2] = s * (a * c + b);
    rows[3] = s * (a * b + c);
    rows[4] = -(s * (a * a + c * c));
    rows[5] = s * (b * c - a);
    rows[6] = s * (a * c - b);
    rows[7] = s * (b * c + a);
    rows[8] = -(s * (a * a + b * b));
}

/// `pivot` is the previous position of the part's first vertex.
inline Motion MakeMotion(const Transform& transform, float translationUnit, const __vector4& pivot) noexcept {
    const float linearUnit = NegativePowerOfTwo(transform.linearShift);
    float linear[9] = {};
    float rows[9] = {};
    for (std::size_t i = 0; i < 9; ++i) {
        linear[i] = static_cast<float>(transform.linear[i]) * linearUnit;
    }
    if (transform.kind == Kind_Rigid) {
        RotationMinusIdentity(linear[0], linear[1], linear[2], rows);
    } else if (transform.kind == Kind_Affine) {
        std::memcpy(rows, linear, sizeof(rows));
    }
    Motion motion;
    for (std::size_t column = 0; column < 3; ++column) {
        motion.columns[column] = Float4::Of(rows[column], rows[3 + column], rows[6 + column], 0.0f);
    }
    motion.translation = Float4::Of(static_cast<float>(transform.translation[0]) * translationUnit,
                                    static_cast<float>(transform.translation[1]) * translationUnit,
                                    static_cast<float>(transform.translation[2]) * translationUnit, 0.0f);
    motion.pivot = Float4::Of(pivot.x, pivot.y, pivot.z, 0.0f);
    motion.extrapolation = Float4::All(static_cast<float>(transform.extrapolation) * c_ExtrapolationUnit);
    return motion;
}

/// `last` is previous - older position, zero where there is no older one.
inline Float4 Predict(const Motion& motion, Float4 previous, Float4 last) noexcept {
    const Float4 base = last * motion.extrapolation + previous;
    const Float4 arm = base - motion.pivot;
    const Float4 turned = (motion.columns[0] * Broadcast<0>(arm) + motion.columns[1] * Broadcast<1>(arm)) +
                          motion.columns[2] * Broadcast<2>(arm);
    return base + (turned + motion.translation);
}

inline Float4 Correct(Float4 prediction, const Correction& correction, Float4 step) noexcept {
    return prediction + ToFloat(LoadInt16x4(correction.axis)) * step;
}

}  // namespace TransformDeltas
}  // namespace Nimb
