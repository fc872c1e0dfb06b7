#pragma once

#include <cstdint>
#include <utility>

#include "zel_channel_delay.h"
#include "zel_channel_mixing.h"

// What the stages keep to themselves.

struct zel_channel_delay_access {
    static zel_channel_delay_buffer* lines(zel_channel_delay& stage) { return stage.pstDelayBuf; }
    static std::uint32_t bytes(const zel_channel_delay_buffer& line) { return line.u32BufSize; }
    /// The line's sample of that place, oldest first.
    static const std::uint8_t* sample(const zel_channel_delay_buffer& line, std::size_t bytes,
                                      std::size_t index) {
        const auto oldest = static_cast<std::size_t>(line.pu8Read - line.pu8Buf.get());
        return line.pu8Buf.get() + (oldest + index * bytes) % line.u32BufSize;
    }
    /// Read and write position in bytes.
    static std::pair<std::ptrdiff_t, std::ptrdiff_t> positions(
        const zel_channel_delay_buffer& line) {
        return {line.pu8Read - line.pu8Buf.get(), line.pu8Write - line.pu8Buf.get()};
    }
};

struct zel_channel_mixing_access {
    static float* matrix(zel_channel_mixing& stage) { return stage.pf32Matrix.get(); }
};
