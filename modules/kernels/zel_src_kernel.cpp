// The 48 to 16 kHz filter in vectors; see zel_src_48k_window.h for the layout. Every lane takes its
// products and sums in the order that is defined for its channel.

#include "zel_src_48k.h"
#include "zel_src_48k_window.h"
#include "zel_src_take_in.h"
#include "zel_vector.h"
#include "zel_vector_kernels.h"

namespace {

constexpr std::size_t kTaps = 237;
constexpr std::size_t kHalf = kTaps / 2;
/// Input frames taken in at a time: what they and the window take stays in the first-level cache.
constexpr std::size_t kChunkFrames = 384;
constexpr std::size_t kMaxChannels = 8;

// Output vectors under way at once, as many as hide the additions' latency and the loads of the
// taps without running out of registers.
#if defined(__AVX512F__)
constexpr std::size_t kDirectSums = 16;
#elif defined(__AVX2__)
constexpr std::size_t kDirectSums = 6;
#elif defined(__SSE2__) || defined(__aarch64__)
constexpr std::size_t kDirectSums = 8;
#else
constexpr std::size_t kDirectSums = 4;
#endif
constexpr std::size_t kFoldedSums = 4;

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

/// Stores the first `frames` frames of S channels that the vector holds, `channels` samples apart,
/// truncated and then saturated to 16 bits, which is the same as the other way round.
template <std::size_t S>
ZEL_INLINE void put(vec_f sum, std::int16_t* out, std::size_t channels, std::size_t frames) {
    const vec_i whole = __builtin_convertvector(sum, vec_i);
    if (channels == S && frames == kLanes / S) {
        store_16(out, whole);
        return;
    }
    alignas(64) std::int16_t lanes[kLanes];
    store_16(lanes, whole);
    for (std::size_t f = 0; f < frames; ++f) {
        __builtin_memcpy(out + f * channels, lanes + f * S, S * sizeof(std::int16_t));
    }
}

template <std::size_t S, bool Folded>
struct group_kernel {
    static constexpr std::size_t kPerVector = kLanes / S;  ///< output frames in a vector
    static constexpr std::size_t kAtOnce = Folded ? kFoldedSums : kDirectSums;
    static constexpr std::size_t kLastAtOnce = kAtOnce < 8 ? kAtOnce : 8;
    static constexpr std::size_t kLag = kFactor * (kPerVector - 1);

    /// The next `frames` output frames, which need N vectors.
    template <std::size_t N>
    static ZEL_INLINE std::int16_t* outputs(zel_src_window::group& g, std::int16_t* out,
                                            std::size_t channels, std::size_t frames) {
        vec_f sum[N];
        filter<N, Folded>(g.vectors + g.next * kLanes, kFactor * kPerVector * kLanes, sum);
        for (std::size_t i = 0; i + 1 < N; ++i) {
            put<S>(sum[i], out, channels, kPerVector);
            out += kPerVector * channels;
        }
        const std::size_t last = frames - (N - 1) * kPerVector;
        put<S>(sum[N - 1], out, channels, last);
        g.next += kFactor * frames;
        return out + last * channels;
    }

    /// All outputs that are due, although the last vector may not be full.
    static std::int16_t* finish(zel_src_window::group& g, std::int16_t* out, std::size_t channels,
                                std::size_t due) {
        if (due % kPerVector != 0) {
            // The frames at hand get their lanes, though those behind them are still to come.
            const float silence[kLanes] = {};
            take_in<S>(g.vectors + (g.filled - kLag) * kLanes, silence, 0, kLag);
        }
        for (; due > kLastAtOnce * kPerVector; due -= kLastAtOnce * kPerVector) {
            out = outputs<kLastAtOnce>(g, out, channels, kLastAtOnce * kPerVector);
        }
        return last_outputs<kLastAtOnce>(g, out, channels, due);
    }

    /// At most N vectors of outputs.
    template <std::size_t N>
    static ZEL_INLINE std::int16_t* last_outputs(zel_src_window::group& g, std::int16_t* out,
                                                 std::size_t channels, std::size_t due) {
        if constexpr (N == 0) {
            return out;
        } else if (due > (N - 1) * kPerVector) {
            return outputs<N>(g, out, channels, due);
        } else {
            return last_outputs<N - 1>(g, out, channels, due);
        }
    }

