#include "zel_epoll.h"

#include <unistd.h>

#include <cerrno>

#include "zel_log.h"

int zel_epoll::init() {
    if (s32EpollFd != -1) {
        return 0;
    }
    s32EpollFd = epoll_create1(0);
    if (s32EpollFd < 0) {
        const int error = errno;
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, nullptr, "epoll_create1 error, errno=(%d)", error);
        return -error;
    }
    return 0;
}

int zel_epoll::set_timeout(int ms) {
    s32TimeoutMs = ms;
    return 0;
}

int zel_epoll::add(int fd) {
    epoll_event event{};
    event.events = EPOLLIN | EPOLLRDHUP | EPOLLET;
    event.data.fd = fd;
    if (epoll_ctl(s32EpollFd, EPOLL_CTL_ADD, fd, &event) != 0) {
        const int error = errno;
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, nullptr, "epoll_ctl add fd(%d) error, errno=(%d)", fd,
                      error);
        return -error;
    }
    return 0;
}

int zel_epoll::del(int fd) {
    if (epoll_ctl(s32EpollFd, EPOLL_CTL_DEL, fd, nullptr) != 0) {
        const int error = errno;
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, nullptr, "epoll_ctl del fd(%d) error, errno=(%d)", fd,
                      error);
        return -error;
    }
    return 0;
}

int zel_epoll::wait() {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(s32TimeoutMs);
    int timeout_ms = s32TimeoutMs;
    int ready{};
    while ((ready = epoll_wait(s32EpollFd, astEvents.data(), kEventSlots, timeout_ms)) < 0 &&
           errno == EINTR) {
        timeout_ms = s32TimeoutMs < 0 ? -1 : remaining_ms(end);
    }
    if (ready < 0) {
        const int error = errno;
        ZEL_LOG_PRINT(ANDROID_LOG_ERROR, nullptr, "epoll_wait error, errno=(%d)", error);
        return -error;
    }
    for (int i = 0; i < ready; ++i) {
        constexpr std::uint32_t kClosing = EPOLLRDHUP | EPOLLHUP | EPOLLERR;
        const epoll_event& event = astEvents[static_cast<std::size_t>(i)];
        if ((event.events & kClosing) == EPOLLRDHUP) {
            del(event.data.fd);
            close(event.data.fd);
        }
    }
    return ready;
}

int zel_epoll::remaining_ms(std::chrono::steady_clock::time_point end) {
    const auto left =
        std::chrono::ceil<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
    return left.count() > 0 ? static_cast<int>(left.count()) : 0;
}

int zel_epoll::deinit() {
    if (s32EpollFd != -1) {
        close(s32EpollFd);
        s32EpollFd = -1;
    }
    return 0;
}
