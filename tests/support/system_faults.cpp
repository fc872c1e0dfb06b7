#include "system_faults.h"

#include <sys/epoll.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <iterator>
#include <mutex>
#include <utility>

namespace {

using zel_test::system_call;

struct plan {
    std::atomic<system_call> call{system_call::count};
    std::atomic<int> left{0};
    std::atomic<int> error{0};
    std::atomic<bool> struck{false};
};
plan g_plan;
std::atomic<int> g_calls[static_cast<std::size_t>(system_call::count)];

// Of a fixed size: the worker must not seem to allocate.
std::mutex g_timeouts_lock;
int g_timeouts[256];
std::size_t g_timeout_count = 0;

/// True when this call is the one that fails; errno is set then.
bool fails(system_call call) {
    ++g_calls[static_cast<std::size_t>(call)];
    if (g_plan.call != call || --g_plan.left != 0) {
        return false;
    }
    g_plan.struck = true;
    errno = g_plan.error;
    return true;
}

}  // namespace

namespace zel_test {

void fail_system_call(system_call call, int nth, int error) {
    g_plan.struck = false;
    g_plan.error = error;
    g_plan.left = nth;
    g_plan.call = call;
}

int calls_of(system_call call) {
    return g_calls[static_cast<std::size_t>(call)];
}

std::vector<int> take_poll_timeouts() {
    const std::lock_guard guard(g_timeouts_lock);
    return {g_timeouts, g_timeouts + std::exchange(g_timeout_count, 0)};
}

bool stop_failing_system_calls() {
    g_plan.call = system_call::count;
    return g_plan.struck;
}

}  // namespace zel_test

extern "C" {

int __real_pipe2(int* ends, int flags);
int __real_epoll_create1(int flags);
int __real_epoll_ctl(int epoll, int operation, int fd, epoll_event* event);
int __real_epoll_wait(int epoll, epoll_event* events, int count, int timeout);

int __wrap_pipe2(int* ends, int flags) {
    return fails(system_call::pipe2) ? -1 : __real_pipe2(ends, flags);
}
int __wrap_epoll_create1(int flags) {
    return fails(system_call::epoll_create1) ? -1 : __real_epoll_create1(flags);
}
int __wrap_epoll_ctl(int epoll, int operation, int fd, epoll_event* event) {
    return fails(system_call::epoll_ctl) ? -1 : __real_epoll_ctl(epoll, operation, fd, event);
}
int __wrap_epoll_wait(int epoll, epoll_event* events, int count, int timeout) {
    {
        const std::lock_guard guard(g_timeouts_lock);
        if (g_timeout_count < std::size(g_timeouts)) {
            g_timeouts[g_timeout_count++] = timeout;
        }
    }
    return fails(system_call::epoll_wait) ? -1 : __real_epoll_wait(epoll, events, count, timeout);
}

int __real_fseek(std::FILE* file, long offset, int origin);
long __real_ftell(std::FILE* file);
std::size_t __real_fread(void* to, std::size_t size, std::size_t count, std::FILE* file);
int __real_fclose(std::FILE* file);

int __wrap_fseek(std::FILE* file, long offset, int origin) {
    return fails(system_call::fseek) ? -1 : __real_fseek(file, offset, origin);
}
long __wrap_ftell(std::FILE* file) {
    return fails(system_call::ftell) ? -1 : __real_ftell(file);
}
std::size_t __wrap_fread(void* to, std::size_t size, std::size_t count, std::FILE* file) {
    return fails(system_call::fread) ? 0 : __real_fread(to, size, count, file);
}
int __wrap_fclose(std::FILE* file) {
    const bool failed = fails(system_call::fclose);
    return __real_fclose(file) != 0 || failed ? EOF : 0;
}
}
