// zel-fc controls: its command line.

#include <memory>

#include "commands.h"
#include "controls.h"

void add_controls_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<controls_options>();
    CLI::App* controls = app->add_subcommand("controls", "List, read and write a card's controls");
    controls->require_subcommand(1);
    controls->add_option("-D,--card", options->card, "Card")->capture_default_str();
    CLI::App* list = controls->add_subcommand("list", "List all controls");
    CLI::App* get = controls->add_subcommand("get", "Print a control's value");
    CLI::App* set = controls->add_subcommand("set", "Set a control");
    for (CLI::App* one : {get, set}) {
        one->add_option("control", options->control, "Name or number")->required();
    }
    set->add_option("value", options->values,
                    "One for every element or one for all: numbers, an item, a text or hex:0102ff")
        ->required();
    for (CLI::App* one : {list, get, set}) {
        one->fallthrough();
    }
    list->callback([=] { *action = [=] { return list_controls(*options); }; });
    get->callback([=] { *action = [=] { return get_control(*options); }; });
    set->callback([=] { *action = [=] { return set_control(*options); }; });
}
