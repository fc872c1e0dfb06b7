#pragma once

#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <thread>

namespace zel_test {

/// What a process must not gather over time.
struct footprint {
    long descriptors, threads;
    std::size_t heap_bytes;

    static footprint now() {
        const auto entries = [](const char* folder) {
            return std::distance(std::filesystem::directory_iterator(folder), {});
        };
        // The kernel may list a thread for a moment after it was joined, an emulator for longer.
        long threads = entries("/proc/self/task");
        for (int look = 0; look < 20; ++look) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            threads = std::min<long>(threads, entries("/proc/self/task"));
        }
#ifdef __GLIBC__
        const auto heap = mallinfo2();
#else
        const auto heap = mallinfo();
#endif
        return {entries("/proc/self/fd"), threads, static_cast<std::size_t>(heap.uordblks)};
    }
};

}  // namespace zel_test
