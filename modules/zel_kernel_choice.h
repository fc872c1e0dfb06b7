#pragma once

#include <cstring>
#include <span>

// Which instruction set's kernels the stages use: the fastest that the CPU has, or the one that the
// environment variable ZEL_FC_KERNEL names when the first stage is set up ("plain", "sse2", "avx2",
// "avx512", "neon"). All give the same results; the variable is for tests and comparisons.

/// A set of kernels: the plain C++ ones, or those for an instruction set.
struct zel_kernel_set {
    const char* name;
    bool (*supported)();  ///< by this CPU
};

/// Those built for this target, plain first, then by speed. Any thread.
std::span<const zel_kernel_set> zel_kernel_sets();

/// Name of the set that stages take from now on. Any thread.
const char* zel_kernel_in_use();
/// Changes it for the stages set up later. False when that set is unknown here or the CPU lacks
/// it; nothing changes then. Any thread; for tests and benchmarks.
bool zel_use_kernel(const char* name);

/// A stage's row of that name in its table of kernels, or the table's first, the plain one.
template <typename Row>
const Row& zel_kernel_row(std::span<const Row> rows, const char* name) {
    for (const Row& row : rows) {
        if (std::strcmp(row.name, name) == 0) {
            return row;
        }
    }
    return rows.front();
}
