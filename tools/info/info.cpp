#include "info.h"

#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "chain_report.h"
#include "channel_layout.h"
#include "level_meter.h"
#include "library_log.h"
#include "zel_virtual_card.h"

namespace {

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

void print_matrix(const findings& found) {
    const std::size_t in = found.chain.card.channels;
    std::printf("gain in dB from card channel\n        ");
    for (std::size_t i = 0; i < in; ++i) {
        std::printf("%5zu  ", i);
    }
    for (std::size_t k = 0; k < found.chain.mixing.weights.size(); ++k) {
        const auto weight = static_cast<double>(found.chain.mixing.weights[k]);
        if (k % in == 0) {
            std::printf("\nto %3zu  ", k / in);
        }
        std::printf(weight == 0 ? "     . " : "%6s%c",
                    decibels_text(20 * std::log10(std::fabs(weight))).c_str(),
                    weight < 0 ? '*' : ' ');
    }
    std::printf("\n(* inverted, . nothing)\n");
}

void print_chain(const findings& found) {
    const stream_format& client = found.options.client;
    std::printf("\nFor a client with %u Hz, %s, %u bits\n", client.rate,
                channels_text(client.channels).c_str(), client.bits);
    if (!found.open_error.empty()) {
        std::printf("the stream does not open: %s\n", found.open_error.c_str());
        return;
    }
    found.chain.print();
    if (!found.chain.card.known) {
        return;
    }
    std::printf("block: %u frames of the card, %u of the client (32 ms)\ndelays:",
                found.chain.card.rate / 1000 * 32, client.block_frames());
    for (const unsigned int frames : found.chain.delay_frames()) {
        std::printf(" %u", frames);
    }
    std::printf(" frames of the card\n");
    print_matrix(found);
    for (const std::string& text : found.chain.warnings()) {
        std::printf("warning: %s\n", text.c_str());
    }
}

void print_text(const findings& found) {
    std::printf("Limits of card 70, device 70 (capture)\n");
    for (const limit& one : found.limits) {
        std::printf("%-8s %u to %u%s\n", one.name, one.min, one.max, one.unit);
    }
    std::printf(found.limits.empty() ? "cannot be asked\n" : "formats ");
    for (const std::string& format : found.formats) {
        std::printf(" %s%s", format.c_str(), &format == &found.formats.back() ? "\n" : "");
    }
    print_chain(found);
}

json_value array_of(const auto& values) {
    json_value array = json_value::array();
    for (const auto& value : values) {
        array.append(value);
    }
    return array;
}

void print_json(const findings& found) {
    json_value limits = json_value::object();
    for (const limit& one : found.limits) {
        limits.set(one.name,
                   std::move(json_value::object().set("min", one.min).set("max", one.max)));
    }
    limits.set("formats", array_of(found.formats));
    const stream_format& format = found.options.client;
    json_value client = json_value::object();
    client.set("rate", format.rate).set("channels", format.channels).set("bits", format.bits);
    const bool opened = found.open_error.empty();
    const chain_report& chain = found.chain;
    json_value rows = json_value::array();
    const auto in = static_cast<std::ptrdiff_t>(chain.card.channels);
    for (auto row = chain.mixing.weights.begin(); opened && row != chain.mixing.weights.end();
         row += in) {
        rows.append(array_of(std::vector<double>(row, row + in)));
    }
    const std::string advice =
        opened || !chain.card.known ? "" : rate_advice(chain.card.rate, format.rate);
    json_value all = json_value::object();
    all.set("limits", std::move(limits))
        .set("mixing_file", chain.card.mixing_path)
        .set("delay_file", chain.card.delay_path)
        .set("client", std::move(client))
        .set("opens", opened)
        .set("reason", found.open_error + (advice.empty() ? "" : "; ") + advice)
        .set("chain", opened ? chain.json() : json_value::object())
        .set("delay_frames", array_of(opened ? chain.delay_frames() : std::vector<unsigned int>()))
        .set("matrix", std::move(rows));
    all.print();
}

}  // namespace

exit_code run_info(const info_options& options) {
    print_library_log(options.log);
    simulated_card card;
    if (!card.apply(complete(options.card))) {
        return fail(EXIT_OPEN, card.error());
    }
    const std::string wrong = use_coefficient_paths(options.coefficients);
    if (!wrong.empty()) {
        return fail(EXIT_OPEN, wrong);
    }
    findings found{options};
    read_limits(found);
    virtual_stream stream;
    if (!stream.open(options.client, true)) {
        found.open_error = stream.error();
    }
    found.chain = chain_for(options.client);
    stream.close();
    options.json ? print_json(found) : print_text(found);
    if (!found.open_error.empty()) {
        return fail_to_open(found.open_error, options.client.rate);
    }
    return found.chain.card.known ? EXIT_OK : fail(EXIT_OPEN, "cannot open the mixer of card 70");
}
