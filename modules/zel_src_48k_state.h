#pragma once

#include <cstdint>
#include <memory>
#include <span>

#include "zel_src_48k.h"
#include "zel_src_48k_window.h"

/// Frames that the history holds: the filter's window and room for incoming groups of three.
inline constexpr std::uint32_t kZelSrcHistoryFrames = 252;
inline constexpr std::uint32_t kZelSrcMaxChannels = 8;

/// Computes one output frame from the window at `u32ReadIdx`, stores its samples at `out[pos]`, and
/// moves the window on by three frames.
using zel_src_kernel = void (*)(std::int16_t* out, unsigned int pos);

/// Kernels for whole blocks with a history of their own; the plain row, the first, has none: there
/// `as16History` and the `chN_scale48k` do the work, and define every result.
struct zel_src_row {
    const char* name;
    zel_src_reset_kernel reset;
    zel_src_block_kernel convert;
};
std::span<const zel_src_row> zel_src_rows();

/// The converter's state. W is the working channel count: the caller's, or one more when that is
/// odd. Positions count samples.
struct zel_src_state {
    bool bInited = false;
    bool bPadding = false;   ///< each working frame has a silent sample at its end
    bool bPadSized = false;  ///< a first block has fixed `u32PadSamples` until the release
    std::unique_ptr<std::int16_t[]> ps16PadBuf;  ///< plain row only
    std::uint32_t u32Channels = 0;
    std::uint32_t u32PadSamples = 0;
    std::uint32_t u32WriteIdx = 0;
    std::int16_t as16History[kZelSrcHistoryFrames * kZelSrcMaxChannels] = {};
    zel_src_kernel pfnScale = nullptr;
    std::uint32_t u32RingLen = 0;
    std::uint32_t u32HalfOrder = 0;
    std::uint32_t u32ReadIdx = 0;
    std::uint32_t u32OddOrder = 0;
    const zel_src_row* pstRow = nullptr;  ///< set by init
    zel_src_window stWindow;              ///< history of the rows other than the plain one
};

extern zel_src_state& g_zel_src;

void ch2_scale48k(std::int16_t* out, unsigned int pos);
void ch4_scale48k(std::int16_t* out, unsigned int pos);
void ch6_scale48k(std::int16_t* out, unsigned int pos);
void ch8_scale48k(std::int16_t* out, unsigned int pos);

/// The plain kernel for a working channel count of 2, 4, 6 or 8, else null.
zel_src_kernel zel_find_src_kernel(std::uint32_t channels);
