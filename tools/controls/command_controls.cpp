// zel-fc controls: its command line.

#include <memory>

#include "command_options.h"
#include "commands.h"
#include "controls.h"

namespace {

void add_access_commands(CLI::App* controls, controls_options* options, tool_action* action) {
    CLI::App* list = controls->add_subcommand("list", "List all controls");
    CLI::App* get = controls->add_subcommand("get", "Print a control's value");
    CLI::App* set = controls->add_subcommand("set", "Set a control");
    for (CLI::App* one : {get, set}) {
        one->add_option("control", options->control, "Name or number")->required();
    }
    set->add_option("value", options->values,
                    "One for every element or one for all: numbers, an item, a text or hex:0102ff")
        ->required();
    for (CLI::App* one : {list, get}) {
        add_json_flag(one, &options->json);
    }
    for (CLI::App* one : {list, get, set}) {
        one->fallthrough();
    }
    list->callback([=] { *action = [=] { return list_controls(*options); }; });
    get->callback([=] { *action = [=] { return get_control(*options); }; });
    set->callback([=] { *action = [=] { return set_control(*options); }; });
}

}  // namespace

void add_controls_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<controls_options>();
    CLI::App* controls = app->add_subcommand("controls", "List, read and write a card's controls");
    controls->require_subcommand(1);
    add_access_commands(controls, options.get(), action);
    controls->add_option("-D,--card", options->card, "Card")->capture_default_str();
    controls->footer(
        "Controls that begin with FC are the library's own, and those of a simulated card the\n"
        "card's, in each process for itself: set them for a recording with capture's --mixing,\n"
        "--delay and --change.\n"
        "\n"
        "Examples:\n"
        "  zel-fc controls list\n"
        "  zel-fc controls get \"PCM Channel Layout\"");
    controls->callback([options] {});
}
