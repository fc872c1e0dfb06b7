#include "library_log.h"

#include <android/log.h>

#include <algorithm>
#include <cctype>
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

void take_message(const __android_log_message* message) {
    shared_log& shared = log();
    try {
        const std::lock_guard guard(shared.lock);
        if (shared.held) {
            shared.messages.push_back(
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
        const std::string text = plain_text(message);
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
    if (colon == std::string::npos) {
        return text;
    }
    std::size_t end = colon + 1;
    while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end])) != 0) {
        ++end;
    }
    const bool origin = end > colon + 1 && end < text.size() && text[end] == ' ';
    return origin ? text.substr(end + 1) : text;
}

std::string plain_text(const library_message& message) {
    std::string plain;
    for (const char c : without_origin(message.text)) {
        const bool space = c == ' ' || c == '\n' || c == '\r';
        if (!space) {
            plain += c;
        } else if (!plain.empty() && plain.back() != ' ') {
            plain += ' ';
        }
    }
    plain.erase(plain.find_last_not_of(' ') + 1);
    return plain;
}
