#pragma once

#include <cstddef>

namespace zel_test {

/// What a process must not gather over time.
struct footprint {
    long descriptors, threads;
    /// Handed out and not given back, by any allocator function; 0 under a sanitizer.
    std::size_t heap_bytes;

    static footprint now();
};

}  // namespace zel_test
