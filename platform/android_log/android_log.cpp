// The Android log on a host without one: lines in logcat's "brief" form on the standard error
// stream, one write each, so that threads don't mix their lines.

#include <android/log.h>
#include <unistd.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>

__attribute__((visibility("default"))) int __android_log_print(int prio, const char* tag,
                                                               const char* fmt, ...) {
    static constexpr char kLetters[] = "??VDIWEFS";
    const char letter = prio >= 0 && prio <= ANDROID_LOG_SILENT ? kLetters[prio] : '?';
    char line[1024];
    int length = std::snprintf(line, sizeof(line), "%c/%-8s(%5d): ", letter,
                               tag != nullptr ? tag : "", static_cast<int>(getpid()));
    const int head = std::clamp(length, 0, static_cast<int>(sizeof(line)) - 2);
    va_list args;
    va_start(args, fmt);
    length =
        std::vsnprintf(line + head, sizeof(line) - static_cast<std::size_t>(head) - 1, fmt, args);
    va_end(args);
    std::size_t end =
        std::min(static_cast<std::size_t>(head + std::max(length, 0)), sizeof(line) - 2);
    while (end > 0 && (line[end - 1] == '\n' || line[end - 1] == '\r')) {
        --end;
    }
    line[end++] = '\n';
    return static_cast<int>(::write(STDERR_FILENO, line, end));
}
