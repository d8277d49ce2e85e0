// Four floats or four 32-bit integers at a time: on Neon, on SSE2, or one after the other where there is neither, or
// where NIMB_SCALAR asks for that.
//
// Only operations whose results are the same bit for bit as the scalar ones of the format: IEEE add, subtract, multiply
// and divide, comparisons that are false for NaN, and the truncation of FloatToInt.h. No reciprocal estimates, no fused
// multiply-add.
#pragma once

#include "Nimb/NimbInterfaces.h"
#include "NimbCore/FloatToInt.h"

#include <cfloat>
#include <cstring>

#if FLT_EVAL_METHOD == 1 || FLT_EVAL_METHOD == 2
#error "floats must be computed as floats; on 32-bit x86 with -msse2 -mfpmath=sse"
#endif

#if defined(NIMB_SCALAR)
#elif defined(__aarch64__)
#define NIMB_NEON 1
#include <arm_neon.h>
#elif defined(__SSE2__)
#define NIMB_SSE2 1
#include <emmintrin.h>
#endif

namespace Nimb {

struct Float4;

/// Four 32-bit integers.
struct Int4 {
#if defined(NIMB_NEON)
    int32x4_t v;
#elif defined(NIMB_SSE2)
    __m128i v;
#else
    INT32 v[4];
#endif
};

struct Float4 {
#if defined(NIMB_NEON)
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
#elif defined(NIMB_SSE2)
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
#else
    float v[4];

    static Float4 Load(const void* p) noexcept {
        Float4 a;
        std::memcpy(a.v, p, sizeof(a.v));
        return a;
    }
    /// 8 bytes into lanes 0 and 1; the others are 0.
    static Float4 LoadLow(const void* p) noexcept {
        Float4 a{};
        std::memcpy(a.v, p, 8);
        return a;
    }
    static Float4 All(float x) noexcept {
        return {{x, x, x, x}};
    }
    static Float4 Of(float x, float y, float z, float w) noexcept {
        return {{x, y, z, w}};
    }
    void Store(void* p) const noexcept {
        std::memcpy(p, v, sizeof(v));
    }
    /// Lanes 0 and 1, 8 bytes.
    void StoreLow(void* p) const noexcept {
        std::memcpy(p, v, 8);
    }
    /// Lanes 2 and 3, 8 bytes.
    void StoreHigh(void* p) const noexcept {
        std::memcpy(p, v + 2, 8);
    }