    /// Takes in a chunk and makes the output vectors that are complete, after a block's `last`
    /// chunk all outputs. Returns where the next output goes.
    static std::int16_t* run(zel_src_window::group& g, const float* in, std::size_t channels,
                             std::size_t frames, std::int16_t* out, bool last) {
        take_in<S>(g.vectors + (g.filled - kLag) * kLanes, in, channels, frames);
        g.filled += frames;
        std::size_t due = (g.filled - kTaps - g.next) / kFactor;
        for (; due >= kAtOnce * kPerVector; due -= kAtOnce * kPerVector) {
            out = outputs<kAtOnce>(g, out, channels, kAtOnce * kPerVector);
        }
        return last ? finish(g, out, channels, due) : out;
    }
};

template <bool Folded>
std::int16_t* run_group(std::size_t width, zel_src_window::group& g, const float* in,
                        std::size_t channels, std::size_t frames, std::int16_t* out, bool last) {
    switch (width) {
        case 1:
            return group_kernel<1, Folded>::run(g, in, channels, frames, out, last);
        case 2:
            return group_kernel<2, Folded>::run(g, in, channels, frames, out, last);
        case 4:
            return group_kernel<4, Folded>::run(g, in, channels, frames, out, last);
#if defined(__AVX2__)
        case 8:
            return group_kernel<8, Folded>::run(g, in, channels, frames, out, last);
#endif
        default:
            return out;
    }
}

/// Channels of the group that begins at channel `first`. Seven, and but for AVX2 three, are cheaper
/// as one more, which then is the next frame's first and is overwritten by it.
ZEL_INLINE std::size_t group_width(std::size_t first, std::size_t channels) {
    const std::size_t left = channels - first;
    if (left == 8 || (left == 7 && kLanes >= 8)) {
        return kLanes >= 8 ? 8 : 4;
    }
    if (channels == 3 && kLanes != 8) {
        return 4;
    }
    return left >= 4 ? 4 : left >= 2 ? 2 : 1;
}

void to_floats(const std::int16_t* in, std::size_t samples, float* out) {
    std::size_t i = 0;
    for (; i + kLanes <= samples; i += kLanes) {
        store_f(out + i, __builtin_convertvector(load_16(in + i), vec_f));
    }
    for (; i < samples; ++i) {
        out[i] = static_cast<float>(in[i]);
    }
    store_f(out + samples, vec_f{});  // a frame is read a vector at a time
}

void make_room(zel_src_window::group& g) {
    if (g.filled + kChunkFrames > zel_src_window::kVectors) {
        __builtin_memmove(g.vectors, g.vectors + g.next * kLanes,
                          (g.filled - g.next) * kLanes * sizeof(float));
        g.filled -= g.next;
        g.next = 0;
    }
}

}  // namespace

namespace ZEL_KERNEL_SET {

void src_reset(zel_src_window* window, std::size_t channels) {
    window->channels = channels;
    std::size_t g = 0;
    for (std::size_t first = 0; first < channels; first += group_width(first, channels), ++g) {
        window->groups[g].filled = kTaps;
        window->groups[g].next = 0;
        __builtin_memset(window->groups[g].vectors, 0, kTaps * kLanes * sizeof(float));
    }
}

void src_convert(zel_src_window* window, std::int16_t* block, std::size_t frames) {
    alignas(64) float chunk[kChunkFrames * kMaxChannels + kLanes];
    const std::size_t channels = window->channels;
    std::int16_t* out[zel_src_window::kMaxGroups] = {block, block, block};
    for (std::size_t done = 0; done < frames;) {
        const std::size_t size = frames - done < kChunkFrames ? frames - done : kChunkFrames;
        to_floats(block + done * channels, size * channels, chunk);
        done += size;
        std::size_t g = 0;
        for (std::size_t first = 0; first < channels; ++g) {
            const std::size_t width = group_width(first, channels);
            make_room(window->groups[g]);
            // One or two channels have the direct form, more the folded one.
            out[g] = channels > 2
                         ? run_group<true>(width, window->groups[g], chunk + first, channels, size,
                                           out[g] + first, done == frames)
                         : run_group<false>(width, window->groups[g], chunk + first, channels, size,
                                            out[g] + first, done == frames);
            out[g] -= first;
            first += width;
        }
    }
}

}  // namespace ZEL_KERNEL_SET
