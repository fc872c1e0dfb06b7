#include "skipped_time.h"

#include <unistd.h>

#include <chrono>
#include <utility>

#if defined(_LIBCPP_VERSION)
#define ZEL_CLOCK "_ZNSt3__16chrono12steady_clock3nowEv"
#else
#define ZEL_CLOCK "_ZNSt6chrono3_V212steady_clock3nowEv"
#endif

namespace {
thread_local std::function<void()> step_of_thread;
thread_local std::chrono::microseconds skipped{0};
}  // namespace

using time_point = std::chrono::steady_clock::time_point;
time_point zel_real_now() noexcept __asm__("__real_" ZEL_CLOCK);
time_point zel_wrapped_now() noexcept __asm__("__wrap_" ZEL_CLOCK);

time_point zel_wrapped_now() noexcept {
    return zel_real_now() + skipped;
}

extern "C" {

int __real_usleep(useconds_t us);

int __wrap_usleep(useconds_t us) {
    if (!step_of_thread) {
        return __real_usleep(us);
    }
    skipped += std::chrono::microseconds(us);
    step_of_thread();
    return 0;
}
}

namespace zel_test {

void skip_sleeps(std::function<void()> step) {
    step_of_thread = std::move(step);
    skipped = {};
}

}  // namespace zel_test