    Float4 operator+(Float4 o) const noexcept {
        return {{v[0] + o.v[0], v[1] + o.v[1], v[2] + o.v[2], v[3] + o.v[3]}};
    }
    Float4 operator-(Float4 o) const noexcept {
        return {{v[0] - o.v[0], v[1] - o.v[1], v[2] - o.v[2], v[3] - o.v[3]}};
    }
    Float4 operator*(Float4 o) const noexcept {
        return {{v[0] * o.v[0], v[1] * o.v[1], v[2] * o.v[2], v[3] * o.v[3]}};
    }
    Float4 operator/(Float4 o) const noexcept {
        return {{v[0] / o.v[0], v[1] / o.v[1], v[2] / o.v[2], v[3] / o.v[3]}};
    }
    /// Union of the bits: puts lanes together that are zero in one of the two.
    Float4 operator|(Float4 o) const noexcept {
        UINT32 bits[4], others[4];
        std::memcpy(bits, v, sizeof(bits));
        std::memcpy(others, o.v, sizeof(others));
        for (std::size_t i = 0; i < 4; ++i) {
            bits[i] |= others[i];
        }
        return Load(bits);
    }
#endif
};

/// Per lane: `a > b ? a : b`, so that a NaN in `b` passes.
inline Float4 GreaterOr(Float4 a, Float4 b) noexcept {
#if defined(NIMB_NEON)
    return {vbslq_f32(vcgtq_f32(a.v, b.v), a.v, b.v)};
#elif defined(NIMB_SSE2)
    return {_mm_max_ps(a.v, b.v)};
#else
    return {{a.v[0] > b.v[0] ? a.v[0] : b.v[0], a.v[1] > b.v[1] ? a.v[1] : b.v[1], a.v[2] > b.v[2] ? a.v[2] : b.v[2],
             a.v[3] > b.v[3] ? a.v[3] : b.v[3]}};
#endif
}

/// Per lane: `a < b ? a : b`, so that a NaN in `b` passes.
inline Float4 LessOr(Float4 a, Float4 b) noexcept {
#if defined(NIMB_NEON)
    return {vbslq_f32(vcltq_f32(a.v, b.v), a.v, b.v)};
#elif defined(NIMB_SSE2)
    return {_mm_min_ps(a.v, b.v)};
#else
    return {{a.v[0] < b.v[0] ? a.v[0] : b.v[0], a.v[1] < b.v[1] ? a.v[1] : b.v[1], a.v[2] < b.v[2] ? a.v[2] : b.v[2],
             a.v[3] < b.v[3] ? a.v[3] : b.v[3]}};
#endif
}

/// CanonicalNaN of FloatToInt.h, per lane.
inline Float4 CanonicalNaN(Float4 a) noexcept {
#if defined(NIMB_NEON)
    return {vbslq_f32(vceqq_f32(a.v, a.v), a.v, vreinterpretq_f32_u32(vdupq_n_u32(0x7FC00000u)))};
#elif defined(NIMB_SSE2)
    const __m128 nan = _mm_castsi128_ps(_mm_set1_epi32(0x7FC00000));
    const __m128 ordered = _mm_cmpord_ps(a.v, a.v);
    return {_mm_or_ps(_mm_and_ps(ordered, a.v), _mm_andnot_ps(ordered, nan))};
#else
    return {{CanonicalNaN(a.v[0]), CanonicalNaN(a.v[1]), CanonicalNaN(a.v[2]), CanonicalNaN(a.v[3])}};
#endif
}

inline Float4 ToFloat(Int4 a) noexcept {
#if defined(NIMB_NEON)
    return {vcvtq_f32_s32(a.v)};
#elif defined(NIMB_SSE2)
    return {_mm_cvtepi32_ps(a.v)};
#else
    return Float4::Of(static_cast<float>(a.v[0]), static_cast<float>(a.v[1]), static_cast<float>(a.v[2]),
                      static_cast<float>(a.v[3]));
#endif
}

template <int Lane>
Float4 Broadcast(Float4 a) noexcept {
#if defined(NIMB_NEON) || defined(NIMB_SSE2)
    return {__builtin_shufflevector(a.v, a.v, Lane, Lane, Lane, Lane)};
#else
    return Float4::All(a.v[Lane]);
#endif
}

/// Four 16-bit integers from 8 bytes, sign-extended.
inline Int4 LoadInt16x4(const void* p) noexcept {
#if defined(NIMB_NEON)
    return {vmovl_s16(vreinterpret_s16_u8(vld1_u8(static_cast<const BYTE*>(p))))};
#elif defined(NIMB_SSE2)
    const __m128i raw = _mm_loadl_epi64(static_cast<const __m128i*>(p));
    return {_mm_srai_epi32(_mm_unpacklo_epi16(raw, raw), 16)};
#else
    std::int16_t lanes[4];
    std::memcpy(lanes, p, sizeof(lanes));
    return {{lanes[0], lanes[1], lanes[2], lanes[3]}};
#endif
}

/// Four 16-bit integers from 8 bytes, zero-extended.
inline Int4 LoadUint16x4(const void* p) noexcept {
#if defined(NIMB_NEON)
    return {vreinterpretq_s32_u32(vmovl_u16(vreinterpret_u16_u8(vld1_u8(static_cast<const BYTE*>(p)))))};
#elif defined(NIMB_SSE2)
    const __m128i raw = _mm_loadl_epi64(static_cast<const __m128i*>(p));
    return {_mm_unpacklo_epi16(raw, _mm_setzero_si128())};
#else
    std::uint16_t lanes[4];
    std::memcpy(lanes, p, sizeof(lanes));
    return {{lanes[0], lanes[1], lanes[2], lanes[3]}};
#endif
}

/// TruncateToInt16 of FloatToInt.h for each lane, as 64 bits with lane 0 lowest.
inline UINT64 TruncateToInt16x4(Float4 a) noexcept {
#if defined(NIMB_NEON)
    // The conversion truncates, saturates and maps NaN to 0 by itself.
    return vget_lane_u64(vreinterpret_u64_s16(vmovn_s32(vcvtq_s32_f32(a.v))), 0);
#elif defined(NIMB_SSE2)
    // The conversion gives 0x80000000 for NaN and for everything out of range. Its low half, 0, is right for NaN and
    // for the lower end; at the upper end saturation would have given 0xFFFF.
    const __m128i tooLarge = _mm_castps_si128(_mm_cmpge_ps(a.v, _mm_set1_ps(2147483648.0f)));
    __m128i q = _mm_or_si128(_mm_cvttps_epi32(a.v), tooLarge);
    q = _mm_srai_epi32(_mm_slli_epi32(q, 16), 16);  // keeps the low halves through the saturating pack
    UINT64 lanes;                                   // through memory: 32-bit processors have no register for it
    _mm_storel_epi64(reinterpret_cast<__m128i*>(&lanes), _mm_packs_epi32(q, q));
    return lanes;
#else
    UINT64 lanes = 0;
    for (std::size_t i = 4; i-- > 0;) {
        lanes = lanes << 16 | static_cast<std::uint16_t>(TruncateToInt16(a.v[i]));
    }
    return lanes;
#endif
}

/// The same, stored as 8 bytes.
inline void StoreTruncatedInt16x4(void* p, Float4 a) noexcept {
    const UINT64 lanes = TruncateToInt16x4(a);
    std::memcpy(p, &lanes, sizeof(lanes));
}

}  // namespace Nimb
