// The Android log on a host without one: lines in logcat's "brief" form on the standard error
// stream, one write each, so that threads don't mix their lines.

#include <android/log.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>

namespace {

constexpr std::size_t kLineBytes = 1024;

std::atomic<__android_logger_function> logger_in_use{__android_log_stderr_logger};

}  // namespace

__attribute__((visibility("default"))) void __android_log_stderr_logger(
    const __android_log_message* log_message) {
    static constexpr char kLetters[] = "??VDIWEFS";
    const std::int32_t prio = log_message->priority;
    const char letter = prio >= 0 && prio <= ANDROID_LOG_SILENT ? kLetters[prio] : '?';
    char line[kLineBytes];
    const int length = std::snprintf(line, sizeof(line) - 1, "%c/%-8s(%5d): %s", letter,
                                     log_message->tag != nullptr ? log_message->tag : "",
                                     static_cast<int>(getpid()), log_message->message);
    std::size_t end = std::min(static_cast<std::size_t>(std::max(length, 0)), sizeof(line) - 2);
    while (end > 0 && (line[end - 1] == '\n' || line[end - 1] == '\r')) {
        --end;
    }
    line[end++] = '\n';
    // A log that cannot be written has nobody to tell.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, line, end);
}

__attribute__((visibility("default"))) void __android_log_set_logger(
    __android_logger_function logger) {
    logger_in_use = logger;
}

__attribute__((visibility("default"))) int __android_log_print(int prio, const char* tag,
                                                               const char* fmt, ...) {
    char text[kLineBytes];
    va_list args;
    va_start(args, fmt);
    const int length = std::vsnprintf(text, sizeof(text), fmt, args);
    va_end(args);
    const __android_log_message message{sizeof(message),       0, prio, tag, nullptr, 0,
                                        length < 0 ? "" : text};
    logger_in_use.load()(&message);
    return length;
}
