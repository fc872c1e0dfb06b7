#include "controls.h"

#include <tinyalsa/mixer.h>

#include <cstdio>
#include <memory>

#include "control_text.h"

namespace {

struct mixer_closer {
    void operator()(mixer* handle) const { mixer_close(handle); }
};
using mixer_owner = std::unique_ptr<mixer, mixer_closer>;

exit_code no_card(const controls_options& options) {
    return fail(EXIT_OPEN, "cannot open the mixer of card " + std::to_string(options.card));
}

/// The control that the options name, or null with a message.
mixer_ctl* named_control(mixer* handle, const controls_options& options) {
    mixer_ctl* control = find_control(handle, options.control);
    if (control == nullptr) {
        fail(EXIT_USAGE, "card " + std::to_string(options.card) + " has no control \"" +
                             options.control + "\"");
    }
    return control;
}

/// Short enough for a line of the list.
std::string shortened(const std::string& value) {
    constexpr std::size_t kLongest = 60;
    return value.size() <= kLongest ? value : value.substr(0, kLongest - 3) + "...";
}

}  // namespace

exit_code list_controls(const controls_options& options) {
    const mixer_owner handle(mixer_open(options.card));
    if (!handle) {
        return no_card(options);
    }
    std::printf("%3s  %-4s  %5s  %-22s  %s\n", "ctl", "type", "count", "name", "value");
    for (unsigned int i = 0; i < mixer_get_num_ctls(handle.get()); ++i) {
        mixer_ctl* control = mixer_get_ctl(handle.get(), i);
        const std::string range = control_range_text(control);
        std::printf(
            "%3u  %-4s  %5u  %-22s  %s%s%s%s\n", i,
            mixer_ctl_is_access_tlv_rw(control) != 0 ? "TLV" : mixer_ctl_get_type_string(control),
            mixer_ctl_get_num_values(control), mixer_ctl_get_name(control),
            shortened(control_value_text(control)).c_str(), range.empty() ? "" : "  (",
            range.c_str(), range.empty() ? "" : ")");
    }
    return EXIT_OK;
}

exit_code get_control(const controls_options& options) {
    const mixer_owner handle(mixer_open(options.card));
    if (!handle) {
        return no_card(options);
    }
    mixer_ctl* control = named_control(handle.get(), options);
    if (control == nullptr) {
        return EXIT_USAGE;
    }
    const std::string value = control_value_text(control);
    if (value == "?") {
        return fail(EXIT_READ, "the card does not tell \"" + options.control + "\"");
    }
    std::printf("%s\n", value.c_str());
    return EXIT_OK;
}

exit_code set_control(const controls_options& options) {
    const mixer_owner handle(mixer_open(options.card));
    if (!handle) {
        return no_card(options);
    }
    mixer_ctl* control = named_control(handle.get(), options);
    if (control == nullptr) {
        return EXIT_USAGE;
    }
    const std::string wrong = set_control_from_text(control, options.values);
    if (!wrong.empty()) {
        return fail(EXIT_WRITE, "\"" + options.control + "\": " + wrong);
    }
    std::printf("%s = %s\n", mixer_ctl_get_name(control), control_value_text(control).c_str());
    return EXIT_OK;
}
