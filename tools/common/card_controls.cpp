#include "card_controls.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <utility>

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

std::string quoted_text(const std::string& text) {
    return '"' + text + '"';
}

/// A number, or the name of an enumerated control's item.
std::optional<int> value_in(mixer_ctl* control, const std::string& text) {
    for (unsigned int i = 0; i < mixer_ctl_get_num_enums(control); ++i) {
        const char* item = mixer_ctl_get_enum_string(control, i);
        if (item != nullptr && text == item) {
            return static_cast<int>(i);
        }
    }
    return number_in(text);
}

/// What texts stand for, one for each element, or what is wrong.
struct control_values {
    std::vector<int> numbers{};
    std::vector<unsigned char> bytes{};
    std::string wrong{};
};

control_values values_in(mixer_ctl* control, const std::vector<std::string>& texts) {
    control_values all;
    const unsigned int count = mixer_ctl_get_num_values(control);
    const mixer_ctl_type type = mixer_ctl_get_type(control);
    const bool bytes = type == MIXER_CTL_TYPE_BYTE;
    if (texts.empty() || (texts.size() != 1 && (bytes || texts.size() != count))) {
        all.wrong =
            std::to_string(texts.size()) + " values for " + std::to_string(bytes ? 1 : count);
        return all;
    }
    if (bytes) {
        const auto in = bytes_in(texts[0]);
        all.bytes = in.value_or(all.bytes);
        all.wrong = !in ? quoted_text(texts[0]) + " is not pairs of hexadecimal digits"
                    : in->size() > count
                        ? quoted_text(texts[0]) + " has " + std::to_string(in->size()) +
                              " bytes, the control has " + std::to_string(count)
                        : "";
        all.bytes.resize(count);
        return all;
    }
    const bool named = type == MIXER_CTL_TYPE_ENUM;
    const int min = named ? 0 : mixer_ctl_get_range_min(control);
    const int max = named ? static_cast<int>(mixer_ctl_get_num_enums(control)) - 1
                          : mixer_ctl_get_range_max(control);
    for (unsigned int i = 0; i < count; ++i) {
        const std::string& text = texts[texts.size() == 1 ? 0 : i];
        const std::optional<int> value = value_in(control, text);
        if (!value) {
            all.wrong = quoted_text(text) + " is not " + (named ? "one of " : "a number from ") +
                        control_range_text(control);
        } else if (*value < min || *value > max) {
            all.wrong = "the card refuses " + text + ", it takes " + control_range_text(control);
        }
        all.numbers.push_back(value.value_or(0));
    }
    return all;
}

/// Name of an enumerated control's item; null when it has none.
const char* item_of(mixer_ctl* control, unsigned int element) {
    const int value = mixer_ctl_get_value(control, element);
    return mixer_ctl_get_type(control) == MIXER_CTL_TYPE_ENUM && value >= 0
               ? mixer_ctl_get_enum_string(control, static_cast<unsigned int>(value))
               : nullptr;
}

std::string element_text(mixer_ctl* control, unsigned int element) {
    const char* item = item_of(control, element);
    return item != nullptr ? item : std::to_string(mixer_ctl_get_value(control, element));
}

json_value element_json(mixer_ctl* control, unsigned int element) {
    const char* item = item_of(control, element);
    return item != nullptr ? json_value(item) : json_value(mixer_ctl_get_value(control, element));
}

/// A text loses its quotes: JSON has its own.
json_value bytes_json(mixer_ctl* control) {
    const std::string text = control_value_text(control);
    if (text == "?") {
        return json_value(NAN);
    }
    return text.front() == '"' ? text.substr(1, text.size() - 2) : text;
}

}  // namespace

mixer_owner open_mixer(unsigned int card) {
    return {mixer_open(card), mixer_close};
}

std::string control_string(mixer_ctl* control) {
    if (mixer_ctl_get_type(control) != MIXER_CTL_TYPE_BYTE) {
        return element_text(control, 0);
    }
    std::vector<char> bytes(mixer_ctl_get_num_values(control));
    return mixer_ctl_get_array(control, bytes.data(), bytes.size()) == 0
               ? std::string(bytes.begin(), std::find(bytes.begin(), bytes.end(), '\0'))
               : "";
}

std::string control_value_text(mixer_ctl* control) {
    if (mixer_ctl_get_type(control) == MIXER_CTL_TYPE_BYTE) {
        return bytes_text(control);
    }
    std::string text;
    for (unsigned int i = 0; i < mixer_ctl_get_num_values(control); ++i) {
        text += (i > 0 ? " " : "") + element_text(control, i);
    }
    return text;
}

