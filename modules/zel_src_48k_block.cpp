// A block of the 48 to 16 kHz converter at once: the sums of the chN_scale48k in their order, for
// many output samples side by side, on the same history ring.

#include <algorithm>
#include <cstring>
#include <iterator>

#include "zel_src_48k_state.h"
#include "zel_vector.h"

namespace {

constexpr std::size_t kGroupFrames = 3;
constexpr std::size_t kTaps = std::size(res_coeff);
constexpr std::size_t kWindowGroups = kTaps / kGroupFrames;
static_assert(kTaps % kGroupFrames == 0, "the kernels take three taps at a time");
static_assert(kTaps % 2 == 1, "the folded ones end with a tap in the middle");
constexpr std::size_t kMostGroups = 128;  // new ones taken at a time
/// Vectors of sums under way at once, as many as the registers hold: they hide the additions'
/// latency.
#if defined(__aarch64__)
constexpr std::size_t kSums = 16;
#elif defined(__ARM_NEON)
constexpr std::size_t kSums = 4;
#else
constexpr std::size_t kSums = 8;
#endif
constexpr std::size_t kMostStep = kSums * 8;  // output samples made at once

/// A piece of the stream as floats, every third frame in a row: x[p] has the frames p, p + 3, ...
/// With tap 3 q + p, consecutive output samples, all channels of one frame after the other's, take
/// consecutive floats of x[p] from q frames on. What is made behind the last one is dropped.
struct thirds {
    alignas(64) float x[kGroupFrames]
                       [(kWindowGroups + kMostGroups) * kZelSrcMaxChannels + kMostStep] = {};
};

/// Puts groups of three frames of W channels behind the `at` groups that are there.
template <std::size_t W>
void put(thirds& to, std::size_t at, const std::int16_t* frames, std::size_t groups) {
    std::int16_t rows[kGroupFrames][kMostGroups * W];
    for (std::size_t g = 0; g < groups; ++g) {
        for (auto& row : rows) {
            std::memcpy(row + g * W, frames, W * sizeof(*frames));
            frames += W;
        }
    }
    for (std::size_t p = 0; p < kGroupFrames; ++p) {
        for (std::size_t i = 0; i < groups * W; ++i) {
            to.x[p][at * W + i] = rows[p][i];
        }
    }
}
using put_fn = void (*)(thirds& to, std::size_t at, const std::int16_t* frames, std::size_t groups);

put_fn find_put(std::size_t channels) {
    return channels == 2 ? put<2> : channels == 4 ? put<4> : channels == 6 ? put<6> : put<8>;
}

template <std::size_t Lanes>
struct sums {
    using floats = typename zel_vector<Lanes>::floats;
    using any_floats = typename zel_vector<Lanes>::any_floats;
    floats v[kSums] = {};

