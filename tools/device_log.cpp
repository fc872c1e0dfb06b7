#include "device_log.h"

#include <android/log.h>

#include <cctype>
#include <mutex>
#include <utility>

#include "check_text.h"

namespace {

constexpr std::size_t kLongestMessage = 160;

struct held_messages {
    std::mutex lock;
    std::vector<std::string> texts;
};

held_messages& held() {
    static held_messages instance;
    return instance;
}

/// A message begins with "FUNCTION            :LINE ", of 20 and 4 characters or more.
std::string without_origin(const std::string& text) {
    std::size_t end = text.find(':', 20);
    if (end == std::string::npos) {
        return text;
    }
    do {
        ++end;
    } while (end < text.size() && std::isdigit(static_cast<unsigned char>(text[end])) != 0);
    return end < text.size() && text[end] == ' ' ? text.substr(end + 1) : text;
}

void hold(const __android_log_message* message) {
    if (message->priority < ANDROID_LOG_INFO) {
        return;
    }
    held_messages& all = held();
    const std::lock_guard guard(all.lock);
    all.texts.push_back(printable(without_origin(message->message), kLongestMessage));
}

}  // namespace

device_log::device_log() {
    take();
    __android_log_set_logger(hold);
}

device_log::~device_log() {
    __android_log_set_logger(__android_log_stderr_logger);
}

std::vector<std::string> device_log::take() {
    held_messages& all = held();
    const std::lock_guard guard(all.lock);
    return std::exchange(all.texts, {});
}