std::string control_range_text(mixer_ctl* control) {
    std::string text;
    if (mixer_ctl_get_type(control) == MIXER_CTL_TYPE_INT) {
        return std::to_string(mixer_ctl_get_range_min(control)) + " to " +
               std::to_string(mixer_ctl_get_range_max(control));
    }
    for (unsigned int i = 0; i < mixer_ctl_get_num_enums(control); ++i) {
        const char* item = mixer_ctl_get_enum_string(control, i);
        text += (i > 0 ? ", " : "") + std::string(item != nullptr ? item : "?");
    }
    return text;
}

std::string check_control_values(mixer_ctl* control, const std::vector<std::string>& values) {
    return values_in(control, values).wrong;
}

std::string set_control_from_text(mixer_ctl* control, const std::vector<std::string>& values) {
    const control_values all = values_in(control, values);
    if (!all.wrong.empty()) {
        return all.wrong;
    }
    int status =
        all.bytes.empty() ? 0 : mixer_ctl_set_array(control, all.bytes.data(), all.bytes.size());
    for (unsigned int i = 0; i < all.numbers.size() && status == 0; ++i) {
        status = mixer_ctl_set_value(control, i, all.numbers[i]);
    }
    return status == 0 ? "" : "the card refuses " + quoted_text(values[0]);
}

std::string set_control_bytes(mixer_ctl* control, const std::string& bytes) {
    std::vector<char> all(mixer_ctl_get_num_values(control));
    if (bytes.size() >= all.size()) {
        return "more than " + std::to_string(all.size() - 1) + " characters: " + bytes;
    }
    bytes.copy(all.data(), bytes.size());
    return mixer_ctl_set_array(control, all.data(), all.size()) == 0
               ? ""
               : "the card refuses " + quoted_text(bytes);
}

mixer_ctl* find_control(mixer* handle, const std::string& name_or_number) {
    mixer_ctl* named = mixer_get_ctl_by_name(handle, name_or_number.c_str());
    const std::optional<int> number = number_in(name_or_number);
    return named != nullptr || !number || *number < 0
               ? named
               : mixer_get_ctl(handle, static_cast<unsigned int>(*number));
}

json_value control_value_json(mixer_ctl* control) {
    if (mixer_ctl_get_type(control) == MIXER_CTL_TYPE_BYTE) {
        return bytes_json(control);
    }
    const unsigned int count = mixer_ctl_get_num_values(control);
    if (count == 1) {
        return element_json(control, 0);
    }
    json_value values = json_value::array();
    for (unsigned int i = 0; i < count; ++i) {
        values.append(element_json(control, i));
    }
    return values;
}

bool parse_card_change(const std::string& text, card_change* change) {
    const auto colon = text.find(':');
    const auto equals = text.find('=', colon == std::string::npos ? 0 : colon);
    int used = 0;
    if (colon == std::string::npos || equals == std::string::npos || equals == colon + 1 ||
        std::sscanf(text.c_str(), "%lf%n", &change->seconds, &used) != 1 ||
        static_cast<std::size_t>(used) != colon || !(change->seconds >= 0)) {
        return false;
    }
    change->control = text.substr(colon + 1, equals - colon - 1);
    change->value = text.substr(equals + 1);
    return true;
}

card_changes::card_changes(std::vector<card_change> wanted, mixer* opened)
    : changes(std::move(wanted)), handle(opened) {
    std::stable_sort(
        changes.begin(), changes.end(),
        [](const card_change& a, const card_change& b) { return a.seconds < b.seconds; });
}

std::string card_changes::check() const {
    for (const card_change& change : changes) {
        mixer_ctl* control = handle == nullptr ? nullptr : find_control(handle, change.control);
        const std::string wrong =
            control == nullptr ? "no such control" : check_control_values(control, {change.value});
        if (!wrong.empty()) {
            return "\"" + change.control + "\": " + wrong;
        }
    }
    return "";
}

std::string card_changes::make_due(double seconds, std::vector<std::string>* made) {
    while (!changes.empty() && changes.front().seconds <= seconds) {
        const card_change change = changes.front();
        changes.erase(changes.begin());
        mixer_ctl* control = find_control(handle, change.control);
        const std::string wrong = set_control_from_text(control, {change.value});
        if (!wrong.empty()) {
            return "\"" + change.control + "\": " + wrong;
        }
        made->push_back(std::string(mixer_ctl_get_name(control)) + " = " + change.value);
    }
    return "";
}
