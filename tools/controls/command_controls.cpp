// zel-fc controls: a card's controls, a line or an object each.

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "card_controls.h"
#include "command_options.h"
#include "commands.h"

namespace {

struct controls_options {
    unsigned int card = 70;
    bool json = false;
};

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
    const std::string value = control_value_text(control);
    std::printf(
        "%3u  %-4s  %5u  %-22s  %s%s%s%s\n", number, type_text(control),
        mixer_ctl_get_num_values(control), mixer_ctl_get_name(control),
        value.size() <= kLongest ? value.c_str() : (value.substr(0, kLongest - 3) + "...").c_str(),
        range.empty() ? "" : "  (", range.c_str(), range.empty() ? "" : ")");
}

exit_code run_controls(const controls_options& options) {
    const mixer_owner handle = open_mixer(options.card);
    if (!handle) {
        return fail(EXIT_OPEN, "cannot open the mixer of card " + std::to_string(options.card));
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

}  // namespace

void add_controls_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<controls_options>();
    CLI::App* controls = app->add_subcommand("controls", "List a card's controls");
    controls->add_option("-D,--card", options->card, "Card")->capture_default_str();
    add_json_flag(controls, &options->json);
    controls->footer(
        "Those of card 70 are its own, which begin with FC, and the mirrored ones of the card "
        "behind\n"
        "it. capture --change sets them while it records; those of a kernel's card are set for "
        "all\n"
        "programs by tinymix or amixer.");
    controls->callback([=] { *action = [=] { return run_controls(*options); }; });
}
