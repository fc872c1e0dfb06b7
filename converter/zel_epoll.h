#pragma once

#include <sys/epoll.h>

#include <array>
#include <chrono>
#include <cstdint>

/// Owner of one epoll instance with a fixed timeout and a fixed set of event slots.
/// One thread at a time uses an instance. Registration is edge-triggered: a descriptor that stays
/// readable is reported once per arrival of data.
class zel_epoll {
  public:
    static constexpr int kEventSlots = 32;

    zel_epoll() = default;
    ~zel_epoll() { deinit(); }
    zel_epoll(const zel_epoll&) = delete;
    zel_epoll& operator=(const zel_epoll&) = delete;

    /// Creates the epoll instance; harmless when there is one. 0 or a negated errno.
    int init();
    /// Timeout of `wait` in milliseconds: -1 waits without limit, 0 only polls. Always 0.
    int set_timeout(int ms);
    /// Watches `fd` for data and for a peer that closes its sending side. 0 or a negated errno.
    int add(int fd);
    /// Stops watching `fd`. 0 or a negated errno.
    int del(int fd);
    /// Number of ready descriptors (0 on timeout), described by the first of `astEvents`, or a
    /// negated errno. An interruption by a signal does not end the wait. A descriptor whose peer
    /// has shut down its sending side is unregistered and closed here; its event is still reported.
    int wait();
    /// Closes the epoll instance. Always 0.
    int deinit();

    /// Milliseconds left until `end`, rounded up so that a wait never ends early; 0 when it is
    /// over.
    static int remaining_ms(std::chrono::steady_clock::time_point end);

    std::array<epoll_event, kEventSlots> astEvents{};  ///< what the last `wait` found

  private:
    std::int32_t s32TimeoutMs = 0;
    std::int32_t s32EpollFd = -1;
};
