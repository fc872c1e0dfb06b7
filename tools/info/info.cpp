#include "info.h"

#include <tinyalsa/mixer.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "card_controls.h"
#include "card_limits.h"
#include "chain_report.h"
#include "library_log.h"
#include "stage_coefficients.h"
#include "zel_virtual_card.h"

namespace {

struct setting {
    std::string name;
    std::string text;
    json_value json;
};

/// All that is found out before anything is printed.
struct findings {
    card_limits limits;
    std::vector<setting> settings;
    chain_report chain;
    std::string open_error;  ///< empty: the stream opens
    std::vector<library_message> open_messages;
};

/// Card 70's controls: its own and those of the card behind it.
std::vector<setting> read_settings() {
    const std::unique_ptr<mixer, void (*)(mixer*)> handle(mixer_open(kZelVirtualCard), mixer_close);
    std::vector<setting> settings;
    for (unsigned int i = 0; handle && i < mixer_get_num_ctls(handle.get()); ++i) {
        mixer_ctl* control = mixer_get_ctl(handle.get(), i);
        settings.push_back({mixer_ctl_get_name(control), control_value_text(control),
                            control_value_json(control)});
    }
    return settings;
}

/// Opens and closes the stream, and listens to what the library says of it.
void try_stream(const info_options& options, findings* found) {
    held_library_log log;
    virtual_stream stream;
    if (!stream.open(options.client, true)) {
        found->open_error = stream.error();
    }
    found->open_messages = log.take();
    if (options.log) {
        for (const library_message& message : found->open_messages) {
            print_library_message(message);
        }
    }
    found->chain = chain_for(options.client);
    stream.close();
    log.take();
}

void print_file(const char* what, const std::string& path, const char* use, bool opened,
                const taken_coefficients& taken) {
    std::printf("  %-8s %s%s\n", what, path.empty() ? "(no path)" : path.c_str(),
                access(path.c_str(), R_OK) == 0 ? "" : "  (cannot be read)");
    if (opened) {
        std::printf("           in use: %s%s\n", use,
                    taken.used ? "" : (": " + taken.reason()).c_str());
    }
}

void print_files(const findings& found) {
    const chain_report& chain = found.chain;
    const bool opened = found.open_error.empty();
    std::printf("\nCoefficient files\n");
    print_file("mixing", chain.card.mixing_path, chain.mixing_use(), opened, chain.mixing);
    print_file("delay", chain.card.delay_path, chain.delay_use(), opened, chain.delay);
}

void print_matrix(const findings& found, unsigned int out) {
    const std::size_t in = found.chain.card.channels;
    std::printf("  gain in dB from card channel\n          ");
    for (std::size_t i = 0; i < in; ++i) {
        std::printf("%5zu  ", i);
    }
    for (std::size_t o = 0; o < out; ++o) {
        std::printf("\n  to %3zu  ", o);
        for (std::size_t i = 0; i < in; ++i) {
            const auto weight = static_cast<double>(found.chain.mixing.weights[o * in + i]);
            if (weight == 0) {
                std::printf("     . ");
            } else {
                std::printf("%6.1f%c", 20 * std::log10(std::fabs(weight)), weight < 0 ? '*' : ' ');
            }
        }
    }
    std::printf("\n  (* inverted, . nothing)\n");
}

void print_chain_for(const info_options& options, const findings& found) {
    const stream_format& client = options.client;
    std::printf("\nChain for a client with %u Hz, %u channels, %u bits\n", client.rate,
                client.channels, client.bits);
    if (!found.open_error.empty()) {
        std::printf("  none: %s\n", found.open_error.c_str());
        return;
    }
    std::printf("  card      %u channels, %u-bit words, %u Hz\n  stages    %s\n",
                found.chain.card.channels, found.chain.card.word_bits, found.chain.card.rate,
                found.chain.stages().c_str());
    std::printf("  block     %u frames of the card, %u of the client (32 ms)\n",
                found.chain.card.rate / 1000 * 32, client.block_frames());
    std::printf("  delays   ");
    for (const unsigned int frames : found.chain.delay_frames()) {
        std::printf(" %u", frames);
    }
    std::printf(" frames of the card\n");
    for (const std::string& text : found.chain.warnings()) {
        std::printf("  warning   %s\n", text.c_str());
    }
    print_matrix(found, client.channels);
}

void print_settings(const findings& found) {
    std::printf("\nControls of card 70\n");
    for (const setting& one : found.settings) {
        std::printf("  %-22s %s\n", one.name.c_str(), shortened(one.text, 52).c_str());
    }
}

json_value array_of(const auto& values) {
    json_value array = json_value::array();
    for (const auto& value : values) {
        array.append(value);
    }
    return array;
}

void print_json(const info_options& options, findings& found) {
    json_value settings = json_value::object();
    for (setting& one : found.settings) {
        settings.set(one.name.c_str(), std::move(one.json));
    }
    json_value client = json_value::object();
    client.set("rate", options.client.rate)
        .set("channels", options.client.channels)
        .set("bits", options.client.bits);
    json_value rows = json_value::array();
    const bool opened = found.open_error.empty();
    const std::vector<float>& weights = found.chain.mixing.weights;
    for (auto row = weights.begin(); opened && row != weights.end();) {
        const auto end = row + static_cast<std::ptrdiff_t>(found.chain.card.channels);
        rows.append(array_of(std::vector<double>(row, end)));
        row = end;
    }
    const std::string advice = opened || !found.chain.card.known
                                   ? ""
                                   : rate_advice(found.chain.card.rate, options.client.rate);
    json_value all = json_value::object();
    all.set("limits", limits_json(found.limits))
        .set("mixing_file", found.chain.card.mixing_path)
        .set("delay_file", found.chain.card.delay_path)
        .set("controls", std::move(settings))
        .set("client", std::move(client))
        .set("opens", opened)
        .set("reason", found.open_error + (advice.empty() ? "" : "; ") + advice)
        .set("chain", opened ? found.chain.json() : json_value::object())
        .set("delay_frames",
             array_of(opened ? found.chain.delay_frames() : std::vector<unsigned int>()))
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
    findings found;
    found.limits = read_card_limits();
    found.settings = read_settings();
    try_stream(options, &found);
    if (options.json) {
        print_json(options, found);
    } else {
        print_limits(found.limits);
        print_files(found);
        print_chain_for(options, found);
        print_settings(found);
    }
    if (!found.open_error.empty()) {
        fail_to_open(found.open_error, found.open_messages, options.client.rate);
    }
    if (found.settings.empty()) {
        return fail(EXIT_OPEN, "cannot open the mixer of card 70");
    }
    return found.open_error.empty() ? EXIT_OK : EXIT_OPEN;
}
