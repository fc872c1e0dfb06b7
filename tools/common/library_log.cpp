#include "library_log.h"

#include <android/log.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <new>
#include <utility>

#include "status_line.h"

namespace {

struct shared_log {
    std::mutex lock;
    bool printed = true;
    std::vector<std::string> errors;
};

// Never destroyed: the converter still logs while the process ends.
shared_log& log() {
    static auto* const instance = new shared_log;
    return *instance;
}

thread_local std::vector<library_message>* t_own = nullptr;

void take_message(const __android_log_message* message) {
    try {
        if (t_own != nullptr) {
            t_own->push_back({message->priority, message->message});
            return;
        }
        const std::lock_guard guard(log().lock);
        const std::string text = without_origin(message->message);
        std::vector<std::string>& errors = log().errors;
        if (message->priority >= ANDROID_LOG_ERROR && errors.size() < 10 &&
            std::find(errors.begin(), errors.end(), text) == errors.end()) {
            errors.push_back(text);
        }
        if (log().printed) {
            if (terminal_columns() != 0) {
                std::fputs("\r\033[K", stderr);  // there may be a status line
            }
            __android_log_stderr_logger(message);
        }
    } catch (const std::bad_alloc&) {
        // A log doesn't throw.
    }
}

}  // namespace

thread_library_log::thread_library_log() : outer(std::exchange(t_own, &messages)) {
    __android_log_set_logger(take_message);
}

thread_library_log::~thread_library_log() {
    t_own = outer;
}

std::vector<library_message> thread_library_log::take() {
    return std::exchange(messages, {});
}

void print_library_log(bool wanted) {
    __android_log_set_logger(take_message);
    const std::lock_guard guard(log().lock);
    log().printed = wanted;
    log().errors.clear();
}

std::string failure_reasons() {
    const std::lock_guard guard(log().lock);
    std::string all;
    for (const std::string& text : log().errors) {
        all += "\n    the library says: " + text;
    }
    return all;
}

std::string without_origin(const std::string& text) {
    // "function            :0123 text"; a function's name has no colon followed by digits.
    const std::size_t colon = text.find(':');
    const std::size_t digits = colon == std::string::npos ? colon : colon + 1;
    const std::size_t end = text.find_first_not_of("0123456789", digits);
    const bool origin = end != std::string::npos && end > digits && text[end] == ' ';
    std::string plain = origin ? text.substr(end + 1) : text;
    plain.erase(plain.find_last_not_of(" \r\n") + 1);
    return plain;
}
