#include "library_log.h"

#include <android/log.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdarg>
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

}  // namespace

// Stands before liblog's own: the loader looks into the program first.
extern "C" __attribute__((visibility("default"))) int __android_log_print(int prio, const char* tag,
                                                                          const char* fmt, ...) {
    char text[1024];
    va_list args;
    va_start(args, fmt);
    const int length = std::vsnprintf(text, sizeof(text), fmt, args);
    va_end(args);
    shared_log& shared = log();
    try {
        library_message message{prio, tag != nullptr ? tag : "", text};
        const std::lock_guard guard(shared.lock);
        if (shared.held) {
            shared.messages.push_back(std::move(message));
        } else if (shared.printed) {
            print_library_message(message);
        }
    } catch (const std::bad_alloc&) {
        // A log doesn't throw.
    }
    return length;
}

held_library_log::held_library_log() {
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
    const std::lock_guard guard(log().lock);
    log().printed = wanted;
}

void print_library_message(const library_message& message) {
    static constexpr char kLetters[] = "??VDIWEFS";
    const bool known = message.priority >= 0 && message.priority <= ANDROID_LOG_SILENT;
    std::string text = message.text;
    text.erase(
        std::find_if_not(text.rbegin(), text.rend(), [](char c) { return c == '\n' || c == '\r'; })
            .base(),
        text.end());
    std::fprintf(stderr, "%c/%-8s(%5d): %s\n", known ? kLetters[message.priority] : '?',
                 message.tag.c_str(), static_cast<int>(getpid()), text.c_str());
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

std::string plain_text(const library_message& message) {
    const std::string& text = message.text;
    // "function            :0123 text"; a function's name has no colon followed by digits.
    std::size_t begin = 0;
    const std::size_t colon = text.find(':');
    if (colon != std::string::npos) {
        std::size_t end = colon + 1;
        while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end])) != 0) {
            ++end;
        }
        begin = end > colon + 1 && end < text.size() && text[end] == ' ' ? end + 1 : 0;
    }
    std::string plain;
    for (const char c : text.substr(begin)) {
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
