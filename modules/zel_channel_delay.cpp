#include "zel_channel_delay.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <new>
#include <numeric>
#include <type_traits>
#include <utility>

#include "zel_log.h"

namespace {
constexpr const char* kTag = "zel_channel_delay";
}

int zel_channel_delay_buffer::create(unsigned int delay_ms, const pcm_config* config) {
    *this = {};
    if (config == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "invalid parameter");
        return -ENOMEM;
    }
    const std::uint32_t frames = zel_channel_delay::delay_frames(delay_ms, config->rate);
    const std::uint64_t bytes = std::uint64_t{frames} * (pcm_format_to_bits(config->format) / 8);
    if (bytes <= std::numeric_limits<std::uint32_t>::max()) {
        pu8Buf.reset(new (std::nothrow) std::uint8_t[static_cast<std::size_t>(bytes)]());
    }
    if (!pu8Buf) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "no memory for a delay of %d ms",
                      static_cast<int>(delay_ms));
        return -ENOMEM;
    }
    u32DelayFrames = frames;
    u32BufSize = static_cast<std::uint32_t>(bytes);
    pu8Read = pu8Buf.get();
    pu8Write = pu8Buf.get();
    return 0;
}

zel_channel_delay::zel_channel_delay()
    : strEnableKey("DelayCoefficientEnable"),
      strBodyKey("ChannelDelayMilliseconds"),
      strInChannelKey("InputChannel"),
      strParamKey("Parameters") {}

int zel_channel_delay::init(const std::string& path, const pcm_config* config) {
    if (config == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "pointer of pcm configs is invalid");
        return -EINVAL;
    }
    unsigned int* delays_ms = nullptr;
    int status = create_delay_coefficient(path, &delays_ms, config);
    if (status != 0) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "create delay matrix fail");
        return status;
    }
    if (std::accumulate(delays_ms, delays_ms + config->channels, 0U) == 0) {
        bBypass = true;
        ZEL_LOG_PRINT(ANDROID_LOG_DEBUG, kTag, "delay module bypass mode enable");
    } else {
        bBypass = false;
        u32SampleBytes = pcm_format_to_bits(config->format) / 8;
        u32FrameBytes = config->channels * u32SampleBytes;
        status = create_delay_buffer(&pstDelayBuf, delays_ms, config);
        if (status == 0) {
            stConfig = *config;
        } else {
            ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "create delay matrix fail");
            destroy_delay_buffer(&pstDelayBuf, config->channels);
        }
    }
    destroy_delay_coefficient(&delays_ms);
    return status;
}

int zel_channel_delay::create_delay_buffer(zel_channel_delay_buffer** lines,
                                           const unsigned int* delays_ms,
                                           const pcm_config* config) {
    if (config == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "pcm config : %p is invalid",
                      static_cast<const void*>(config));
        return -EINVAL;
    }
    if (*lines != nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "delay buffer alredy exist");
        destroy_delay_buffer(lines, stConfig.channels);
        return -EINVAL;
    }
    *lines = new (std::nothrow) zel_channel_delay_buffer[config->channels];
    if (*lines == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "no memory for %d delay lines",
                      static_cast<int>(config->channels));
        return -ENOMEM;
    }
    for (unsigned int c = 0; c < config->channels; ++c) {
        const int status = (*lines)[c].create(delays_ms[c], config);
        if (status != 0) {
            return status;
        }
    }
    return 0;
}

int zel_channel_delay::destroy_delay_buffer(zel_channel_delay_buffer** lines,
                                            unsigned int /*count*/) {
    delete[] * lines;
    *lines = nullptr;
    return 0;
}

int zel_channel_delay::process(const void* in, void* out, int size) {
    if (in == nullptr || out == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "buffer is invalid in = %p, out = %p", in, out);
        return -EINVAL;
    }
    const auto bytes = static_cast<std::uint32_t>(std::max(size, 0));
    if (bBypass) {
        std::memcpy(out, in, bytes);
        return 0;
    }
    if (pstDelayBuf == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "delay buffer is invalid");
        return -EINVAL;
    }
    if (u32FrameBytes == 0) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "frame size is 0");
        return -EINVAL;
    }
    if (size < 0 || bytes % u32FrameBytes != 0) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag,
                      "input buffer size is not the multiple of frame size");
        return -EINVAL;
    }
    const auto* from = static_cast<const unsigned char*>(in);
    auto* to = static_cast<unsigned char*>(out);
    const std::size_t frames = bytes / u32FrameBytes;
    switch (u32SampleBytes) {
        case 2:
            delay_channels(from, to, frames, std::integral_constant<unsigned int, 2>());
            break;
        case 4:
            delay_channels(from, to, frames, std::integral_constant<unsigned int, 4>());
            break;
        default:
            delay_channels(from, to, frames, u32SampleBytes);
    }
    return 0;
}

/// A line gives the block's first frames, the block's own beginning follows, and its end fills the
/// line.
template <typename Bytes>
void zel_channel_delay::delay_channels(const unsigned char* in, unsigned char* out,
                                       std::size_t frames, Bytes sample_bytes) {
    const std::size_t step = u32FrameBytes;
    for (std::size_t c = 0; c < stConfig.channels; ++c, in += sample_bytes, out += sample_bytes) {
        // Moved here, where no store to a block can change it.
        zel_channel_delay_buffer line = std::move(pstDelayBuf[c]);
        const std::size_t from_line = std::min<std::size_t>(frames, line.delay_frames());
        for (std::size_t f = 0; f < from_line; ++f) {
            line.read(out + f * step, sample_bytes);
        }
        for (std::size_t f = from_line; f < frames; ++f) {
            std::memcpy(out + f * step, in + (f - from_line) * step, sample_bytes);
        }
        for (std::size_t f = frames - from_line; f < frames; ++f) {
            line.write(in + f * step, sample_bytes);
        }
        pstDelayBuf[c] = std::move(line);
    }
}

int zel_channel_delay::deinit() {
    destroy_delay_buffer(&pstDelayBuf, stConfig.channels);
    return 0;
}
