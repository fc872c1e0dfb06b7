#pragma once

// The 48 to 16 kHz filter on vectors that follow each other in memory; see zel_src_48k_window.h for
// what their lanes are. Every lane takes its products and sums in the order that is defined for its
// channel.

#include "zel_src_48k.h"
#include "zel_src_48k_window.h"
#include "zel_vector.h"

namespace {

constexpr std::size_t kTaps = zel_src_window::kTaps;
constexpr std::size_t kHalf = kTaps / 2;
/// Input frames for one output frame.
constexpr std::size_t kFactor = 3;

// Output vectors under way at once, as many as hide the additions' latency and the loads of the
// taps without running out of registers.
#if defined(__AVX512F__)
constexpr std::size_t kDirectSums = 16;
constexpr std::size_t kFoldedSums = 6;
#elif defined(__SSE2__)
constexpr std::size_t kDirectSums = 8;
constexpr std::size_t kFoldedSums = 6;
#elif defined(__aarch64__)
constexpr std::size_t kDirectSums = 8;
constexpr std::size_t kFoldedSums = 4;
#else
constexpr std::size_t kDirectSums = 4;
constexpr std::size_t kFoldedSums = 3;
#endif

/// One tap, or pair of taps, of N output vectors: their vectors lie `step` floats apart. The
/// coefficient is the K-th of four.
template <std::size_t K, std::size_t N>
ZEL_INLINE void tap(vec_f four, const float* at, std::size_t step, vec_f (&sum)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
        sum[i] = add(sum[i], mul_by<K>(load_own_f(at + i * step), four));
    }
}
template <std::size_t K, std::size_t N>
ZEL_INLINE void tap(vec_f four, const float* early, const float* late, std::size_t step,
                    vec_f (&sum)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
        const vec_f both = add(load_own_f(early + i * step), load_own_f(late + i * step));
        sum[i] = add(sum[i], mul_by<K>(both, four));
    }
}

/// N output vectors, whose windows begin at `window` and every `step` floats after it. Taps are
/// loaded by fours: the loads are what limits the speed.
template <std::size_t N, bool Folded>
ZEL_INLINE void filter(const float* window, std::size_t step, vec_f (&sum)[N]) {
    for (std::size_t i = 0; i < N; ++i) {
        sum[i] = vec_f{};
    }
    if constexpr (Folded) {
        const float* late = window + (kTaps - 1) * kLanes;
        std::size_t k = 0;
        for (; k + 4 <= kHalf; k += 4) {
            const vec_f c = load_four(res_coeff + k);
            tap<0>(c, window, late, step, sum);
            tap<1>(c, window + kLanes, late - kLanes, step, sum);
            tap<2>(c, window + 2 * kLanes, late - 2 * kLanes, step, sum);
            tap<3>(c, window + 3 * kLanes, late - 3 * kLanes, step, sum);
            window += 4 * kLanes;
            late -= 4 * kLanes;
        }
        for (; k < kHalf; ++k) {
            tap<0>(splat(res_coeff[k]), window, late, step, sum);
            window += kLanes;
            late -= kLanes;
        }
        tap<0>(splat(res_coeff[kHalf]), window, step, sum);
    } else {
        std::size_t t = 0;
        for (; t + 4 <= kTaps; t += 4) {
            const vec_f c = load_four(res_coeff + t);
            tap<0>(c, window, step, sum);
            tap<1>(c, window + kLanes, step, sum);
            tap<2>(c, window + 2 * kLanes, step, sum);
            tap<3>(c, window + 3 * kLanes, step, sum);
            window += 4 * kLanes;
        }
        for (; t < kTaps; ++t) {
            tap<0>(splat(res_coeff[t]), window, step, sum);
            window += kLanes;
        }
    }
}

/// N output vectors from the `first` on, truncated and then saturated to 16 bits, which is the same
/// as the other way round.
template <bool Folded, std::size_t N>
ZEL_INLINE void outputs_at(const float* vectors, std::size_t first, std::int16_t* lanes) {
    vec_f sum[N];
    std::size_t step = kFactor * kLanes;
#if !defined(__AVX512F__) && !defined(__aarch64__)
    // Else compilers keep a sum's taps for the next sums until the registers run out.
    __asm__("" : "+r"(step));
#endif
    filter<N, Folded>(vectors + first * kFactor * kLanes, step, sum);
    for (std::size_t i = 0; i < N; ++i) {
        store_16(lanes + (first + i) * kLanes, __builtin_convertvector(sum[i], vec_i));
    }
}
/// The last ones, at most N.
template <bool Folded, std::size_t N>
ZEL_INLINE void last_outputs(const float* vectors, std::size_t first, std::size_t end,
                             std::int16_t* lanes) {
    if constexpr (N > 0) {
        if (end - first == N) {
            outputs_at<Folded, N>(vectors, first, lanes);
        } else {
            last_outputs<Folded, N - 1>(vectors, first, end, lanes);
        }
    }
}
template <bool Folded>
void filter_all(const float* vectors, std::size_t outputs, std::int16_t* lanes) {
    constexpr std::size_t kAtOnce = Folded ? kFoldedSums : kDirectSums;
    std::size_t done = 0;
    for (; done + kAtOnce <= outputs; done += kAtOnce) {
        outputs_at<Folded, kAtOnce>(vectors, done, lanes);
    }
    last_outputs<Folded, kAtOnce - 1>(vectors, done, outputs, lanes);
}

}  // namespace
