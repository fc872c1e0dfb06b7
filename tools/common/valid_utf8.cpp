#include "valid_utf8.h"

#include <algorithm>

namespace {

/// Length of the character that a text begins with, 0 when those bytes are none.
std::size_t character_length(std::string_view text) {
    const auto byte = [=](std::size_t at) {
        return at < text.size() ? static_cast<unsigned char>(text[at]) : 0U;
    };
    const unsigned int lead = byte(0);
    if (lead < 0x80) {
        return 1;
    }
    // No longer forms than needed, no halves of UTF-16's pairs, nothing beyond U+10FFFF.
    unsigned int least = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    unsigned int most = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    bool good = lead >= 0xC2 && lead <= 0xF4;
    for (std::size_t at = 1; at < length; ++at) {
        good = good && byte(at) >= least && byte(at) <= most;
        least = 0x80;
        most = 0xBF;
    }
    return good ? length : 0;
}

}  // namespace

std::string valid_utf8(std::string_view text) {
    std::string valid;
    while (!text.empty()) {
        const std::size_t length = character_length(text);
        valid += length != 0 ? text.substr(0, length) : "\xEF\xBF\xBD";
        text.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return valid;
}
