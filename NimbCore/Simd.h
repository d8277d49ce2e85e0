// Four floats or four 32-bit integers at a time, on SSE2 and on Neon.
//
// Only operations whose results are the same bit for bit as the scalar ones of the format: IEEE add, subtract, multiply
// and divide, comparisons that are false for NaN, and the truncation of FloatToInt.h. No reciprocal estimates, no fused
// multiply-add.
#pragma once

#include "Nimb/NimbInterfaces.h"

#include <cstring>

#if defined(__aarch64__)
#include <arm_neon.h>
#elif defined(__SSE2__)
#include <emmintrin.h>
#else
#error "the vector code knows SSE2 and Neon"
#endif

namespace Nimb {

struct Float4;

/// Four 32-bit integers.
struct Int4 {
#if defined(__aarch64__)
    int32x4_t v;
#else
    __m128i v;
#endif
};

struct Float4 {
#if defined(__aarch64__)
    float32x4_t v;

    static Float4 Load(const void* p) noexcept {
        return {vreinterpretq_f32_u8(vld1q_u8(static_cast<const BYTE*>(p)))};
    }
    /// 8 bytes into lanes 0 and 1; the others are 0.
    static Float4 LoadLow(const void* p) noexcept {
        return {vreinterpretq_f32_u8(vcombine_u8(vld1_u8(static_cast<const BYTE*>(p)), vdup_n_u8(0)))};
    }
    static Float4 All(float x) noexcept {
        return {vdupq_n_f32(x)};
    }
    static Float4 Of(float x, float y, float z, float w) noexcept {
        const float lanes[4] = {x, y, z, w};
        return {vld1q_f32(lanes)};
    }
    void Store(void* p) const noexcept {
        vst1q_u8(static_cast<BYTE*>(p), vreinterpretq_u8_f32(v));
    }
    /// Lanes 0 and 1, 8 bytes.
    void StoreLow(void* p) const noexcept {
        vst1_u8(static_cast<BYTE*>(p), vreinterpret_u8_f32(vget_low_f32(v)));
    }
    /// Lanes 2 and 3, 8 bytes.
    void StoreHigh(void* p) const noexcept {
        vst1_u8(static_cast<BYTE*>(p), vreinterpret_u8_f32(vget_high_f32(v)));
    }

    Float4 operator+(Float4 o) const noexcept {
        return {vaddq_f32(v, o.v)};
    }
    Float4 operator-(Float4 o) const noexcept {
        return {vsubq_f32(v, o.v)};
    }
    Float4 operator*(Float4 o) const noexcept {
        return {vmulq_f32(v, o.v)};
    }
    Float4 operator/(Float4 o) const noexcept {
        return {vdivq_f32(v, o.v)};
    }
    /// Union of the bits: puts lanes together that are zero in one of the two.
    Float4 operator|(Float4 o) const noexcept {
        return {vreinterpretq_f32_u32(vorrq_u32(vreinterpretq_u32_f32(v), vreinterpretq_u32_f32(o.v)))};
    }
#else
    __m128 v;

    static Float4 Load(const void* p) noexcept {
        return {_mm_loadu_ps(static_cast<const float*>(p))};
    }
    /// 8 bytes into lanes 0 and 1; the others are 0.
    static Float4 LoadLow(const void* p) noexcept {
        return {_mm_castsi128_ps(_mm_loadl_epi64(static_cast<const __m128i*>(p)))};
    }
    static Float4 All(float x) noexcept {
        return {_mm_set1_ps(x)};
    }
    static Float4 Of(float x, float y, float z, float w) noexcept {
        return {_mm_setr_ps(x, y, z, w)};
    }
    void Store(void* p) const noexcept {
        _mm_storeu_ps(static_cast<float*>(p), v);
    }
    /// Lanes 0 and 1, 8 bytes.
    void StoreLow(void* p) const noexcept {
        _mm_storel_epi64(static_cast<__m128i*>(p), _mm_castps_si128(v));
    }
    /// Lanes 2 and 3, 8 bytes.
    void StoreHigh(void* p) const noexcept {
        _mm_storel_epi64(static_cast<__m128i*>(p), _mm_castps_si128(_mm_movehl_ps(v, v)));
    }

