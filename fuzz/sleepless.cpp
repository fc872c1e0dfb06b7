// Replaces usleep and the steady clock for the whole executable: a thread that sleeps does not
// wait, but its clock goes on by as much. A read that gives up after ten seconds does so at once;
// `zel_fuzz::patience` is what a sleep takes meanwhile, for those that the worker must not miss.

#include "sleepless.h"

#include <unistd.h>

#include <chrono>
#include <ctime>

namespace {

thread_local std::chrono::nanoseconds slept{0};

}  // namespace

thread_local std::chrono::nanoseconds zel_fuzz::patience = kNoPatience;

extern "C" int usleep(useconds_t us) {
    slept += std::chrono::microseconds(us);
    const timespec turn{0, static_cast<long>(zel_fuzz::patience.count())};
    return nanosleep(&turn, nullptr);
}

std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return time_point(std::chrono::seconds(ts.tv_sec) + std::chrono::nanoseconds(ts.tv_nsec) +
                      slept);
}
