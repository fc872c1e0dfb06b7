#pragma once

#include <cstddef>

/// One block's worth of mixing: out[f][o] = sum over i, ascending, of matrix[o][i] * in[f][i], each
/// product and each sum rounded to float, the result truncated toward zero and saturated to 32 bits
/// (a NaN gives 0); a 16-bit output keeps the low half. Blocks need no alignment.
struct zel_mixing_block {
    const void* in;
    void* out;
    std::size_t frames;
    std::size_t in_channels;
    std::size_t out_channels;
    const float* matrix;  ///< row by output channel
    /// The same in the vector kernels' order: outputs in rows of kRowBytes (a last one may be
    /// shorter), for each row the input channels, for each of them the weights of the row's
    /// outputs.
    const float* packed;
    static constexpr std::size_t kRowBytes = 16;
};

using zel_mixing_kernel_fn = void (*)(const zel_mixing_block& block);
