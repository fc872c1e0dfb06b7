// zel-fc info: opens the virtual card as a client would, closes it again and prints what is in
// force. What cannot be told is said and left out; the exit code is that of the first such thing.

#include <cmath>
#include <memory>

#include "chain_report.h"
#include "channel_layout.h"
#include "command_options.h"
#include "commands.h"
#include "level_meter.h"
#include "library_log.h"
#include "zel_virtual_card.h"

namespace {

struct info_options {
    stream_format client;
    card_setup card;
    coefficient_paths coefficients;
    bool json = false;
    bool log = false;  ///< print the library's messages, too
};

/// What a client can ask of card 70's capture stream.
struct limit {
    const char* name;
    const char* unit;
    pcm_param param;
    unsigned int min, max;
};

/// All that is found out before anything is printed.
struct findings {
    const info_options& options;
    std::vector<limit> limits{};  ///< none: they cannot be asked
    std::vector<std::string> formats{};
    chain_report chain{};
    std::string open_error{};  ///< empty: the stream opens
};

void read_limits(findings& found) {
    const std::unique_ptr<pcm_params, void (*)(pcm_params*)> params(
        pcm_params_get(kZelVirtualCard, kZelVirtualDevice, PCM_IN), pcm_params_free);
    if (!params) {
        return;
    }
    found.limits = {{"rate", " Hz", PCM_PARAM_RATE, 0, 0},
                    {"channels", "", PCM_PARAM_CHANNELS, 0, 0},
                    {"bits", "", PCM_PARAM_SAMPLE_BITS, 0, 0},
                    {"period", " frames", PCM_PARAM_PERIOD_SIZE, 0, 0},
                    {"periods", "", PCM_PARAM_PERIODS, 0, 0}};
    for (limit& one : found.limits) {
        one.min = pcm_params_get_min(params.get(), one.param);
        one.max = pcm_params_get_max(params.get(), one.param);
    }
    for (const auto& [format, name] :
         {std::pair{PCM_FORMAT_S16_LE, "S16_LE"}, {PCM_FORMAT_S32_LE, "S32_LE"}}) {
        if (pcm_params_format_test(params.get(), format) != 0) {
            found.formats.emplace_back(name);
        }
    }
}

void print_matrix(const chain_report& chain) {
    const std::size_t in = chain.card.channels;
    fmt::print("gain in dB from card channel\n        ");
    for (std::size_t i = 0; i < in; ++i) {
        fmt::print("{:5}  ", i);
    }
    for (std::size_t k = 0; k < chain.mixing.weights.size(); ++k) {
        const auto weight = static_cast<double>(chain.mixing.weights[k]);
        if (k % in == 0) {
            fmt::print("\nto {:3}  ", k / in);
        }
        fmt::print("{:>6}{}", weight == 0 ? "." : decibels_text(20 * std::log10(std::fabs(weight))),
                   weight < 0 ? '*' : ' ');
    }
    fmt::print("\n(* inverted, . nothing)\n");
}

void print_text(const findings& found) {
    fmt::print("Limits of card 70, device 70 (capture)\n");
    for (const limit& one : found.limits) {
        fmt::print("{:<8} {} to {}{}\n", one.name, one.min, one.max, one.unit);
    }
    found.limits.empty() ? fmt::print("cannot be asked\n")
                         : fmt::print("formats  {}\n", fmt::join(found.formats, " "));
    const stream_format& client = found.options.client;
    const chain_report& chain = found.chain;
    fmt::print("\nFor a client with {} Hz, {}, {} bits\n", client.rate,
               channels_text(client.channels), client.bits);
    if (!found.open_error.empty()) {
        fmt::print("the stream does not open: {}\n", found.open_error);
        return;
    }
    chain.print();
    if (!chain.card.known) {
        return;
    }
    fmt::print("block: {} frames of the card, {} of the client (32 ms)\n",
               chain.card.rate / 1000 * 32, client.block_frames());
    fmt::print("delays: {} frames of the card\n", fmt::join(chain.delay_frames(), " "));
    print_matrix(chain);
    for (const std::string& text : chain.warnings()) {
        fmt::print("warning: {}\n", text);
    }
}

json as_json(const findings& found) {
    json limits = json::object();
    for (const limit& one : found.limits) {
        limits[one.name] = {{"min", one.min}, {"max", one.max}};
    }
    limits["formats"] = found.formats;
    const stream_format& client = found.options.client;
    const bool opened = found.open_error.empty();
    const chain_report& chain = found.chain;
    json rows = json::array();
    const auto in = static_cast<std::ptrdiff_t>(chain.card.channels);
    for (auto row = chain.mixing.weights.begin(); opened && row != chain.mixing.weights.end();
         row += in) {
        rows.push_back(std::vector<double>(row, row + in));
    }
    const std::string advice =
        opened || !chain.card.known ? "" : rate_advice(chain.card.rate, client.rate);
    return {
        {"limits", limits},
        {"mixing_file", is_no_file(chain.card.mixing_path) ? kNoFile : chain.card.mixing_path},
        {"delay_file", is_no_file(chain.card.delay_path) ? kNoFile : chain.card.delay_path},
        {"client", {{"rate", client.rate}, {"channels", client.channels}, {"bits", client.bits}}},
        {"opens", opened},
        {"reason", found.open_error + (advice.empty() ? "" : "; ") + advice},
        {"chain", opened ? chain.parts() : json::object()},
        {"delay_frames", opened ? json(chain.delay_frames()) : json::array()},
        {"matrix", rows}};
}

exit_code run_info(const info_options& options) {
    print_library_log(options.log);
    simulated_card().apply(complete(options.card));
    use_coefficient_paths(options.coefficients);
    findings found{options};
    read_limits(found);
    virtual_stream stream;
    if (!stream.open(options.client, true)) {
        found.open_error = stream.error();
    }
    found.chain = chain_for(options.client);
    stream.close();
    options.json ? print_json(as_json(found)) : print_text(found);
    if (!found.open_error.empty()) {
        return fail(EXIT_OPEN, open_failure(found.open_error, options.client.rate));
    }
    return found.chain.card.known ? EXIT_OK : fail(EXIT_OPEN, "cannot open the mixer of card 70");
}

}  // namespace

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
