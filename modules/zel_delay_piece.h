#pragma once

#include <cstddef>

/// Consecutive output frames of the delay stage, for which every group of equally delayed channels
/// has one run of input: out = the bytes of each group's source that its mask, which repeats with
/// the frames, selects. The masks of a byte exclude each other.
struct zel_delay_piece {
    /// Bytes of the longest vector; masks go on for as many behind their first frame.
    static constexpr std::size_t kMaxVectorBytes = 64;

    unsigned char* out;
    std::size_t bytes;
    std::size_t frame_bytes;
    std::size_t groups;
    const unsigned char* const* sources;  ///< `bytes` each
    const unsigned char* masks;           ///< `groups` of them, `mask_bytes` from one to the next
    std::size_t mask_bytes;
};

using zel_delay_kernel_fn = void (*)(const zel_delay_piece& piece);
