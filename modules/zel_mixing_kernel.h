#pragma once

#include <cstddef>
#include <span>

#include "zel_mixing_block.h"
#include "zel_mixing_selection.h"

/// A kernel for one pair of sample sizes in bytes. The plain ones come first and serve every pair;
/// all others equal them, bit for bit, for matrices that zel_mixing_plan gives them. The chain has
/// the same size on both sides.
struct zel_mixing_kernel {
    const char* name;
    std::size_t in_sample_bytes;
    std::size_t out_sample_bytes;
    zel_mixing_kernel_fn run;
};
std::span<const zel_mixing_kernel> zel_mixing_kernels();

/// The kernel of that name for that pair of sample sizes, the plain one when there is none; null
/// for sizes that no kernel has.
zel_mixing_kernel_fn zel_find_mixing_kernel(const char* name, std::size_t in_sample_bytes,
                                            std::size_t out_sample_bytes);

/// Kernels for matrices that only move channels; the plain row, the first, has none.
struct zel_selection_kernel {
    const char* name;
    zel_selection_width_fn width;
    zel_selection_kernel_fn run;
    zel_round_trip_fn round_trip;
};
std::span<const zel_selection_kernel> zel_selection_kernels();
