#include "allocation_faults.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local std::size_t countdown = 0;
thread_local bool struck = false;
thread_local std::size_t allocations = 0;

void* allocate(std::size_t bytes) noexcept {
    ++allocations;
    if (zel_test::allocation_fails()) {
        return nullptr;
    }
    // Not malloc, which an executable may have wrapped to be counted here.
    void* memory = nullptr;
    return posix_memalign(&memory, alignof(std::max_align_t), bytes) == 0 ? memory : nullptr;
}

void* allocate_or_throw(std::size_t bytes) {
    void* const memory = allocate(bytes);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

}  // namespace

namespace zel_test {

bool allocation_fails() {
    if (countdown != 0 && --countdown == 0) {
        struck = true;
        return true;
    }
    return false;
}

void fail_allocation(std::size_t nth) {
    struck = false;
    countdown = nth;
}

bool stop_failing_allocations() {
    countdown = 0;
    return struck;
}

std::size_t thread_allocations() {
    return allocations;
}

}  // namespace zel_test

#define ZEL_EXPORT __attribute__((visibility("default")))

ZEL_EXPORT void* operator new(std::size_t bytes) {
    return allocate_or_throw(bytes);
}
ZEL_EXPORT void* operator new[](std::size_t bytes) {
    return allocate_or_throw(bytes);
}
ZEL_EXPORT void* operator new(std::size_t bytes, const std::nothrow_t&) noexcept {
    return allocate(bytes);
}
ZEL_EXPORT void* operator new[](std::size_t bytes, const std::nothrow_t&) noexcept {
    return allocate(bytes);
}
ZEL_EXPORT void operator delete(void* memory) noexcept {
    std::free(memory);
}
ZEL_EXPORT void operator delete[](void* memory) noexcept {
    std::free(memory);
}
ZEL_EXPORT void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
ZEL_EXPORT void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
ZEL_EXPORT void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
ZEL_EXPORT void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
