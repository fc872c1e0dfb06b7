#include "library_log.h"

#include <android/log.h>

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <new>
#include <utility>

namespace {

struct shared_log {
    std::mutex lock;
    bool held = false;
    bool printed = true;
    std::vector<library_message> messages;
};

// Never destroyed: the converter still logs while the process ends.
shared_log& log() {
    static auto* const instance = new shared_log;
    return *instance;
}

thread_local std::vector<library_message>* t_own = nullptr;

void take_message(const __android_log_message* message) {
    shared_log& shared = log();
    try {
        const std::lock_guard guard(shared.lock);
        std::vector<library_message>* to = t_own != nullptr ? t_own
                                           : shared.held    ? &shared.messages
                                                            : nullptr;
        if (to != nullptr) {
            to->push_back(
                {message->priority, message->tag != nullptr ? message->tag : "", message->message});
        } else if (shared.printed) {
            __android_log_stderr_logger(message);
        }
    } catch (const std::bad_alloc&) {
        // A log doesn't throw.
    }
}

}  // namespace

held_library_log::held_library_log() {
    __android_log_set_logger(take_message);
    const std::lock_guard guard(log().lock);
    log().held = true;
}

held_library_log::~held_library_log() {
    const std::lock_guard guard(log().lock);
    log().held = false;
    for (const library_message& message : std::exchange(log().messages, {})) {
        if (log().printed) {
            print_library_message(message);
        }
    }
}

std::vector<library_message> held_library_log::take() {
    const std::lock_guard guard(log().lock);
    return std::exchange(log().messages, {});
}

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
}

void print_library_message(const library_message& message) {
    __android_log_message record{};
    record.struct_size = sizeof(record);
    record.priority = message.priority;
    record.tag = message.tag.c_str();
    record.message = message.text.c_str();
    __android_log_stderr_logger(&record);
}

void explain_failure(const std::vector<library_message>& messages) {
    std::vector<std::string> told;
    for (const library_message& message : messages) {
        const std::string text = without_origin(message.text);
        if (message.priority >= ANDROID_LOG_ERROR &&
            std::find(told.begin(), told.end(), text) == told.end()) {
            std::fprintf(stderr, "    the library says: %s\n", text.c_str());
            told.push_back(text);
        }
    }
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
