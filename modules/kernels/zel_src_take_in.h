#pragma once

// Building the history of the 48 to 16 kHz vector kernels from converted frames; see
// zel_src_48k_window.h for the layout.

#include "zel_vector.h"

namespace {

/// Input frames for one output frame.
constexpr std::size_t kFactor = 3;

/// The lanes moved down by S, the lowest S lanes of `frame` above them.
template <std::size_t S>
ZEL_INLINE vec_f drop_and_append(vec_f lanes, vec_f frame) {
    if constexpr (S == kLanes) {
        return frame;
    } else {
#if defined(__AVX512F__)
        return (vec_f)_mm512_maskz_alignr_epi32(0xffff, (__m512i)frame, (__m512i)lanes, S);
#elif defined(__AVX2__)
        return __builtin_shufflevector(lanes, frame, S, S + 1, S + 2, S + 3, S + 4, S + 5, S + 6,
                                       S + 7);
#else
        return __builtin_shufflevector(lanes, frame, S, S + 1, S + 2, S + 3);
#endif
    }
}

/// The S floats at `in`, in the lowest lanes: no wider load, which would cross a cache line.
template <std::size_t S>
ZEL_INLINE vec_f frame_at(const float* in) {
    if constexpr (S == kLanes) {
        return load_f(in);
    } else if constexpr (S == 1) {
        return splat(*in);
    } else if constexpr (S == 2) {
        std::int64_t both = 0;
        __builtin_memcpy(&both, in, sizeof(both));
        using vec_l = std::int64_t __attribute__((vector_size(kLanes * 4)));
        return (vec_f)(both + vec_l{});
    } else if constexpr (S == 4) {
        return load_four(in);
#if defined(__AVX512F__)
    } else {
        return (vec_f)_mm512_maskz_broadcast_f32x8(0xffff, _mm256_loadu_ps(in));
#endif
    }
}

/// Takes in `frames` frames whose S channels are at `in`, `stride` floats apart: each goes into the
/// last lanes of the vector that it completes. `to` is the first vector to complete.
template <std::size_t S>
void take_in(float* to, const float* in, std::size_t stride, std::size_t frames) {
    vec_f first = load_own_f(to - 3 * kLanes);
    vec_f second = load_own_f(to - 2 * kLanes);
    vec_f third = load_own_f(to - kLanes);
    for (std::size_t n = 0; n < frames; n += kFactor) {
        first = drop_and_append<S>(first, frame_at<S>(in));
        second = drop_and_append<S>(second, frame_at<S>(in + stride));
        third = drop_and_append<S>(third, frame_at<S>(in + 2 * stride));
        store_own_f(to, first);
        store_own_f(to + kLanes, second);
        store_own_f(to + 2 * kLanes, third);
        in += kFactor * stride;
        to += kFactor * kLanes;
    }
}

}  // namespace
