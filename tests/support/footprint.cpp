// Replaces malloc and its like in an executable that asks for its footprint: the C library's own
// figures take what it keeps in a cache for each thread for handed out.

#include "footprint.h"

#include <malloc.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iterator>

namespace {

std::atomic<std::size_t> g_heap_bytes{0};

}  // namespace

zel_test::footprint zel_test::footprint::now() {
    const auto entries = [](const char* folder) {
        return std::distance(std::filesystem::directory_iterator(folder), {});
    };
    return {entries("/proc/self/fd"), entries("/proc/self/task"), g_heap_bytes};
}

#if ZEL_COUNTS_HEAP  // a sanitizer brings an allocator of its own

namespace {

void* counted(void* memory) {
    g_heap_bytes += malloc_usable_size(memory);
    return memory;
}

}  // namespace

extern "C" {

void* __libc_malloc(std::size_t bytes);
void* __libc_calloc(std::size_t count, std::size_t bytes);
void* __libc_realloc(void* memory, std::size_t bytes);
void* __libc_memalign(std::size_t alignment, std::size_t bytes);
void __libc_free(void* memory);

void* malloc(std::size_t bytes) noexcept {
    return counted(__libc_malloc(bytes));
}
void* calloc(std::size_t count, std::size_t bytes) noexcept {
    return counted(__libc_calloc(count, bytes));
}
void* realloc(void* memory, std::size_t bytes) noexcept {
    const std::size_t before = malloc_usable_size(memory);
    void* const moved = __libc_realloc(memory, bytes);
    if (moved != nullptr || bytes == 0) {
        g_heap_bytes -= before;
    }
    return counted(moved);
}
void* memalign(std::size_t alignment, std::size_t bytes) noexcept {
    return counted(__libc_memalign(alignment, bytes));
}
void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept {
    return memalign(alignment, bytes);
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t bytes) noexcept {
    *memory = memalign(alignment, bytes);
    return *memory != nullptr ? 0 : ENOMEM;
}
void free(void* memory) noexcept {
    g_heap_bytes -= malloc_usable_size(memory);
    __libc_free(memory);
}
}

#endif
