#include "zel_src_48k.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <new>

#include "zel_log.h"
#include "zel_src_48k_state.h"

namespace {

constexpr const char* kTag = "zel_src";
constexpr std::uint32_t kFactor = 3;

/// Sample position of the window's `frame`-th frame in the history ring.
inline std::uint32_t position(std::uint32_t frame, std::uint32_t channels) {
    const std::uint32_t at = g_zel_src.u32ReadIdx + frame * channels;
    return at < g_zel_src.u32RingLen ? at : at - g_zel_src.u32RingLen;
}

template <std::uint32_t W>
void finish(const float (&acc)[W], std::int16_t* out) {
    g_zel_src.u32ReadIdx = position(kFactor, W);
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

/// Spreads the caller's frames into working frames with a silent sample at their end.
void pad(const std::int16_t* block, std::uint32_t frames) {
    const std::uint32_t working = g_zel_src.u32Channels;
    std::int16_t* to = g_zel_src.ps16PadBuf.get();
    std::fill_n(to, frames * working, std::int16_t{0});
    for (std::size_t f = 0; f < frames; ++f) {
        std::copy_n(block + f * (working - 1), working - 1, to + f * working);
    }
}

void unpad(std::int16_t* block, std::uint32_t frames) {
    const std::uint32_t working = g_zel_src.u32Channels;
    const std::int16_t* from = g_zel_src.ps16PadBuf.get();
    for (std::size_t f = 0; f < frames; ++f) {
        std::copy_n(from + f * working, working - 1, block + f * (working - 1));
    }
}

/// Output frame g overwrites input that is in the history by then.
void convert_frames(std::int16_t* block, std::uint32_t samples) {
    zel_src_state& src = g_zel_src;
    const std::uint32_t group = kFactor * src.u32Channels;
    std::uint32_t out = 0;
    for (std::uint32_t j = 0; j < samples; j += group) {
        std::memcpy(src.as16History + src.u32WriteIdx, block + j, group * sizeof(std::int16_t));
        src.pfnScale(block, out);
        out += src.u32Channels;
        src.u32WriteIdx = (src.u32WriteIdx + group) % src.u32RingLen;
    }
}

zel_src_kernel find_kernel(std::int64_t channels) {
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

}  // namespace

// Stays in memory: at the process's end a worker that a card holds may still use it.
zel_src_state& g_zel_src = *new zel_src_state;

// Two channels use the direct form, more the folded form; the order of the sums is part of the
// result.

void ch2_scale48k(std::int16_t* out, unsigned int pos) {
    float acc[2] = {};
    std::uint32_t t = 0;
    for (const float coefficient : res_coeff) {
        const std::int16_t* frame = g_zel_src.as16History + position(t++, 2);
        for (std::uint32_t ch = 0; ch < 2; ++ch) {
            const float product = coefficient * static_cast<float>(frame[ch]);
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

int Ovra_VOC_SrcInit48k(int channels) {
    zel_src_state& src = g_zel_src;
    Ovra_VOC_SrcDeInit48k();  // so that a failure leaves no stream, not even an earlier one
    if (res_order >= static_cast<std::int32_t>(kZelSrcHistoryFrames)) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag,
                      "Ovra_VOC_SrcInit48k: buffer size is not enough\r\n");
        return -EINVAL;
    }
    ZEL_LOG_PRINT(ANDROID_LOG_DEBUG, kTag, "init SRC with %d channel", channels);
    std::fill(std::begin(src.as16History), std::end(src.as16History), std::int16_t{0});
    const bool odd = channels % 2 != 0;
    const std::int64_t working = std::int64_t{channels} + (odd ? 1 : 0);
    src.pfnScale = find_kernel(working);
    if (src.pfnScale == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "SRC channel num %d out of spec",
                      static_cast<int>(working));
        return -EINVAL;
    }
    const auto order = static_cast<std::uint32_t>(res_order);
    src.bPadding = odd;
    src.u32Channels = static_cast<std::uint32_t>(working);
    src.u32ReadIdx = 0;
    src.u32RingLen = src.u32Channels * kZelSrcHistoryFrames;
    src.u32OddOrder = order % 2;
    src.u32HalfOrder = order / 2;
    src.u32WriteIdx = order * src.u32Channels;
    src.u32Lanes = zel_src_widest_lanes();
    src.bInited = true;
    return 0;
}

int Ovra_VOC_SrcProcess48k(std::int16_t* block, unsigned int* samples) {
    zel_src_state& src = g_zel_src;
    if (block == nullptr || samples == nullptr) {
        return -EINVAL;
    }
    if (!src.bInited) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "Ovra_VOC_SrcProcess48k: init failed\n");
        return -EINVAL;
    }
    const std::uint32_t channels = src.u32Channels - (src.bPadding ? 1 : 0);
    const std::uint32_t frames = *samples / channels;
    // The filter works in whole groups of three frames; with 3 or 6 channels the sample count
    // alone doesn't tell.
    if (*samples % kFactor != 0 || *samples % channels != 0 || frames % kFactor != 0) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag,
                      "input sample count is not match the spec (multiple of %d)",
                      static_cast<int>(kFactor));
        return -EINVAL;
    }
    const std::uint32_t working = frames * src.u32Channels;
    if (src.ps16PadBuf && src.u32PadSamples != working) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "buf size in inconsistent %d %d",
                      static_cast<int>(src.u32PadSamples), static_cast<int>(working));
        return -EINVAL;
    }
    src.u32PadSamples = working;
    if (src.bPadding) {
        if (!src.ps16PadBuf) {
            src.ps16PadBuf.reset(new (std::nothrow) std::int16_t[working]);
        }
        if (!src.ps16PadBuf) {
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "malloc padding buf fail");
            return -ENOMEM;
        }
        pad(block, frames);
    }
    std::int16_t* const converted = src.bPadding ? src.ps16PadBuf.get() : block;
    if (src.u32Lanes == 0) {
        convert_frames(converted, working);
    } else {
        zel_src_convert_block(converted, working);
    }
    if (src.bPadding) {
        unpad(block, frames / kFactor);
    }
    *samples /= kFactor;
    return 0;
}

int Ovra_VOC_SrcDeInit48k() {
    g_zel_src.bPadding = false;
    g_zel_src.bInited = false;
    g_zel_src.ps16PadBuf.reset();
    return 0;
}
