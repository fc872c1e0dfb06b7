#pragma once

#include <cstdint>
#include <memory>

#include "zel_src_48k.h"

/// Frames that the history holds: the filter's window and room for incoming groups of three.
inline constexpr std::uint32_t kZelSrcHistoryFrames = 252;
inline constexpr std::uint32_t kZelSrcMaxChannels = 8;

/// Computes one output frame from the window at `u32ReadIdx`, stores its samples at `out[pos]`, and
/// moves the window on by three frames.
using zel_src_kernel = void (*)(std::int16_t* out, unsigned int pos);

/// The converter's state. W is the working channel count: the caller's, or one more when that is
/// odd. Positions count samples.
struct zel_src_state {
    bool bInited = false;
    bool bPadding = false;  ///< each working frame has a silent sample at its end
    std::unique_ptr<std::int16_t[]> ps16PadBuf;
    std::uint32_t u32Channels = 0;
    std::uint32_t u32PadSamples = 0;
    std::uint32_t u32WriteIdx = 0;
    std::int16_t as16History[kZelSrcHistoryFrames * kZelSrcMaxChannels] = {};
    zel_src_kernel pfnScale = nullptr;
    std::uint32_t u32RingLen = 0;
    std::uint32_t u32HalfOrder = 0;
    std::uint32_t u32ReadIdx = 0;
    std::uint32_t u32OddOrder = 0;
    /// Floats that blocks are converted with at once. Init takes what the CPU has, all widths give
    /// the same results. 0, which no init takes, is for frame after frame.
    std::uint32_t u32Lanes = 0;
};

extern zel_src_state& g_zel_src;

// They define every result, but in a running stream `zel_src_convert_block` makes it.
void ch2_scale48k(std::int16_t* out, unsigned int pos);
void ch4_scale48k(std::int16_t* out, unsigned int pos);
void ch6_scale48k(std::int16_t* out, unsigned int pos);
void ch8_scale48k(std::int16_t* out, unsigned int pos);

/// 8 or 4.
std::uint32_t zel_src_widest_lanes();
/// What frame after frame does with a block of whole groups of three frames, `u32Lanes` outputs at
/// once: the same output at the block's start, ring and positions.
void zel_src_convert_block(std::int16_t* block, std::uint32_t samples);
