#include "card_controls.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace {

bool is_bytes(mixer_ctl* control) {
    return mixer_ctl_get_type(control) == MIXER_CTL_TYPE_BYTE;
}

std::string item_name(mixer_ctl* control, int number) {
    const char* item = number < 0
                           ? nullptr
                           : mixer_ctl_get_enum_string(control, static_cast<unsigned int>(number));
    return item != nullptr ? item : std::to_string(number);
}

json element_value(mixer_ctl* control, unsigned int element) {
    const int value = mixer_ctl_get_value(control, element);
    return mixer_ctl_get_type(control) == MIXER_CTL_TYPE_ENUM ? json(item_name(control, value))
                                                              : json(value);
}

json bytes_value(mixer_ctl* control) {
    std::vector<unsigned char> bytes(mixer_ctl_get_num_values(control));
    if (mixer_ctl_get_array(control, bytes.data(), bytes.size()) != 0) {
        return nullptr;
    }
    const auto end = std::find(bytes.begin(), bytes.end(), 0);
    const bool text =
        std::all_of(bytes.begin(), end, [](unsigned char c) { return std::isprint(c) != 0; }) &&
        std::all_of(end, bytes.end(), [](unsigned char c) { return c == 0; });
    return text ? std::string(bytes.begin(), end) : fmt::format("hex:{:02x}", fmt::join(bytes, ""));
}

}  // namespace

mixer_owner open_mixer(unsigned int card) {
    return {mixer_open(card), mixer_close};
}

json control_value(mixer_ctl* control) {
    if (is_bytes(control)) {
        return bytes_value(control);
    }
    json all = json::array();
    for (unsigned int i = 0; i < mixer_ctl_get_num_values(control); ++i) {
        all.push_back(element_value(control, i));
    }
    return all.size() == 1 ? all[0] : all;
}

std::string control_text(mixer_ctl* control) {
    const json value = control_value(control);
    std::string text = value.is_null() ? "?" : "";
    for (const json& one : value.is_array() ? value : json::array({value})) {
        text += text.empty() ? "" : " ";
        text += one.is_string() ? one.get<std::string>() : one.is_number() ? one.dump() : "";
    }
    return text;
}

std::string control_range(mixer_ctl* control) {
    if (mixer_ctl_get_type(control) == MIXER_CTL_TYPE_INT) {
        return fmt::format("{} to {}", mixer_ctl_get_range_min(control),
                           mixer_ctl_get_range_max(control));
    }
    std::string items;
    for (unsigned int i = 0; i < mixer_ctl_get_num_enums(control); ++i) {
        items += (i > 0 ? ", " : "") + item_name(control, static_cast<int>(i));
    }
    return items;
}

std::string set_control(mixer_ctl* control, const std::string& value, bool tries) {
    const unsigned int count = mixer_ctl_get_num_values(control);
    if (is_bytes(control)) {
        if (value.size() >= count) {
            return fmt::format("more than {} characters: {}", count - 1, value);
        }
        std::string bytes = value;
        bytes.resize(count);
        return tries || mixer_ctl_set_array(control, bytes.data(), count) == 0
                   ? ""
                   : fmt::format("the card refuses \"{}\"", value);
    }
    const bool named = mixer_ctl_get_type(control) == MIXER_CTL_TYPE_ENUM;
    const int items = static_cast<int>(mixer_ctl_get_num_enums(control));
    int number = 0;
    while (named && number < items && item_name(control, number) != value) {
        ++number;
    }
    const char* const end = value.data() + value.size();
    if (named ? number == items
              : value.empty() || std::from_chars(value.data(), end, number).ptr != end) {
        return fmt::format("\"{}\" is not {} {}", value, named ? "one of" : "a number from",
                           control_range(control));
    }
    bool set = named || (number >= mixer_ctl_get_range_min(control) &&
                         number <= mixer_ctl_get_range_max(control));
    for (unsigned int i = 0; i < count && set && !tries; ++i) {
        set = mixer_ctl_set_value(control, i, number) == 0;
    }
    return set ? ""
               : fmt::format("the card refuses {}, it takes {}", value, control_range(control));
}
