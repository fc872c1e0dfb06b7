#include "chain_report.h"

#include <android/log.h>

#include <cstdio>

namespace {

/// The rest of `text` after `head`, or nothing when it begins otherwise.
bool rest_after(const std::string& text, const std::string& head, std::string* rest) {
    if (text.rfind(head, 0) != 0) {
        return false;
    }
    *rest = text.substr(head.size());
    return true;
}

bool has(const std::string& text, const char* part) {
    return text.find(part) != std::string::npos;
}

}  // namespace

void chain_report::add(const library_message& message) {
    const std::string text = plain_text(message);
    if (message.tag == "zel_channel_mixing") {
        add_mixing(message, text);
    } else if (message.tag == "zel_channel_delay") {
        add_delay(message, text);
    }
    silent_blocks += has(text, "fc process size incorrect") ? 1U : 0U;
    unsigned int flags = 0;
    std::sscanf(text.c_str(), "open zel-allop with %u channel %u bits %uk 0x%x flags",
                &card_channels, &card_bits, &card_rate, &flags);
    int stage[5] = {};
    if (std::sscanf(text.c_str(),
                    "FC operation status: bit_truncate %d channel_delay %d channel_mixing %d "
                    "channel_src %d bit_padding %d",
                    &stage[0], &stage[1], &stage[2], &stage[3], &stage[4]) == 5) {
        built = true;
        truncates = stage[0] != 0;
        converts_rate = stage[3] != 0;
        pads = stage[4] != 0;
    }
}

/// The first error after the file's name is the reason; what follows are its consequences.
void chain_report::add_mixing(const library_message& message, const std::string& text) {
    if (rest_after(text, "load coefficient ", &mixing_path) || text == "load coefficient") {
        mix = mixing::unknown;
        mixing_reason.clear();
    } else if (has(text, "use default matrix")) {
        mix = mixing::identity;
    } else if (text == "mixing coefficient load fail" && mix != mixing::identity) {
        mix = mixing::silence;
    } else if (has(text, "use mixing coefficient")) {
        mix = mixing::file;
    } else if (message.priority >= ANDROID_LOG_ERROR && mixing_reason.empty()) {
        mixing_reason = text;
    }
}

void chain_report::add_delay(const library_message& message, const std::string& text) {
    if (rest_after(text, "load coefficient ", &delay_path) || text == "load coefficient") {
        delays = delay::file;
        delay_reason.clear();
    } else if (has(text, "use default matrix")) {
        delays = delay::bypass;
    } else if (message.priority >= ANDROID_LOG_WARN && delay_reason.empty()) {
        delay_reason = text;
    }
}

std::string chain_report::stages() const {
    std::string text = truncates ? "32 to 16 bits > delay > mixing" : "delay > mixing";
    text += converts_rate ? " > 48 to 16 kHz" : "";
    return text + (pads ? " > 16 to 32 bits" : "");
}

std::string chain_report::mixing_warning() const {
    const std::string why = " (" + mixing_reason + ")";
    switch (mix) {
        case mixing::identity:
            return "the mixing file is not in use" + why +
                   ": the channels pass unmixed, by the identity matrix";
        case mixing::silence:
            return "the mixing file cannot be read" + why + ": the output is silent";
        default:
            return "";
    }
}

std::string chain_report::delay_warning() const {
    return delays == delay::bypass
               ? "the delay file is not in use (" + delay_reason + "): no channel is delayed"
               : "";
}

std::string chain_report::silence_warning() const {
    return silent_blocks == 0
               ? ""
               : "the converter has no way from the card's " + std::to_string(card_rate) +
                     " Hz to the client's rate: " + std::to_string(silent_blocks) +
                     " blocks are silence";
}
