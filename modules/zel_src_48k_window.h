#pragma once

#include <cstddef>
#include <cstdint>

/// The history of the vector kernels. For every input frame n a group of channels has one vector,
/// whose lanes are the group's channels in the frames n, n + 3, n + 6, ... as floats:
///
///     vector n      | x[n] | x[n + 3] | x[n + 6] | ...
///     vector n + 1  | x[n + 1] | x[n + 4] | x[n + 7] | ...
///
/// so that an output vector, sum over t of c[t] * vector[n + t], takes consecutive, aligned vectors
/// and holds the group's channels of consecutive output frames. A group has 1, 2, 4 or 8 channels.
struct zel_src_window {
    static constexpr std::size_t kMaxLanes = 16;
    static constexpr std::size_t kMaxGroups = 3;
    static constexpr std::size_t kVectors = 1920;

    struct group {
        std::size_t filled = 0;  ///< input frames held, counted from the first vector's first lane
        std::size_t next = 0;    ///< vector at which the next output frame's window begins
        alignas(64) float vectors[kVectors * kMaxLanes];
    };

    std::size_t channels = 0;
    group groups[kMaxGroups];
};

/// Starts from silence for 1 to 8 channels.
using zel_src_reset_kernel = void (*)(zel_src_window* window, std::size_t channels);
/// Converts `frames` interleaved frames, a multiple of 3, in place: a third of them is left at the
/// block's start; what follows is undefined. Real-time.
using zel_src_block_kernel = void (*)(zel_src_window* window, std::int16_t* block,
                                      std::size_t frames);
