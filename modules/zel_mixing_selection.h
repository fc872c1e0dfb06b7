#pragma once

#include <cstddef>

/// A block whose outputs each are one input unchanged (a matrix with one weight of 1 per row, all
/// others 0): as many whole frames as fit are permuted at a time. In and out have samples of the
/// same size, 2 or 4 bytes; those of 4 go through float and back, as in every mixing.
struct zel_mixing_selection {
    static constexpr std::size_t kMaxBytes = 64;

    std::size_t sample_bytes;
    std::size_t in_frame;   ///< bytes
    std::size_t out_frame;  ///< bytes
    std::size_t at_once;    ///< frames
    /// For each output byte of `at_once` frames its input byte.
    alignas(kMaxBytes) unsigned char index[kMaxBytes];
};

/// Bytes that the kernel permutes at once in such frames; 0 when it cannot.
using zel_selection_width_fn = std::size_t (*)(std::size_t sample_bytes, std::size_t longest_frame);
using zel_selection_kernel_fn = void (*)(const zel_mixing_selection& selection, const void* in,
                                         void* out, std::size_t frames);
/// 32-bit samples to float and back; in place too, since a sample stays as it is the second time.
using zel_round_trip_fn = void (*)(const void* in, void* out, std::size_t samples);
