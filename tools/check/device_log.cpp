#include "device_log.h"

#include <android/log.h>

#include "wording.h"

namespace {
constexpr std::size_t kLongestMessage = 160;
}

std::vector<std::string> device_log::take() {
    std::vector<std::string> texts;
    for (const library_message& message : log.take()) {
        if (message.priority >= ANDROID_LOG_INFO) {
            texts.push_back(printable(without_origin(message.text), kLongestMessage));
        }
    }
    return texts;
}
