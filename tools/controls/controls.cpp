#include "controls.h"

#include <tinyalsa/mixer.h>

#include <cstdio>
#include <memory>
#include <utility>

#include "card_controls.h"

namespace {

struct mixer_closer {
    void operator()(mixer* handle) const { mixer_close(handle); }
};
using mixer_owner = std::unique_ptr<mixer, mixer_closer>;

exit_code no_card(const controls_options& options) {
    return fail(EXIT_OPEN, "cannot open the mixer of card " + std::to_string(options.card));
}

/// Gives the control that the options name to `use`.
exit_code with_control(const controls_options& options,
                       exit_code (*use)(const controls_options&, mixer*, mixer_ctl*)) {
    const mixer_owner handle(mixer_open(options.card));
    if (!handle) {
        return no_card(options);
    }
    mixer_ctl* control = find_control(handle.get(), options.control);
    return control != nullptr ? use(options, handle.get(), control)
                              : fail(EXIT_USAGE, "card " + std::to_string(options.card) +
                                                     " has no control \"" + options.control + "\"");
}

exit_code get_value(const controls_options& options, mixer* /*handle*/, mixer_ctl* control) {
    const std::string value = control_value_text(control);
    if (value == "?") {
        return fail(EXIT_READ, "the card does not tell \"" + options.control + "\"");
    }
    if (options.json) {
        control_value_json(control).print(true);
    } else {
        std::printf("%s\n", value.c_str());
    }
    return EXIT_OK;
}

exit_code set_value(const controls_options& options, mixer* handle, mixer_ctl* control) {
    const std::string wrong = set_control_from_text(control, options.values);
    if (!wrong.empty()) {
        return fail(EXIT_WRITE, "\"" + options.control + "\": " + wrong);
    }
    const std::string name = mixer_ctl_get_name(control);
    std::printf("%s = %s\n", name.c_str(), control_value_text(control).c_str());
    const bool own = name.starts_with("FC ");
    if (own || mixer_get_ctl_by_name(handle, "Sim Pacing") != nullptr) {
        std::fprintf(stderr,
                     "zel-fc: \"%s\" is %sthis process's own, which ends now; capture has options "
                     "for it, such as --change\n",
                     name.c_str(), own ? "" : "a simulated card's, so ");
    }
    return EXIT_OK;
}

const char* type_text(mixer_ctl* control) {
    return mixer_ctl_is_access_tlv_rw(control) != 0 ? "TLV" : mixer_ctl_get_type_string(control);
}

/// Number, name, type, count, value and what it can be set to.
json_value control_json(unsigned int number, mixer_ctl* control) {
    json_value json = json_value::object();
    json.set("number", number)
        .set("name", mixer_ctl_get_name(control))
        .set("type", type_text(control))
        .set("count", mixer_ctl_get_num_values(control))
        .set("value", control_value_json(control));
    if (mixer_ctl_get_type(control) == MIXER_CTL_TYPE_INT) {
        json.set("min", mixer_ctl_get_range_min(control))
            .set("max", mixer_ctl_get_range_max(control));
    } else if (mixer_ctl_get_type(control) == MIXER_CTL_TYPE_ENUM) {
        json_value items = json_value::array();
        for (unsigned int i = 0; i < mixer_ctl_get_num_enums(control); ++i) {
            const char* item = mixer_ctl_get_enum_string(control, i);
            items.append(item != nullptr ? item : "");
        }
        json.set("items", std::move(items));
    }
    return json;
}

void print_line(unsigned int number, mixer_ctl* control) {
    constexpr std::size_t kLongest = 60;
    const std::string range = control_range_text(control);
    std::printf("%3u  %-4s  %5u  %-22s  %s%s%s%s\n", number, type_text(control),
                mixer_ctl_get_num_values(control), mixer_ctl_get_name(control),
                shortened(control_value_text(control), kLongest).c_str(),
                range.empty() ? "" : "  (", range.c_str(), range.empty() ? "" : ")");
}

}  // namespace

exit_code list_controls(const controls_options& options) {
    const mixer_owner handle(mixer_open(options.card));
    if (!handle) {
        return no_card(options);
    }
    json_value all = json_value::array();
    if (!options.json) {
        std::printf("%3s  %-4s  %5s  %-22s  %s\n", "ctl", "type", "count", "name", "value");
    }
    for (unsigned int i = 0; i < mixer_get_num_ctls(handle.get()); ++i) {
        mixer_ctl* control = mixer_get_ctl(handle.get(), i);
        if (options.json) {
            all.append(control_json(i, control));
        } else {
            print_line(i, control);
        }
    }
    if (options.json) {
        all.print();
    }
    return EXIT_OK;
}

exit_code get_control(const controls_options& options) {
    return with_control(options, get_value);
}

exit_code set_control(const controls_options& options) {
    return with_control(options, set_value);
}
