// Sample widths in vectors, two of them at a time. A block converted in place is read ahead of what
// is written.

#include "zel_vector.h"
#include "zel_vector_kernels.h"

namespace {

constexpr std::size_t kAtOnce = 2 * kLanes;
constexpr std::size_t kUnrolled = 4;

/// The upper halves of the words at `from`, `kAtOnce` of them.
ZEL_INLINE void upper_halves(const unsigned char* from, unsigned char* to) {
    const vec_i low = load_i(from);
    const vec_i high = load_i(from + sizeof(low));
#if defined(__AVX512F__)
    alignas(64) static constexpr std::int16_t kOdd[32] = {
        1,  3,  5,  7,  9,  11, 13, 15, 17, 19, 21, 23, 25, 27, 29, 31,
        33, 35, 37, 39, 41, 43, 45, 47, 49, 51, 53, 55, 57, 59, 61, 63};
    store_i(to,
            (vec_i)_mm512_permutex2var_epi16((__m512i)low, _mm512_load_si512(kOdd), (__m512i)high));
#elif defined(__AVX2__)
    // In each 16 bytes the even samples are `low`'s, the odd ones `high`'s.
    const __m256i mixed =
        _mm256_blend_epi16(_mm256_srli_epi32((__m256i)low, 16), (__m256i)high, 0xaa);
    const __m256i even_odd = _mm256_broadcastsi128_si256(
        _mm_setr_epi8(0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15));
    store_i(to, (vec_i)_mm256_permute4x64_epi64(_mm256_shuffle_epi8(mixed, even_odd), 0xd8));
#elif defined(__SSE2__)
    store_i(to, (vec_i)_mm_packs_epi32((__m128i)(low >> 16), (__m128i)(high >> 16)));
#else
    const int16x4_t first = vshrn_n_s32((int32x4_t)low, 16);
    store_i(to, (vec_i)vcombine_s16(first, vshrn_n_s32((int32x4_t)high, 16)));
#endif
}

/// `kAtOnce` samples into the upper halves of as many words.
ZEL_INLINE void to_upper_halves(const unsigned char* from, unsigned char* to) {
#if defined(__AVX512F__)
    alignas(64) static constexpr std::int16_t kTwice[32] = {
        0, 0, 1, 1, 2,  2,  3,  3,  4,  4,  5,  5,  6,  6,  7,  7,
        8, 8, 9, 9, 10, 10, 11, 11, 12, 12, 13, 13, 14, 14, 15, 15};
    const __m512i low = _mm512_load_si512(kTwice);
    const __m512i high = _mm512_add_epi16(low, _mm512_set1_epi16(16));
    const __m512i narrow = (__m512i)load_i(from);
    constexpr __mmask32 kOdd = 0xaaaaaaaa;
    store_i(to, (vec_i)_mm512_maskz_permutexvar_epi16(kOdd, low, narrow));
    store_i(to + 64, (vec_i)_mm512_maskz_permutexvar_epi16(kOdd, high, narrow));
#elif defined(__SSE2__) && !defined(__AVX2__)
    const __m128i narrow = (__m128i)load_i(from);
    store_i(to, (vec_i)_mm_unpacklo_epi16(_mm_setzero_si128(), narrow));
    store_i(to + 16, (vec_i)_mm_unpackhi_epi16(_mm_setzero_si128(), narrow));
#else
    store_i(to, load_16(from) << 16);
    store_i(to + sizeof(vec_i), load_16(from + sizeof(vec_i) / 2) << 16);
#endif
}

/// All samples by `Convert`, which makes `kAtOnce` of InBytes ones of OutBytes.
template <std::size_t InBytes, std::size_t OutBytes,
          void (*Convert)(const unsigned char* from, unsigned char* to)>
ZEL_INLINE void convert(const unsigned char* from, unsigned char* to, std::size_t samples) {
    for (; samples >= kUnrolled * kAtOnce; samples -= kUnrolled * kAtOnce) {
        for (std::size_t u = 0; u < kUnrolled; ++u) {
            Convert(from + u * kAtOnce * InBytes, to + u * kAtOnce * OutBytes);
        }
        from += kUnrolled * kAtOnce * InBytes;
        to += kUnrolled * kAtOnce * OutBytes;
    }
    for (; samples >= kAtOnce; samples -= kAtOnce) {
        Convert(from, to);
        from += kAtOnce * InBytes;
        to += kAtOnce * OutBytes;
    }
    unsigned char in_rest[kAtOnce * InBytes] = {};
    unsigned char out_rest[kAtOnce * OutBytes];
    __builtin_memcpy(in_rest, from, samples * InBytes);
    Convert(in_rest, out_rest);
    __builtin_memcpy(to, out_rest, samples * OutBytes);
}

}  // namespace

namespace ZEL_KERNEL_SET {

void truncate_32_to_16(void* block, std::size_t samples) {
    auto* bytes = static_cast<unsigned char*>(block);
    convert<4, 2, upper_halves>(bytes, bytes, samples);
}

void pad_16_to_32(const void* in, std::size_t samples, void* out) {
    const auto* from = static_cast<const unsigned char*>(in);
    auto* to = static_cast<unsigned char*>(out);
    const std::size_t misaligned = reinterpret_cast<std::uintptr_t>(out) % sizeof(vec_i);
    if (samples >= 2 * kAtOnce && misaligned % 4 == 0) {
        // The first samples twice, so that no store crosses a cache line.
        to_upper_halves(from, to);
        const std::size_t done = (sizeof(vec_i) - misaligned) / 4;
        from += done * 2;
        to += done * 4;
        samples -= done;
    }
    convert<2, 4, to_upper_halves>(from, to, samples);
}

}  // namespace ZEL_KERNEL_SET
