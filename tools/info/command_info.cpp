// zel-fc info: its command line.

#include <memory>

#include "command_options.h"
#include "commands.h"
#include "info.h"

void add_info_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<info_options>();
    CLI::App* info =
        app->add_subcommand("info", "Print limits, coefficient files and chain of card 70");
    add_client_options(info, &options->client, true);
    add_buffer_options(info, &options->client);
    add_coefficient_options(info, &options->coefficients);
    add_card_options(info, &options->card, true, "");
    add_json_flag(info, &options->json);
    add_log_flag(info, &options->log);
    info->footer(
        "Opens card 70 as a client with that format would, and closes it again: what is printed\n"
        "is what the library did. So this one command shows whether card definition, paths,\n"
        "controls and capture device work together. Exit code 2: the stream does not open.\n"
        "\n"
        "Examples:\n"
        "  zel-fc info\n"
        "  zel-fc info --rate 48000 --channels 8 --bits 32 --card-layout 7.1.4 --card-channels 12\n"
        "  zel-fc info --json");
    info->callback([=] { *action = [=] { return run_info(*options); }; });
}