    Float4 operator+(Float4 o) const noexcept {
        return {_mm_add_ps(v, o.v)};
    }
    Float4 operator-(Float4 o) const noexcept {
        return {_mm_sub_ps(v, o.v)};
    }
    Float4 operator*(Float4 o) const noexcept {
        return {_mm_mul_ps(v, o.v)};
    }
    Float4 operator/(Float4 o) const noexcept {
        return {_mm_div_ps(v, o.v)};
    }
    /// Union of the bits: puts lanes together that are zero in one of the two.
    Float4 operator|(Float4 o) const noexcept {
        return {_mm_or_ps(v, o.v)};
    }
#endif
};

/// Per lane: `a > b ? a : b`, so that a NaN in `b` passes.
inline Float4 GreaterOr(Float4 a, Float4 b) noexcept {
#if defined(__aarch64__)
    return {vbslq_f32(vcgtq_f32(a.v, b.v), a.v, b.v)};
#else
    return {_mm_max_ps(a.v, b.v)};
#endif
}

/// Per lane: `a < b ? a : b`, so that a NaN in `b` passes.
inline Float4 LessOr(Float4 a, Float4 b) noexcept {
#if defined(__aarch64__)
    return {vbslq_f32(vcltq_f32(a.v, b.v), a.v, b.v)};
#else
    return {_mm_min_ps(a.v, b.v)};
#endif
}

/// CanonicalNaN of FloatToInt.h, per lane.
inline Float4 CanonicalNaN(Float4 a) noexcept {
#if defined(__aarch64__)
    return {vbslq_f32(vceqq_f32(a.v, a.v), a.v, vreinterpretq_f32_u32(vdupq_n_u32(0x7FC00000u)))};
#else
    const __m128 nan = _mm_castsi128_ps(_mm_set1_epi32(0x7FC00000));
    const __m128 ordered = _mm_cmpord_ps(a.v, a.v);
    return {_mm_or_ps(_mm_and_ps(ordered, a.v), _mm_andnot_ps(ordered, nan))};
#endif
}

inline Float4 ToFloat(Int4 a) noexcept {
#if defined(__aarch64__)
    return {vcvtq_f32_s32(a.v)};
#else
    return {_mm_cvtepi32_ps(a.v)};
#endif
}

/// Four 16-bit integers from 8 bytes, sign-extended.
inline Int4 LoadInt16x4(const void* p) noexcept {
#if defined(__aarch64__)
    return {vmovl_s16(vreinterpret_s16_u8(vld1_u8(static_cast<const BYTE*>(p))))};
#else
    const __m128i raw = _mm_loadl_epi64(static_cast<const __m128i*>(p));
    return {_mm_srai_epi32(_mm_unpacklo_epi16(raw, raw), 16)};
#endif
}

/// Four 16-bit integers from 8 bytes, zero-extended.
inline Int4 LoadUint16x4(const void* p) noexcept {
#if defined(__aarch64__)
    return {vreinterpretq_s32_u32(vmovl_u16(vreinterpret_u16_u8(vld1_u8(static_cast<const BYTE*>(p)))))};
#else
    const __m128i raw = _mm_loadl_epi64(static_cast<const __m128i*>(p));
    return {_mm_unpacklo_epi16(raw, _mm_setzero_si128())};
#endif
}

/// TruncateToInt16 of FloatToInt.h for each lane, as 64 bits with lane 0 lowest.
inline UINT64 TruncateToInt16x4(Float4 a) noexcept {
#if defined(__aarch64__)
    // The conversion truncates, saturates and maps NaN to 0 by itself.
    return vget_lane_u64(vreinterpret_u64_s16(vmovn_s32(vcvtq_s32_f32(a.v))), 0);
#else
    // The conversion gives 0x80000000 for NaN and for everything out of range. Its low half, 0, is right for NaN and
    // for the lower end; at the upper end saturation would have given 0xFFFF.
    const __m128i tooLarge = _mm_castps_si128(_mm_cmpge_ps(a.v, _mm_set1_ps(2147483648.0f)));
    __m128i q = _mm_or_si128(_mm_cvttps_epi32(a.v), tooLarge);
    q = _mm_srai_epi32(_mm_slli_epi32(q, 16), 16);  // keeps the low halves through the saturating pack
    return static_cast<UINT64>(_mm_cvtsi128_si64(_mm_packs_epi32(q, q)));
#endif
}

/// The same, stored as 8 bytes.
inline void StoreTruncatedInt16x4(void* p, Float4 a) noexcept {
    const UINT64 lanes = TruncateToInt16x4(a);
    std::memcpy(p, &lanes, sizeof(lanes));
}

}  // namespace Nimb
