#pragma once

#include <cstddef>
#include <span>

/// Consecutive samples of a stream channel by channel, beside the interleaved frames. A sample has
/// 2 or 4 bytes; frames and planes need no alignment.
struct zel_planes {
    static constexpr std::size_t kMaxFrameBytes = 64;

    std::size_t count;   ///< frames
    std::size_t behind;  ///< frames of the block behind them: may be read, or written with anything
    std::size_t channels;
    std::size_t sample_bytes;
    unsigned char* const* planes;  ///< each channel's first sample; when read, they may repeat
};

/// Kernels that fill the planes from the frames, or the frames from the planes; the plain row, the
/// first, has none.
struct zel_planes_row {
    const char* name;
    void (*deinterleave)(const unsigned char* frames, const zel_planes& planes);
    void (*interleave)(const zel_planes& planes, unsigned char* frames);
};
std::span<const zel_planes_row> zel_planes_rows();
