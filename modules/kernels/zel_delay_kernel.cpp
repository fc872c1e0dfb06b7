// Channels with delays of their own, merged byte by byte from where each group of them is.

#include "zel_delay_piece.h"
#include "zel_vector.h"
#include "zel_vector_kernels.h"

namespace {

constexpr std::size_t kBytes = sizeof(vec_i);
constexpr std::size_t kAtOnce = 8;

/// The bytes of `under`, or of `from` where the mask is set.
ZEL_INLINE vec_i lay_over(vec_i under, const unsigned char* from, vec_i mask) {
#if defined(__AVX512F__)
    return (vec_i)_mm512_mask_loadu_epi8((__m512i)under, _mm512_movepi8_mask((__m512i)mask), from);
#elif defined(__AVX2__)
    return (vec_i)_mm256_blendv_epi8((__m256i)under, (__m256i)load_i(from), (__m256i)mask);
#else
    return (under & ~mask) | (load_i(from) & mask);
#endif
}

/// N vectors, `step` bytes apart, that all begin at the byte `phase` of a frame.
template <std::size_t N>
ZEL_INLINE void merge(const zel_delay_piece& piece, std::size_t at, std::size_t step,
                      std::size_t phase) {
    vec_i merged[N];
    for (std::size_t u = 0; u < N; ++u) {
        merged[u] = load_i(piece.sources[0] + at + u * step);
    }
    const unsigned char* mask_at = piece.masks + phase;
    for (std::size_t g = 1; g < piece.groups; ++g) {
        mask_at += piece.mask_bytes;
        const vec_i mask = load_i(mask_at);
        const unsigned char* from = piece.sources[g] + at;
        for (std::size_t u = 0; u < N; ++u) {
            merged[u] = lay_over(merged[u], from + u * step, mask);
        }
    }
    for (std::size_t u = 0; u < N; ++u) {
        store_i(piece.out + at + u * step, merged[u]);
    }
}

ZEL_INLINE void merge_bytes(const zel_delay_piece& piece) {
    for (std::size_t at = 0; at < piece.bytes; ++at) {
        unsigned char merged = 0;
        for (std::size_t g = 0; g < piece.groups; ++g) {
            merged = static_cast<unsigned char>(
                merged | (piece.masks[g * piece.mask_bytes + at % piece.frame_bytes] &
                          piece.sources[g][at]));
        }
        piece.out[at] = merged;
    }
}

}  // namespace

namespace ZEL_KERNEL_SET {

void delay(const zel_delay_piece& all) {
    const zel_delay_piece piece = all;  // stores to the output can't change it
    if (piece.bytes < kBytes) {
        merge_bytes(piece);
        return;
    }
    // After so many vectors the next begins at the same byte of a frame.
    std::size_t period = 1;
    while (period * kBytes % piece.frame_bytes != 0) {
        ++period;
    }
    const std::size_t step = period * kBytes;
    // Whole milliseconds at 48 kHz are whole cache lines for most streams, so that what aligns one
    // source aligns all.
    merge<1>(piece, 0, 0, 0);
    std::size_t at = kBytes - reinterpret_cast<std::uintptr_t>(piece.sources[0]) % kBytes;
    std::size_t phase = at % piece.frame_bytes;
    const std::size_t next_phase = kBytes % piece.frame_bytes;
    for (; at + kAtOnce * step <= piece.bytes; at += kAtOnce * step) {
        for (std::size_t v = 0; v < step; v += kBytes) {
            merge<kAtOnce>(piece, at + v, step, phase);
            phase += next_phase;
            phase -= phase >= piece.frame_bytes ? piece.frame_bytes : 0;
        }
    }
    for (; at + kBytes <= piece.bytes; at += kBytes) {
        merge<1>(piece, at, 0, at % piece.frame_bytes);
    }
    if (at < piece.bytes) {
        at = piece.bytes - kBytes;
        merge<1>(piece, at, 0, at % piece.frame_bytes);
    }
}

}  // namespace ZEL_KERNEL_SET
