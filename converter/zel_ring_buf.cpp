#include "zel_ring_buf.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <new>

#include "zel_log.h"
#include "zel_pcm_config.h"

namespace {
constexpr const char* kTag = "zel_ring_buf";
}

zel_ring_buf::zel_ring_buf(const pcm_config* config, int ms) {
    if (config == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "invalid parameter");
        return;
    }
    stRingConfig = zel_copy_config(*config);
    u32FrameBytes = pcm_format_to_bits(config->format) * config->channels / 8;
    u32BlockFrames = static_cast<std::uint32_t>(ms) * (config->rate / 1000);

    std::uint64_t blocks = config->period_count;
    if (u32BlockFrames != 0 && config->period_size % u32BlockFrames == 0) {
        blocks *= config->period_size / u32BlockFrames;
    } else {
        ZEL_LOG_PRINT(ANDROID_LOG_WARN, kTag, "period size %d is not the multiple of frame %d",
                      static_cast<int>(config->period_size), static_cast<int>(u32BlockFrames));
    }
    const std::uint64_t block_bytes = std::uint64_t{u32BlockFrames} * u32FrameBytes;
    constexpr std::uint64_t kMaxBytes = std::numeric_limits<std::int32_t>::max();
    if (block_bytes != 0 && blocks > kMaxBytes / block_bytes) {
        throw std::bad_alloc();
    }
    stRingConfig.period_count = static_cast<unsigned int>(blocks);
    u32RingSize = static_cast<std::uint32_t>(stRingConfig.period_count * block_bytes);
    pu8Start = std::make_unique<std::uint8_t[]>(u32RingSize);
    pu8End = pu8Start.get() + u32RingSize;
    pu8Read = pu8Start.get();
    pu8Write = pu8End;
}

int zel_ring_buf::write(const void* data, unsigned int bytes, const timespec* ts) {
    if (data == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "input buffer is invalid");
        return -EINVAL;
    }
    const std::lock_guard lock(mBufLock);
    if (!pu8Start) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "pcm buffer is not create!!");
        return -EINVAL;
    }
    if (bytes > u32RingSize) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "input size %d bigger than buf size %d",
                      static_cast<int>(bytes), static_cast<int>(u32RingSize));
        return -EINVAL;
    }
    copy_in(static_cast<const std::uint8_t*>(data), bytes);
    if (bytes > u32RingSize - u32Filled) {
        pu8Read = pu8Write == pu8End ? pu8Start.get() : pu8Write;
        u32Filled = u32RingSize;
    } else {
        u32Filled += bytes;
    }
    stTimestamp = *ts;
    return 0;
}

void zel_ring_buf::copy_in(const std::uint8_t* data, std::uint32_t bytes) {
    const auto to_end = static_cast<std::uint32_t>(pu8End - pu8Write);
    const std::uint32_t first = std::min(bytes, to_end);
    std::memcpy(pu8Write, data, first);
    pu8Write += first;
    if (const std::uint32_t rest = bytes - first; rest != 0) {
        std::memcpy(pu8Start.get(), data + first, rest);
        pu8Write = pu8Start.get() + rest;
    }
}

int zel_ring_buf::read_pcm(void* data, unsigned int bytes) {
    if (data == nullptr) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "buffer is invalid");
        return -EINVAL;
    }
    const std::lock_guard lock(mBufLock);
    if (!pu8Start) {
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, kTag, "pcm buffer is not create!!");
        return -EINVAL;
    }
    const std::uint32_t taken = std::min<std::uint32_t>(bytes, u32Filled);
    copy_out(static_cast<std::uint8_t*>(data), taken);
    u32Filled -= taken;
    return static_cast<int>(taken);
}

void zel_ring_buf::copy_out(std::uint8_t* data, std::uint32_t bytes) {
    const auto to_end = static_cast<std::uint32_t>(pu8End - pu8Read);
    const std::uint32_t first = std::min(bytes, to_end);
    std::memcpy(data, pu8Read, first);
    pu8Read += first;
    if (const std::uint32_t rest = bytes - first; rest != 0) {
        std::memcpy(data + first, pu8Start.get(), rest);
        pu8Read = pu8Start.get() + rest;
    }
}

int zel_ring_buf::get_info(timespec* ts, unsigned int* frames) {
    const std::lock_guard lock(mBufLock);
    *ts = stTimestamp;
    *frames = u32FrameBytes == 0 ? 0 : u32Filled / u32FrameBytes;
    return 0;
}
