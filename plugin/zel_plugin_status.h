#pragma once

#include <cerrno>
#include <new>
#include <utility>

/// Runs a step of a plugin operation. Its status, or -12 or -5 for what it throws: no exception
/// passes on to tinyalsa. Any thread.
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

/// Passes an operation's status on, a negative one in errno too: tinyalsa looks nowhere else. -1 is
/// no error number there: EPERM would send people after permissions.
inline int zel_with_errno(int status) noexcept {
    if (status < 0) {
        errno = status == -1 ? EIO : -status;
    }
    return status;
}
