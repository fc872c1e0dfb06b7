#pragma once

#include <cstddef>
#include <span>

/// Kernels of the sample-width stages. Samples are in the machine's byte order; blocks need no
/// alignment. They allocate nothing and have no other thread's data in reach.

/// Keeps the upper 16 bits of `samples` signed 32-bit samples, in place from the block's start.
void zel_truncate_32_to_16(void* block, std::size_t samples);

/// Puts each of `samples` signed 16-bit samples into the upper half of a 32-bit word. `in` and
/// `out` are different blocks.
void zel_pad_16_to_32(const void* in, std::size_t samples, void* out);

/// The same two of one instruction set; the first row is the plain one, which defines them.
struct zel_width_row {
    const char* name;
    void (*truncate_32_to_16)(void* block, std::size_t samples);
    void (*pad_16_to_32)(const void* in, std::size_t samples, void* out);
};
std::span<const zel_width_row> zel_width_rows();
