#pragma once

#include <android/log.h>

/// Writes one message to the Android log, led by the calling function's name and line.
/// Any thread. `prio` is an android_LogPriority, `tag` may be null (the log's default tag), `fmt` a
/// string literal; a message is at most about 1000 characters long, the log cuts longer ones.
#define ZEL_LOG_PRINT(prio, tag, ...) ZEL_LOG_PRINT_OF(prio, tag, __func__, __VA_ARGS__)

/// The same under another function's name, for a step that logs as the operation it belongs to.
#ifndef __cppcheck__
#define ZEL_LOG_PRINT_OF(prio, tag, operation, fmt, ...)                                 \
    static_cast<void>(__android_log_print((prio), (tag), "%-20s:%04d " fmt, (operation), \
                                          __LINE__ __VA_OPT__(, ) __VA_ARGS__))
#else  // it doesn't know __VA_OPT__, but printf
#include <cstdio>
#define ZEL_LOG_PRINT_OF(prio, tag, operation, ...) static_cast<void>(std::printf(__VA_ARGS__))
#endif
