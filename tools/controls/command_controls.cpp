// zel-fc controls: its command line.

#include <memory>

#include "command_options.h"
#include "commands.h"
#include "controls.h"
#include "watch.h"

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

void add_watch_command(CLI::App* controls, const controls_options* common, watch_options* options,
                       tool_action* action) {
    CLI::App* watch = controls->add_subcommand("watch", "Print a card's events as they come");
    watch->fallthrough();
    watch->add_option("-s,--seconds", options->seconds, "How long (default: until Ctrl-C)")
        ->check(CLI::Range(0.01, 86400.0));
    watch->add_flag("--no-stream", options->no_stream,
                    "Don't open a capture stream of card 70; its events come only with one");
    add_change_option(watch, &options->changes, "Set a control of the card while watching");
    watch->add_flag("--json", options->json, "Print JSON, one object per line");
    watch->add_flag("--log", options->log,
                    "Pass the library's messages on to the standard error stream");
    watch->footer(
        "Card 70 has one event: its capture was restarted, because the card behind it changed. It\n"
        "comes to the process that captures, to the last one there that subscribed. So watching\n"
        "card 70 opens a stream of its own, and prints with the event what has changed.");
    watch->callback([=] {
        options->card = common->card;
        *action = [=] { return run_watch(*options); };
    });
}

}  // namespace

void add_controls_command(CLI::App* app, tool_action* action) {
    // The callbacks hold plain pointers; this one is held by the subcommand itself.
    struct all_options {
        controls_options access;
        watch_options watch;
    };
    auto options = std::make_shared<all_options>();
    CLI::App* controls =
        app->add_subcommand("controls", "List, read, write and watch a card's controls");
    controls->require_subcommand(1);
    add_access_commands(controls, &options->access, action);
    controls->add_option("-D,--card", options->access.card, "Card")->capture_default_str();
    add_watch_command(controls, &options->access, &options->watch, action);
    controls->footer(
        "Controls that begin with FC are the library's own, in each process for itself: set them "
        "for\n"
        "a recording with capture's --mixing, --delay and --change.\n"
        "\n"
        "Examples:\n"
        "  zel-fc controls list\n"
        "  zel-fc controls set \"Loopback Volume\" 80\n"
        "  zel-fc controls watch --change \"1:PCM Slave Channels=6\" --seconds 3");
    controls->callback([options] {});
}
