#include "control_text.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <optional>

namespace {

std::optional<int> number_in(const std::string& text) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(value)
                                                                    : std::nullopt;
}

/// Printable characters with nothing but zeros behind them.
bool is_text(const std::vector<unsigned char>& bytes) {
    const auto end = std::find(bytes.begin(), bytes.end(), 0);
    return end != bytes.begin() &&
           std::all_of(bytes.begin(), end, [](unsigned char c) { return std::isprint(c) != 0; }) &&
           std::all_of(end, bytes.end(), [](unsigned char c) { return c == 0; });
}

std::string hex_of(const std::vector<unsigned char>& bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text = "hex:";
    for (const unsigned char byte : bytes) {
        text += kDigits[byte >> 4];
        text += kDigits[byte & 0xF];
    }
    return text;
}

std::string bytes_text(mixer_ctl* control) {
    std::vector<unsigned char> bytes(mixer_ctl_get_num_values(control));
    if (mixer_ctl_get_array(control, bytes.data(), bytes.size()) != 0) {
        return "?";
    }
    return is_text(bytes)
               ? '"' + std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), 0)) + '"'
               : hex_of(bytes);
}

/// The bytes that a text or "hex:" stands for, or nothing.
std::optional<std::vector<unsigned char>> bytes_in(const std::string& text) {
    if (text.rfind("hex:", 0) != 0) {
        return std::vector<unsigned char>(text.begin(), text.end());
    }
    std::vector<unsigned char> bytes;
    for (std::size_t at = 4; at < text.size(); at += 2) {
        unsigned int byte = 0;
        const char* begin = text.data() + at;
        const char* end = begin + std::min<std::size_t>(2, text.size() - at);
        if (end - begin != 2 || std::from_chars(begin, end, byte, 16).ptr != end) {
            return std::nullopt;
        }
        bytes.push_back(static_cast<unsigned char>(byte));
    }
    return bytes;
}

std::string set_bytes(mixer_ctl* control, const std::string& text) {
    const unsigned int room = mixer_ctl_get_num_values(control);
    std::optional<std::vector<unsigned char>> bytes = bytes_in(text);
    if (!bytes) {
        return '"' + text + "\" is not pairs of hexadecimal digits";
    }
    if (bytes->size() > room) {
        return "\"" + text + "\" has " + std::to_string(bytes->size()) +
               " bytes, the control has " + std::to_string(room);
    }
    bytes->resize(room);
    return mixer_ctl_set_array(control, bytes->data(), bytes->size()) == 0
               ? ""
               : "the card refuses \"" + text + '"';
}

std::optional<int> item_named(mixer_ctl* control, const std::string& text) {
    for (unsigned int i = 0; i < mixer_ctl_get_num_enums(control); ++i) {
        const char* item = mixer_ctl_get_enum_string(control, i);
        if (item != nullptr && text == item) {
            return static_cast<int>(i);
        }
    }
    return number_in(text);
}

}  // namespace

std::string control_value_text(mixer_ctl* control) {
    if (mixer_ctl_get_type(control) == MIXER_CTL_TYPE_BYTE) {
        return bytes_text(control);
    }
    std::string text;
    for (unsigned int i = 0; i < mixer_ctl_get_num_values(control); ++i) {
        const int value = mixer_ctl_get_value(control, i);
        const char* item =
            mixer_ctl_get_type(control) == MIXER_CTL_TYPE_ENUM && value >= 0
                ? mixer_ctl_get_enum_string(control, static_cast<unsigned int>(value))
                : nullptr;
        text += i > 0 ? " " : "";
        text += item != nullptr ? item : std::to_string(value);
    }
    return text;
}

std::string shortened(const std::string& text, std::size_t longest) {
    return text.size() <= longest ? text : text.substr(0, longest - 3) + "...";
}

std::string control_range_text(mixer_ctl* control) {
    std::string text;
    switch (mixer_ctl_get_type(control)) {
        case MIXER_CTL_TYPE_INT:
            return std::to_string(mixer_ctl_get_range_min(control)) + " to " +
                   std::to_string(mixer_ctl_get_range_max(control));
        case MIXER_CTL_TYPE_ENUM:
            for (unsigned int i = 0; i < mixer_ctl_get_num_enums(control); ++i) {
                const char* item = mixer_ctl_get_enum_string(control, i);
                text += (i > 0 ? ", " : "") + std::string(item != nullptr ? item : "?");
            }
            return text;
        default:
            return text;
    }
}

std::string set_control_from_text(mixer_ctl* control, const std::vector<std::string>& values) {
    const unsigned int count = mixer_ctl_get_num_values(control);
    const bool bytes = mixer_ctl_get_type(control) == MIXER_CTL_TYPE_BYTE;
    if (values.empty() || (values.size() != 1 && (bytes || values.size() != count))) {
        return std::to_string(values.size()) + " values for " + std::to_string(bytes ? 1 : count);
    }
    if (bytes) {
        return set_bytes(control, values[0]);
    }
    for (unsigned int i = 0; i < count; ++i) {
        const std::string& text = values[values.size() == 1 ? 0 : i];
        const bool named = mixer_ctl_get_type(control) == MIXER_CTL_TYPE_ENUM;
        const std::optional<int> value = named ? item_named(control, text) : number_in(text);
        if (!value) {
            return '"' + text + "\" is not " + (named ? "one of " : "a number from ") +
                   control_range_text(control);
        }
        if (mixer_ctl_set_value(control, i, *value) != 0) {
            return "the card refuses " + text + ", it takes " + control_range_text(control);
        }
    }
    return "";
}

mixer_ctl* find_control(mixer* handle, const std::string& name_or_number) {
    mixer_ctl* named = mixer_get_ctl_by_name(handle, name_or_number.c_str());
    const std::optional<int> number = number_in(name_or_number);
    return named != nullptr || !number || *number < 0
               ? named
               : mixer_get_ctl(handle, static_cast<unsigned int>(*number));
}
