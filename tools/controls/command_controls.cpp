// zel-fc controls: a card's controls, a line or an object each.

#include <memory>

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
json control_json(unsigned int number, mixer_ctl* control) {
    json all{{"number", number},
             {"name", mixer_ctl_get_name(control)},
             {"type", type_text(control)},
             {"count", mixer_ctl_get_num_values(control)},
             {"value", control_value(control)}};
    if (mixer_ctl_get_type(control) == MIXER_CTL_TYPE_INT) {
        all["min"] = mixer_ctl_get_range_min(control);
        all["max"] = mixer_ctl_get_range_max(control);
    }
    for (unsigned int i = 0; i < mixer_ctl_get_num_enums(control); ++i) {
        const char* item = mixer_ctl_get_enum_string(control, i);
        all["items"].push_back(item != nullptr ? item : "");
    }
    return all;
}

void print_line(unsigned int number, mixer_ctl* control) {
    constexpr std::size_t kLongest = 60;
    const std::string range = control_range(control);
    const std::string value = control_text(control);
    fmt::print("{:3}  {:<4}  {:5}  {:<22}  {}{}\n", number, type_text(control),
               mixer_ctl_get_num_values(control), mixer_ctl_get_name(control),
               value.size() <= kLongest ? value : value.substr(0, kLongest - 3) + "...",
               range.empty() ? "" : "  (" + range + ")");
}

exit_code run_controls(const controls_options& options) {
    const mixer_owner handle = open_mixer(options.card);
    if (!handle) {
        return fail(EXIT_OPEN, fmt::format("cannot open the mixer of card {}", options.card));
    }
    json all = json::array();
    if (!options.json) {
        fmt::print("ctl  type  count  {:<22}  value\n", "name");
    }
    for (unsigned int i = 0; i < mixer_get_num_ctls(handle.get()); ++i) {
        mixer_ctl* control = mixer_get_ctl(handle.get(), i);
        options.json ? all.push_back(control_json(i, control)) : print_line(i, control);
    }
    if (options.json) {
        print_json(all);
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
