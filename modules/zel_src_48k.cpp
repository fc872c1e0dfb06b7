#include "zel_src_48k.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <new>

#include "kernels/zel_vector_kernels.h"
#include "zel_kernel_choice.h"
#include "zel_log.h"
#include "zel_src_48k_state.h"

namespace {

constexpr const char* kTag = "zel_src";
constexpr std::uint32_t kFactor = 3;

/// The size of the first block with a silent sample per frame is that of all. 0, or -22.
int fix_size(std::uint32_t samples) {
    zel_src_state& src = g_zel_src;
    if (src.bPadSized && src.u32PadSamples != samples) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "buf size in inconsistent %d %d",
                      static_cast<int>(src.u32PadSamples), static_cast<int>(samples));
        return -EINVAL;
    }
    return 0;
}

/// Spreads the caller's frames into working frames with a silent sample at their end. 0 or -12.
int pad(const std::int16_t* block, std::uint32_t frames) {
    zel_src_state& src = g_zel_src;
    const std::uint32_t working = src.u32Channels;
    const std::uint32_t samples = frames * working;
    if (!src.ps16PadBuf) {
        src.ps16PadBuf.reset(new (std::nothrow) std::int16_t[samples]);
        if (!src.ps16PadBuf) {
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "malloc padding buf fail");
            return -ENOMEM;
        }
    }
    std::fill_n(src.ps16PadBuf.get(), samples, std::int16_t{0});
    for (std::size_t f = 0; f < frames; ++f) {
        std::copy_n(block + f * (working - 1), working - 1, src.ps16PadBuf.get() + f * working);
    }
    return 0;
}

void unpad(std::int16_t* block, std::uint32_t frames) {
    const std::uint32_t working = g_zel_src.u32Channels;
    for (std::size_t f = 0; f < frames; ++f) {
        std::copy_n(g_zel_src.ps16PadBuf.get() + f * working, working - 1,
                    block + f * (working - 1));
    }
}

/// Output frame g overwrites input that is in the history by then.
void convert(std::int16_t* block, std::uint32_t samples) {
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

int convert_plain(std::int16_t* block, std::uint32_t frames, std::uint32_t samples) {
    if (!g_zel_src.bPadding) {
        convert(block, samples);
        return 0;
    }
    const int status = pad(block, frames);
    if (status == 0) {
        convert(g_zel_src.ps16PadBuf.get(), samples);
        unpad(block, frames / kFactor);
    }
    return status;
}

constexpr auto kRows = std::to_array<zel_src_row>({{"plain", nullptr, nullptr},
#define ZEL_ROW(set) {#set, zel_##set::src_reset, zel_##set::src_convert},
                                                   ZEL_EACH_KERNEL_SET(ZEL_ROW)
#undef ZEL_ROW
});

}  // namespace

std::span<const zel_src_row> zel_src_rows() {
    return kRows;
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
    src.pfnScale = working > 0 && working <= kZelSrcMaxChannels
                       ? zel_find_src_kernel(static_cast<std::uint32_t>(working))
                       : nullptr;
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
    src.pstRow = &zel_kernel_row(zel_src_rows(), zel_kernel_in_use());
    if (src.pstRow->reset != nullptr) {
        src.pstRow->reset(&src.stWindow, static_cast<std::size_t>(channels));
    }
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
    int status = src.bPadding ? fix_size(working) : 0;
    if (status == 0 && src.pstRow->convert != nullptr) {
        src.pstRow->convert(&src.stWindow, block, frames);
    } else if (status == 0) {
        status = convert_plain(block, frames, working);
    }
    if (status != 0) {
        return status;
    }
    src.u32PadSamples = working;
    src.bPadSized = src.bPadding;
    *samples /= kFactor;
    return 0;
}

int Ovra_VOC_SrcDeInit48k() {
    g_zel_src.bPadding = false;
    g_zel_src.bInited = false;
    g_zel_src.bPadSized = false;
    g_zel_src.ps16PadBuf.reset();
    return 0;
}
