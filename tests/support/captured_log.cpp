#include "captured_log.h"

#include <android/log.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <new>
#include <string>
#include <vector>

namespace {

struct captured_log {
    std::mutex lock;
    std::vector<std::string> entries;
};

// Never destroyed: a converter that lives until the process ends still logs after the statics.
captured_log& log() {
    static auto* const instance = new captured_log;
    return *instance;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int __android_log_print(int /*prio*/,
                                                                          const char* /*tag*/,
                                                                          const char* fmt, ...) {
    char text[1024];
    va_list args;
    va_start(args, fmt);
    const int length = std::vsnprintf(text, sizeof(text), fmt, args);
    va_end(args);
    captured_log& captured = log();
    const std::lock_guard guard(captured.lock);
    try {
        captured.entries.emplace_back(text);
    } catch (const std::bad_alloc&) {
        // A log doesn't throw, not even while a test makes allocations fail.
    }
    return length;
}

namespace zel_test {

void clear_log() {
    captured_log& captured = log();
    const std::lock_guard guard(captured.lock);
    captured.entries.clear();
}

std::size_t log_count(std::string_view substring, std::string_view operation) {
    captured_log& captured = log();
    const std::lock_guard guard(captured.lock);
    return static_cast<std::size_t>(
        std::count_if(captured.entries.begin(), captured.entries.end(), [=](std::string_view text) {
            const bool told_by =
                operation.empty() || text.substr(0, text.find_first_of(" :")) == operation;
            return told_by && text.find(substring) != std::string_view::npos;
        }));
}

bool log_has(std::string_view substring) {
    return log_count(substring) != 0;
}

bool log_has(std::string_view operation, std::string_view substring) {
    return log_count(substring, operation) != 0;
}

}  // namespace zel_test
