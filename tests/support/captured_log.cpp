#include "captured_log.h"

#include <android/log.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <string>
#include <vector>

namespace {

/// Takes memory where no test makes it fail.
template <typename Value>
struct calloc_allocator {
    using value_type = Value;
    Value* allocate(std::size_t count) {
        return static_cast<Value*>(std::calloc(count, sizeof(Value)));
    }
    void deallocate(Value* values, std::size_t) { std::free(values); }
    bool operator==(const calloc_allocator&) const { return true; }
};

struct log_entry {
    int priority;
    std::basic_string<char, std::char_traits<char>, calloc_allocator<char>> text;
};

struct captured_log {
    std::mutex lock;
    std::vector<log_entry, calloc_allocator<log_entry>> entries;
};

std::string_view operation_of(std::string_view text) {
    return text.substr(0, text.find_first_of(" :"));
}

// Never destroyed: a converter that lives until the process ends still logs after the statics.
captured_log& log() {
    static auto* const instance = new (std::calloc(1, sizeof(captured_log))) captured_log;
    return *instance;
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int __android_log_print(int prio,
                                                                          const char* /*tag*/,
                                                                          const char* fmt, ...) {
    char text[1024];
    va_list args;
    va_start(args, fmt);
    const int length = std::vsnprintf(text, sizeof(text), fmt, args);
    va_end(args);
    captured_log& captured = log();
    const std::lock_guard guard(captured.lock);
    captured.entries.push_back({prio, text});
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
    return static_cast<std::size_t>(std::count_if(
        captured.entries.begin(), captured.entries.end(), [=](const log_entry& entry) {
            return (operation.empty() || operation_of(entry.text) == operation) &&
                   entry.text.find(substring) != std::string::npos;
        }));
}

std::vector<std::string> log_entries() {
    captured_log& captured = log();
    const std::lock_guard guard(captured.lock);
    std::vector<std::string> entries;
    for (const auto& [priority, text] : captured.entries) {
        const std::size_t message = text.find(' ', text.find(':'));
        entries.push_back(std::string(1, "??VDIWEF"[priority]) + ' ' +
                          std::string(operation_of(text)) + ": " +
                          text.substr(message + 1).c_str());
    }
    return entries;
}

}  // namespace zel_test
