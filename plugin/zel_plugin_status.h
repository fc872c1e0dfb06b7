#pragma once

#include <cerrno>
#include <new>
#include <utility>

/// Runs a step of a plugin operation; no exception passes on to tinyalsa.
template <typename Step>
int zel_guarded(Step&& step) noexcept {
    try {
        return std::forward<Step>(step)();
    } catch (const std::bad_alloc&) {
        return -ENOMEM;
    } catch (...) {
        return -EIO;
    }
}

/// Passes an operation's status on, a negative one in errno too: tinyalsa looks nowhere else.
inline int zel_with_errno(int status) noexcept {
    if (status < 0) {
        errno = -status;
    }
    return status;
}
