#pragma once

#include <malloc.h>

#include <cstddef>
#include <filesystem>
#include <iterator>

namespace zel_test {

/// What a process must not gather over time.
struct footprint {
    long descriptors, threads;
    std::size_t heap_bytes;

    static footprint now() {
        const auto entries = [](const char* folder) {
            return std::distance(std::filesystem::directory_iterator(folder), {});
        };
        return {entries("/proc/self/fd"), entries("/proc/self/task"), mallinfo2().uordblks};
    }
};

}  // namespace zel_test
