#pragma once

#include <cstddef>
#include <cstdint>

/// The state of the vector kernels: the frames that the next outputs still need, and room for a
/// chunk of new ones behind them. A chunk is cut into parts that are converted side by side, so
/// that every lane of a vector follows one channel of one part:
///
///     vector n      | x[n] | x[n + P] | x[n + 2 P] | ...      P frames are a part
///
/// and an output vector, sum over t of c[t] * vector[n + t], takes consecutive, aligned vectors and
/// never mixes lanes, whatever the number of channels.
struct zel_src_window {
    static constexpr std::size_t kTaps = 237;
    static constexpr std::size_t kMaxChannels = 8;
    static constexpr std::size_t kMaxChunkFrames = 1536;
    /// Parts are equally long: the last ones reach behind the chunk, but what is made of that is
    /// dropped.
    static constexpr std::size_t kSpareFrames = 64;
    static constexpr std::size_t kFrames = kTaps + kMaxChunkFrames + kSpareFrames;
    static constexpr std::size_t kMaxVectorFloats = std::size_t{10} * 1024;

    std::size_t channels = 0;
    /// Interleaved for 1, 2, 4 and 8 channels, else `kFrames` samples for each channel.
    std::int16_t history[kFrames * kMaxChannels];
    /// The vectors of a chunk's parts, while it is converted.
    alignas(64) float vectors[kMaxVectorFloats];
};

/// Starts from silence for 1 to 8 channels.
using zel_src_reset_kernel = void (*)(zel_src_window* window, std::size_t channels);
/// Converts `frames` interleaved frames, a multiple of 3, in place: a third of them is left at the
/// block's start; what follows is undefined. Real-time.
using zel_src_block_kernel = void (*)(zel_src_window* window, std::int16_t* block,
                                      std::size_t frames);
