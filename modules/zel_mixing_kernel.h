#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

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
};

using zel_mixing_kernel_fn = void (*)(const zel_mixing_block& block);

/// A kernel for one pair of sample sizes in bytes. Several rows may serve the same pair; the first
/// is the plain one that all others must equal, bit for bit.
struct zel_mixing_kernel {
    const char* name;
    std::size_t in_sample_bytes;
    std::size_t out_sample_bytes;
    zel_mixing_kernel_fn run;
};

std::span<const zel_mixing_kernel> zel_mixing_kernels();

/// The kernel for that pair of sample sizes, or null.
zel_mixing_kernel_fn zel_find_mixing_kernel(std::size_t in_sample_bytes,
                                            std::size_t out_sample_bytes);
