#pragma once

#include <cstddef>

/// Consecutive samples of a stream channel by channel, beside the interleaved frames. A sample has
/// 2 or 4 bytes; frames and planes need no alignment.
struct zel_delay_planes {
    static constexpr std::size_t kMaxFrameBytes = 64;

    std::size_t count;   ///< frames
    std::size_t behind;  ///< frames of the block behind them: may be read, or written with anything
    std::size_t channels;
    std::size_t sample_bytes;
    unsigned char* const* planes;  ///< each channel's first sample
};

/// Fills the planes from the frames, or the frames from the planes.
using zel_deinterleave_fn = void (*)(const unsigned char* frames, const zel_delay_planes& planes);
using zel_interleave_fn = void (*)(const zel_delay_planes& planes, unsigned char* frames);
