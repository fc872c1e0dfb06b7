// Has malloc, strdup and fdopen of the executable's own code fail with operator new. Link with
// -Wl,--wrap=malloc,--wrap=strdup,--wrap=fdopen.

#include <cjson/cJSON.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "allocation_faults.h"

namespace zel_test {

void fail_allocations_of_cjson() {
    cJSON_Hooks hooks{std::malloc, std::free};
    cJSON_InitHooks(&hooks);
}

}  // namespace zel_test

namespace {
bool fails() {
    const bool now = zel_test::allocation_fails();
    errno = now ? ENOMEM : errno;
    return now;
}
}  // namespace

extern "C" {

void* __real_malloc(std::size_t bytes);
char* __real_strdup(const char* text);
std::FILE* __real_fdopen(int fd, const char* mode);

void* __wrap_malloc(std::size_t bytes) {
    return fails() ? nullptr : __real_malloc(bytes);
}
char* __wrap_strdup(const char* text) {
    return fails() ? nullptr : __real_strdup(text);
}
std::FILE* __wrap_fdopen(int fd, const char* mode) {
    return fails() ? nullptr : __real_fdopen(fd, mode);
}
}
