// One output frame of the 48 to 16 kHz converter, one kernel per working channel count. Two
// channels use the direct form, more the folded form; the order of the sums is part of the result.

#include <algorithm>

#include "zel_src_48k_state.h"

namespace {

/// Sample position of the window's `frame`-th frame in the history ring.
inline std::uint32_t position(std::uint32_t frame, std::uint32_t channels) {
    const std::uint32_t at = g_zel_src.u32ReadIdx + frame * channels;
    return at < g_zel_src.u32RingLen ? at : at - g_zel_src.u32RingLen;
}

template <std::uint32_t W>
void finish(const float (&acc)[W], std::int16_t* out) {
    g_zel_src.u32ReadIdx = position(3, W);
    for (std::uint32_t ch = 0; ch < W; ++ch) {
        out[ch] = static_cast<std::int16_t>(std::clamp(acc[ch], -32768.0F, 32767.0F));
    }
}

template <std::uint32_t W>
void scale_folded(std::int16_t* out) {
    const std::int16_t* history = g_zel_src.as16History;
    const std::uint32_t half = g_zel_src.u32HalfOrder;
    const auto last = static_cast<std::uint32_t>(res_order) - 1;
    float acc[W] = {};
    for (std::uint32_t k = 0; k < half; ++k) {
        const std::int16_t* early = history + position(k, W);
        const std::int16_t* late = history + position(last - k, W);
        for (std::uint32_t ch = 0; ch < W; ++ch) {
            const float pair = static_cast<float>(early[ch]) + static_cast<float>(late[ch]);
            const float product = res_coeff[k] * pair;
            acc[ch] += product;
        }
    }
    if (g_zel_src.u32OddOrder == 1) {
        const std::int16_t* centre = history + position(half, W);
        for (std::uint32_t ch = 0; ch < W; ++ch) {
            const float product = res_coeff[half] * static_cast<float>(centre[ch]);
            acc[ch] += product;
        }
    }
    finish<W>(acc, out);
}

}  // namespace

// Stays in memory: at the process's end a worker that a card holds may still use it.
zel_src_state& g_zel_src = *new zel_src_state;

void ch2_scale48k(std::int16_t* out, unsigned int pos) {
    float acc[2] = {};
    for (std::uint32_t t = 0; t < static_cast<std::uint32_t>(res_order); ++t) {
        const std::int16_t* frame = g_zel_src.as16History + position(t, 2);
        for (std::uint32_t ch = 0; ch < 2; ++ch) {
            const float product = res_coeff[t] * static_cast<float>(frame[ch]);
            acc[ch] += product;
        }
    }
    finish<2>(acc, out + pos);
}

void ch4_scale48k(std::int16_t* out, unsigned int pos) {
    scale_folded<4>(out + pos);
}
void ch6_scale48k(std::int16_t* out, unsigned int pos) {
    scale_folded<6>(out + pos);
}
void ch8_scale48k(std::int16_t* out, unsigned int pos) {
    scale_folded<8>(out + pos);
}

zel_src_kernel zel_find_src_kernel(std::uint32_t channels) {
    switch (channels) {
        case 2:
            return ch2_scale48k;
        case 4:
            return ch4_scale48k;
        case 6:
            return ch6_scale48k;
        case 8:
            return ch8_scale48k;
        default:
            return nullptr;
    }
}
