// zel-fc info: opens the virtual card as a client would, closes it again and prints what is in
// force. What cannot be told is said and left out; the exit code is that of the first such thing.

#include <memory>

#include "chain_report.h"
#include "channel_layout.h"
#include "check_report.h"
#include "command_options.h"
#include "commands.h"
#include "library_log.h"

namespace {

struct info_options {
    stream_format client;
    card_setup card;
    coefficient_paths coefficients;
    bool json = false;
    bool log = false;  ///< print the library's messages, too
};

/// `open_error` is empty when the stream opens.
void print_text(const chain_report& chain, const std::string& open_error) {
    const stream_format& client = chain.client;
    fmt::print("For a client with {} Hz, {}, {} bits\n", client.rate,
               channels_text(client.channels), client.bits);
    if (!open_error.empty()) {
        fmt::print("the stream does not open: {}\n", open_error);
        return;
    }
    chain.print();
    if (!chain.card.known) {
        return;
    }
    fmt::print("block: {} frames of the card, {} of the client (32 ms)\n",
               chain.card.rate / 1000 * 32, client.block_frames());
    fmt::print("delays: {} frames of the card\n", fmt::join(chain.delay_frames(), " "));
    fmt::print("{}\n", matrix_text({.channels = chain.card.channels,
                                    .layout = chain.card.layout,
                                    .outputs = client.channels},
                                   chain.mixing.weights));
    for (const std::string& text : chain.warnings()) {
        fmt::print("warning: {}\n", text);
    }
}

json as_json(const chain_report& chain, const std::string& open_error) {
    const stream_format& client = chain.client;
    const bool opened = open_error.empty();
    const std::string advice =
        opened || !chain.card.known ? "" : rate_advice(chain.card.rate, client.rate);
    return {
        {"mixing_file", is_no_file(chain.card.mixing_path) ? kNoFile : chain.card.mixing_path},
        {"delay_file", is_no_file(chain.card.delay_path) ? kNoFile : chain.card.delay_path},
        {"client", {{"rate", client.rate}, {"channels", client.channels}, {"bits", client.bits}}},
        {"opens", opened},
        {"reason", open_error + (advice.empty() ? "" : "; ") + advice},
        {"chain", opened ? chain.parts() : json::object()},
        {"delay_frames", opened ? json(chain.delay_frames()) : json::array()},
        {"matrix",
         opened ? matrix_json(chain.mixing.weights, chain.card.channels) : json::array()}};
}

exit_code run_info(const info_options& options) {
    print_library_log(options.log);
    simulated_card().apply(complete(options.card));
    use_coefficient_paths(options.coefficients);
    virtual_stream stream;
    const std::string open_error = stream.open(options.client, true) ? "" : stream.error();
    const chain_report chain = chain_for(options.client);
    stream.close();
    options.json ? print_json(as_json(chain, open_error)) : print_text(chain, open_error);
    if (!open_error.empty()) {
        return fail(EXIT_OPEN, open_failure(open_error, options.client.rate));
    }
    return chain.card.known ? EXIT_OK : fail(EXIT_OPEN, "cannot open the mixer of card 70");
}

}  // namespace

void add_info_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<info_options>();
    CLI::App* info = app->add_subcommand("info", "Print coefficient files and chain of card 70");
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
