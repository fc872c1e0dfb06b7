// The Android log on a host without one: lines in logcat's "brief" form on the standard error
// stream, one write each, so that threads don't mix their lines.

#include <android/log.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <string_view>

namespace {

constexpr std::size_t kLineBytes = 1024;

std::atomic<__android_logger_function> logger_in_use{__android_log_stderr_logger};

}  // namespace

__attribute__((visibility("default"))) void __android_log_stderr_logger(
    const __android_log_message* log_message) {
    static constexpr char kLetters[] = "??VDIWEFS";
    const std::int32_t prio = log_message->priority;
    const char letter = prio >= 0 && prio <= ANDROID_LOG_SILENT ? kLetters[prio] : '?';
    char lead[kLineBytes];
    std::snprintf(lead, sizeof(lead), "%c/%-8s(%5d): ", letter,
                  log_message->tag != nullptr ? log_message->tag : "", static_cast<int>(getpid()));
    std::string_view rest(log_message->message);
    rest = rest.substr(0, rest.find_last_not_of("\r\n") + 1);
    char lines[4 * kLineBytes];
    std::size_t end = 0;
    do {
        const std::string_view line = rest.substr(0, rest.find('\n'));
        rest.remove_prefix(std::min(line.size() + 1, rest.size()));
        const int length = std::snprintf(lines + end, sizeof(lines) - end, "%s%.*s\n", lead,
                                         static_cast<int>(line.size()), line.data());
        end += std::min(static_cast<std::size_t>(std::max(length, 0)), sizeof(lines) - 1 - end);
    } while (!rest.empty());
    lines[end - 1] = '\n';  // of what does not fit, too
    // A log that cannot be written has nobody to tell.
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, lines, end);
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