    ZEL_INLINE void add_tap(float c, const float* x) {
#pragma GCC unroll 16
        for (std::size_t i = 0; i < kSums; ++i) {
            const floats one = *reinterpret_cast<const any_floats*>(x + i * Lanes);
            zel_add_product(v[i], c, one);
        }
    }
    ZEL_INLINE void add_pair(float c, const float* early, const float* late) {
#pragma GCC unroll 16
        for (std::size_t i = 0; i < kSums; ++i) {
            floats pair = *reinterpret_cast<const any_floats*>(early + i * Lanes);
            const floats other = *reinterpret_cast<const any_floats*>(late + i * Lanes);
            zel_add(pair, other);
            zel_add_product(v[i], c, pair);
        }
    }
    ZEL_INLINE void finish(std::int16_t* out) const {
        float all[kSums * Lanes];
        std::memcpy(all, v, sizeof(all));
        for (const float sum : all) {
            const float limited = sum < -32768.0F ? -32768.0F : sum;
            *out++ = static_cast<std::int16_t>(limited > 32767.0F ? 32767.0F : limited);
        }
    }
};

/// Makes the output samples from the f-th of the piece on, one step of them.
using filter_fn = void (*)(const thirds& in, std::size_t channels, std::size_t f,
                           std::int16_t* out);

// The channels are no constant here: g++ would carry taps from one turn to the next and run out of
// registers.

template <std::size_t Lanes>
ZEL_INLINE void direct(const thirds& in, std::size_t channels, std::size_t f, std::int16_t* out) {
    sums<Lanes> sum;
    const float* c = res_coeff;
    for (std::size_t q = 0; q < kWindowGroups; ++q, f += channels) {
        sum.add_tap(*c++, in.x[0] + f);
        sum.add_tap(*c++, in.x[1] + f);
        sum.add_tap(*c++, in.x[2] + f);
    }
    sum.finish(out);
}

template <std::size_t Lanes>
ZEL_INLINE void folded(const thirds& in, std::size_t channels, std::size_t f, std::int16_t* out) {
    sums<Lanes> sum;
    const float* c = res_coeff;
    std::size_t late = f + (kWindowGroups - 1) * channels;
    for (; f < late; f += channels, late -= channels) {
        sum.add_pair(*c++, in.x[0] + f, in.x[2] + late);
        sum.add_pair(*c++, in.x[1] + f, in.x[1] + late);
        sum.add_pair(*c++, in.x[2] + f, in.x[0] + late);
    }
    sum.add_pair(*c++, in.x[0] + f, in.x[2] + f);
    sum.add_tap(*c, in.x[1] + f);
    sum.finish(out);
}

void direct_4(const thirds& in, std::size_t channels, std::size_t f, std::int16_t* out) {
    direct<4>(in, channels, f, out);
}
void folded_4(const thirds& in, std::size_t channels, std::size_t f, std::int16_t* out) {
    folded<4>(in, channels, f, out);
}

#if defined(__x86_64__)
__attribute__((target("avx2"))) void direct_8(const thirds& in, std::size_t channels, std::size_t f,
                                              std::int16_t* out) {
    direct<8>(in, channels, f, out);
}
__attribute__((target("avx2"))) void folded_8(const thirds& in, std::size_t channels, std::size_t f,
                                              std::int16_t* out) {
    folded<8>(in, channels, f, out);
}
#endif

filter_fn find_filter(std::size_t channels, [[maybe_unused]] std::size_t lanes) {
#if defined(__x86_64__)
    if (lanes == 8) {
        return channels == 2 ? direct_8 : folded_8;
    }
#endif
    return channels == 2 ? direct_4 : folded_4;
}

/// What frame after frame leaves in the ring: the newest frames, and both positions moved on.
void keep(const std::int16_t* block, std::uint32_t samples) {
    zel_src_state& src = g_zel_src;
    const std::uint32_t kept = std::min(samples, src.u32RingLen);
    const std::uint32_t at = (src.u32WriteIdx + samples - kept) % src.u32RingLen;
    const std::uint32_t to_end = std::min(kept, src.u32RingLen - at);
    const std::int16_t* newest = block + (samples - kept);
    std::memcpy(src.as16History + at, newest, to_end * sizeof(*newest));
    std::memcpy(src.as16History, newest + to_end, (kept - to_end) * sizeof(*newest));
    src.u32WriteIdx = (src.u32WriteIdx + samples) % src.u32RingLen;
    src.u32ReadIdx = (src.u32ReadIdx + samples) % src.u32RingLen;
}

}  // namespace

std::uint32_t zel_src_widest_lanes() {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx2")) {
        return 8;
    }
#endif
    return 4;
}

void zel_src_convert_block(std::int16_t* block, std::uint32_t samples) {
    const zel_src_state& src = g_zel_src;
    const std::size_t channels = src.u32Channels;
    const put_fn put_groups = find_put(channels);
    const filter_fn filter = find_filter(channels, src.u32Lanes);
    const std::size_t step = kSums * src.u32Lanes;
    const std::size_t group = kGroupFrames * channels;
    thirds in;
    const std::size_t to_end =
        std::min<std::size_t>((src.u32RingLen - src.u32ReadIdx) / group, kWindowGroups);
    put_groups(in, 0, src.as16History + src.u32ReadIdx, to_end);
    put_groups(in, to_end, src.as16History, kWindowGroups - to_end);
    keep(block, samples);
    std::int16_t* out = block;
    for (std::size_t left = samples / group; left > 0;) {
        const std::size_t run = std::min(left, kMostGroups);
        put_groups(in, kWindowGroups, block, run);
        std::int16_t made[kMostGroups * kZelSrcMaxChannels + kMostStep];
        for (std::size_t f = 0; f < run * channels; f += step) {
            filter(in, channels, f, made + f);
        }
        std::memcpy(out, made, run * channels * sizeof(*out));
        for (auto& third : in.x) {
            std::memmove(third, third + run * channels, kWindowGroups * channels * sizeof(*third));
        }
        out += run * channels;
        block += run * group;
        left -= run;
    }
}
