// Has malloc and strdup of the executable's own code fail with operator new. Link with
// -Wl,--wrap=malloc,--wrap=strdup.

#include <cstddef>

#include "allocation_faults.h"

extern "C" {

void* __real_malloc(std::size_t bytes);
char* __real_strdup(const char* text);

void* __wrap_malloc(std::size_t bytes) {
    return zel_test::allocation_fails() ? nullptr : __real_malloc(bytes);
}
char* __wrap_strdup(const char* text) {
    return zel_test::allocation_fails() ? nullptr : __real_strdup(text);
}
}
