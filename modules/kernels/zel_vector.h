#pragma once

// Vectors of the instruction set that a kernel file is compiled for: operators and shuffles where
// the compilers make good code of them, intrinsics for the rest. Everything here has internal
// linkage: the same names mean other code in the next instruction set's library, and the linker
// must not choose one of them for all. For the same reason nothing of the standard library is used.

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <immintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#endif

#define ZEL_INLINE inline __attribute__((always_inline))

namespace {

#if defined(__AVX512F__)
constexpr std::size_t kLanes = 16;
#elif defined(__AVX2__)
constexpr std::size_t kLanes = 8;
#else
constexpr std::size_t kLanes = 4;
#endif

using vec_f = float __attribute__((vector_size(kLanes * 4)));
using vec_i = std::int32_t __attribute__((vector_size(kLanes * 4)));

/// In memory: at a vector's own alignment, and anywhere, over whatever lies there. As typedefs:
/// clang lets an alias keep the vector's alignment.
typedef float own_f __attribute__((vector_size(kLanes * 4), may_alias));
typedef float any_f __attribute__((vector_size(kLanes * 4), aligned(1), may_alias));
typedef std::int32_t any_i __attribute__((vector_size(kLanes * 4), aligned(1), may_alias));

ZEL_INLINE vec_f load_own_f(const float* from) {
    return *reinterpret_cast<const own_f*>(from);
}
ZEL_INLINE void store_own_f(float* to, vec_f value) {
    *reinterpret_cast<own_f*>(to) = value;
}
ZEL_INLINE vec_f load_f(const void* from) {
    return *static_cast<const any_f*>(from);
}
ZEL_INLINE void store_f(void* to, vec_f value) {
    *static_cast<any_f*>(to) = value;
}
ZEL_INLINE vec_i load_i(const void* from) {
    return *static_cast<const any_i*>(from);
}
ZEL_INLINE void store_i(void* to, vec_i value) {
    *static_cast<any_i*>(to) = value;
}
ZEL_INLINE vec_f splat(float value) {
    return value - vec_f{};  // broadcasts; less zero is the same to the bit
}

/// Lanes a, b, c, d of every four: 0 to 3 are `x`'s, 4 to 7 `y`'s.
#define ZEL_LANE(q, i) (static_cast<int>((i) < 4 ? (i) + 4 * (q) : kLanes + (i)-4 + 4 * (q)))
#define ZEL_FOUR(q, a, b, c, d) ZEL_LANE(q, a), ZEL_LANE(q, b), ZEL_LANE(q, c), ZEL_LANE(q, d)
template <std::size_t A, std::size_t B, std::size_t C, std::size_t D>
ZEL_INLINE vec_f shuffle(vec_f x, vec_f y) {
#if defined(__AVX512F__)
    return __builtin_shufflevector(x, y, ZEL_FOUR(0, A, B, C, D), ZEL_FOUR(1, A, B, C, D),
                                   ZEL_FOUR(2, A, B, C, D), ZEL_FOUR(3, A, B, C, D));
#elif defined(__AVX2__)
    return __builtin_shufflevector(x, y, ZEL_FOUR(0, A, B, C, D), ZEL_FOUR(1, A, B, C, D));
#elif defined(__ARM_NEON) && !defined(__aarch64__)
    // g++ would look these two up in a table.
    if constexpr (A == 0 && B == 1 && C == 4 && D == 5) {
        return (vec_f)vcombine_f32(vget_low_f32((float32x4_t)x), vget_low_f32((float32x4_t)y));
    } else if constexpr (A == 2 && B == 3 && C == 6 && D == 7) {
        return (vec_f)vcombine_f32(vget_high_f32((float32x4_t)x), vget_high_f32((float32x4_t)y));
    } else {
        return __builtin_shufflevector(x, y, ZEL_FOUR(0, A, B, C, D));
    }
#else
    return __builtin_shufflevector(x, y, ZEL_FOUR(0, A, B, C, D));
#endif
}
#undef ZEL_FOUR
#undef ZEL_LANE

// The masking forms of some AVX-512 intrinsics stand for the plain ones, of which g++ warns.

/// The four floats at `from`, repeated.
ZEL_INLINE vec_f load_four(const float* from) {
#if defined(__AVX512F__)
    return (vec_f)_mm512_maskz_broadcast_f32x4(0xffff, _mm_loadu_ps(from));
#elif defined(__AVX2__)
    return (vec_f)_mm256_broadcast_ps(reinterpret_cast<const __m128*>(from));
#else
    return load_f(from);
#endif
}

/// kLanes 16-bit samples at `from`.
ZEL_INLINE vec_i load_16(const void* from) {
#if defined(__AVX512F__)
    const __m256i narrow = _mm256_loadu_si256(static_cast<const __m256i_u*>(from));
    return (vec_i)_mm512_maskz_cvtepi16_epi32(0xffff, narrow);
#elif defined(__AVX2__)
    return (vec_i)_mm256_cvtepi16_epi32(_mm_loadu_si128(static_cast<const __m128i_u*>(from)));
#elif defined(__SSE2__)
    const __m128i narrow = _mm_loadl_epi64(static_cast<const __m128i_u*>(from));
    return (vec_i)_mm_unpacklo_epi16(narrow, narrow) >> 16;
#else
    return (vec_i)vmovl_s16(vld1_s16(static_cast<const std::int16_t*>(from)));
#endif
}

/// Four 16-bit samples for each quarter, `offset` samples behind every Step-th of the places.
template <std::size_t Step>
ZEL_INLINE vec_i load_quarters_16(const std::int16_t* const* places, std::size_t offset) {
#if defined(__AVX2__)
    std::int64_t quarters[kLanes / 4];
    for (std::size_t q = 0; q < kLanes / 4; ++q) {
        __builtin_memcpy(&quarters[q], places[q * Step] + offset, sizeof(quarters[q]));
    }
#if defined(__AVX512F__)
    return (vec_i)_mm512_maskz_cvtepi16_epi32(
        0xffff, _mm256_set_epi64x(quarters[3], quarters[2], quarters[1], quarters[0]));
#else
    return (vec_i)_mm256_cvtepi16_epi32(_mm_set_epi64x(quarters[1], quarters[0]));
#endif
#else
    return load_16(places[0] + offset);
#endif
}

/// Stores kLanes samples, saturated to 16 bits.
ZEL_INLINE void store_16(std::int16_t* to, vec_i value) {
#if defined(__AVX512F__)
    _mm256_storeu_si256(reinterpret_cast<__m256i_u*>(to),
                        _mm512_maskz_cvtsepi32_epi16(0xffff, (__m512i)value));
#elif defined(__AVX2__)
    const __m128i low = _mm256_castsi256_si128((__m256i)value);
    const __m128i high = _mm256_extracti128_si256((__m256i)value, 1);
    _mm_storeu_si128(reinterpret_cast<__m128i_u*>(to), _mm_packs_epi32(low, high));
#elif defined(__SSE2__)
    _mm_storel_epi64(reinterpret_cast<__m128i_u*>(to),
                     _mm_packs_epi32((__m128i)value, (__m128i)value));
#else
    vst1_s16(to, vqmovn_s32((int32x4_t)value));
#endif
}

/// Toward zero, saturating at the ends of the range; not for NaN.
ZEL_INLINE vec_i truncate_number(vec_f value) {
    // x86's instruction gives the lowest integer for all that doesn't fit; its complement is the
    // highest.
#if defined(__AVX512F__)
    const __m512 f = (__m512)value;
    const __mmask16 over = _mm512_cmp_ps_mask(f, _mm512_set1_ps(2147483648.0F), _CMP_GE_OQ);
    const __m512i whole = _mm512_maskz_cvttps_epi32(0xffff, f);
    return (vec_i)_mm512_mask_mov_epi32(whole, over, _mm512_set1_epi32(0x7fffffff));
#elif defined(__AVX2__)
    return (vec_i)_mm256_cvttps_epi32((__m256)value) ^ (value >= splat(2147483648.0F));
#elif defined(__SSE2__)
    return (vec_i)_mm_cvttps_epi32((__m128)value) ^ (value >= splat(2147483648.0F));
#else
    return (vec_i)vcvtq_s32_f32((float32x4_t)value);
#endif
}
/// The same; a NaN gives 0.
ZEL_INLINE vec_i truncate(vec_f value) {
#if defined(__AVX512F__)
    const __mmask16 number = _mm512_cmp_ps_mask((__m512)value, (__m512)value, _CMP_ORD_Q);
    return (vec_i)_mm512_maskz_mov_epi32(number, (__m512i)truncate_number(value));
#elif defined(__SSE2__)
    return truncate_number(value) & (value == value);
#else
    return truncate_number(value);
#endif
}

constexpr std::size_t kRowBytes = 16;

/// 16 bytes from each of kLanes / 4 places, `step` bytes apart, in a vector's quarters.
ZEL_INLINE vec_i load_quarters(const unsigned char* from, [[maybe_unused]] std::size_t step) {
#if defined(__AVX512F__)
    __m512i v = _mm512_castsi128_si512(_mm_loadu_si128((const __m128i_u*)from));
    v = _mm512_maskz_inserti32x4(0xffff, v, _mm_loadu_si128((const __m128i_u*)(from + step)), 1);
    v = _mm512_maskz_inserti32x4(0xffff, v, _mm_loadu_si128((const __m128i_u*)(from + 2 * step)),
                                 2);
    return (vec_i)_mm512_maskz_inserti32x4(0xffff, v,
                                           _mm_loadu_si128((const __m128i_u*)(from + 3 * step)), 3);
#elif defined(__AVX2__)
    const __m256i v = _mm256_castsi128_si256(_mm_loadu_si128((const __m128i_u*)from));
    return (vec_i)_mm256_inserti128_si256(v, _mm_loadu_si128((const __m128i_u*)(from + step)), 1);
#else
    return load_i(from);
#endif
}
/// Stores one quarter.
template <std::size_t Quarter>
ZEL_INLINE void store_quarter(unsigned char* to, vec_i v) {
#if defined(__AVX512F__)
    _mm_storeu_si128((__m128i_u*)to, _mm512_maskz_extracti32x4_epi32(0xf, (__m512i)v, Quarter));
#elif defined(__AVX2__)
    _mm_storeu_si128((__m128i_u*)to, _mm256_extracti128_si256((__m256i)v, Quarter));
#else
    store_i(to, v);
#endif
}

/// The lower / upper halves of every 16 bytes of `a` and `b`, sample by sample of 2 or 4 bytes.
template <std::size_t Bytes>
ZEL_INLINE vec_i interleave_low(vec_i a, vec_i b) {
#if defined(__AVX512F__)
    return (vec_i)(Bytes == 2 ? _mm512_maskz_unpacklo_epi16(~__mmask32{}, (__m512i)a, (__m512i)b)
                              : _mm512_maskz_unpacklo_epi32(0xffff, (__m512i)a, (__m512i)b));
#elif defined(__AVX2__)
    return (vec_i)(Bytes == 2 ? _mm256_unpacklo_epi16((__m256i)a, (__m256i)b)
                              : _mm256_unpacklo_epi32((__m256i)a, (__m256i)b));
#elif defined(__SSE2__)
    return (vec_i)(Bytes == 2 ? _mm_unpacklo_epi16((__m128i)a, (__m128i)b)
                              : _mm_unpacklo_epi32((__m128i)a, (__m128i)b));
#else
    return Bytes == 2 ? (vec_i)vzipq_s16((int16x8_t)a, (int16x8_t)b).val[0]
                      : (vec_i)vzipq_s32((int32x4_t)a, (int32x4_t)b).val[0];
#endif
}
template <std::size_t Bytes>
ZEL_INLINE vec_i interleave_high(vec_i a, vec_i b) {
#if defined(__AVX512F__)
    return (vec_i)(Bytes == 2 ? _mm512_maskz_unpackhi_epi16(~__mmask32{}, (__m512i)a, (__m512i)b)
                              : _mm512_maskz_unpackhi_epi32(0xffff, (__m512i)a, (__m512i)b));
#elif defined(__AVX2__)
    return (vec_i)(Bytes == 2 ? _mm256_unpackhi_epi16((__m256i)a, (__m256i)b)
                              : _mm256_unpackhi_epi32((__m256i)a, (__m256i)b));
#elif defined(__SSE2__)
    return (vec_i)(Bytes == 2 ? _mm_unpackhi_epi16((__m128i)a, (__m128i)b)
                              : _mm_unpackhi_epi32((__m128i)a, (__m128i)b));
#else
    return Bytes == 2 ? (vec_i)vzipq_s16((int16x8_t)a, (int16x8_t)b).val[1]
                      : (vec_i)vzipq_s32((int32x4_t)a, (int32x4_t)b).val[1];
#endif
}

/// 16 bytes of each of kLanes rows, `step` bytes apart from `from` on, as four vectors: vector k
/// has the rows k, 4 + k, ... in its quarters.
struct rows {
    vec_i v[4];
};
ZEL_INLINE rows load_rows(const unsigned char* from, std::size_t step) {
    rows r;
    for (std::size_t k = 0; k < 4; ++k) {
        r.v[k] = load_quarters(from + k * step, 4 * step);
    }
    return r;
}
/// The reverse, row by row, so that a row may reach into the next ones.
ZEL_INLINE void store_rows(unsigned char* to, std::size_t step, const rows& r) {
    alignas(64) unsigned char all[4][kLanes * 4];
    for (std::size_t k = 0; k < 4; ++k) {
        store_i(all[k], r.v[k]);
    }
    for (std::size_t row = 0; row < kLanes; ++row, to += step) {
        __builtin_memcpy(to, all[row % 4] + row / 4 * kRowBytes, kRowBytes);
    }
}

/// Swaps rows and columns of the 4 by 4 words that each quarter holds.
ZEL_INLINE rows transpose(const rows& r) {
    const vec_f a = (vec_f)r.v[0];
    const vec_f b = (vec_f)r.v[1];
    const vec_f c = (vec_f)r.v[2];
    const vec_f d = (vec_f)r.v[3];
    const vec_f ab_low = shuffle<0, 4, 1, 5>(a, b);
    const vec_f ab_high = shuffle<2, 6, 3, 7>(a, b);
    const vec_f cd_low = shuffle<0, 4, 1, 5>(c, d);
    const vec_f cd_high = shuffle<2, 6, 3, 7>(c, d);
    rows t;
    t.v[0] = (vec_i)shuffle<0, 1, 4, 5>(ab_low, cd_low);
    t.v[1] = (vec_i)shuffle<2, 3, 6, 7>(ab_low, cd_low);
    t.v[2] = (vec_i)shuffle<0, 1, 4, 5>(ab_high, cd_high);
    t.v[3] = (vec_i)shuffle<2, 3, 6, 7>(ab_high, cd_high);
    return t;
}

// One rounding each. 32-bit ARM's compilers make scalar code of vector operators, because NEON
// flushes denormals there; our callers have made sure that none occurs.
// `mul_by` multiplies by the K-th of the four floats of `load_four`.
#if defined(__ARM_NEON) && !defined(__aarch64__)
ZEL_INLINE vec_f add(vec_f a, vec_f b) {
    return (vec_f)vaddq_f32((float32x4_t)a, (float32x4_t)b);
}
template <std::size_t K>
ZEL_INLINE vec_f mul_by(vec_f a, vec_f four) {
    const auto f = (float32x4_t)four;
    return (vec_f)vmulq_lane_f32((float32x4_t)a, K < 2 ? vget_low_f32(f) : vget_high_f32(f), K % 2);
}
ZEL_INLINE vec_f mul(vec_f a, vec_f b) {
    return (vec_f)vmulq_f32((float32x4_t)a, (float32x4_t)b);
}
#else
ZEL_INLINE vec_f add(vec_f a, vec_f b) {
    return a + b;
}
template <std::size_t K>
ZEL_INLINE vec_f mul_by(vec_f a, vec_f four) {
    return a * shuffle<K, K, K, K>(four, four);
}
ZEL_INLINE vec_f mul(vec_f a, vec_f b) {
    return a * b;
}
#endif

}  // namespace
