#include "info.h"

#include <tinyalsa/mixer.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "audio_report.h"
#include "card_limits.h"
#include "chain_report.h"
#include "control_text.h"
#include "library_log.h"
#include "stage_coefficients.h"
#include "zel_virtual_card.h"

namespace {

struct setting {
    std::string name;
    std::string value;
};

/// All that is found out before anything is printed.
struct findings {
    card_limits limits;
    std::vector<setting> settings;
    chain_report chain;
    std::string open_error;  ///< empty: the stream opens
    std::vector<library_message> open_messages;
    std::vector<std::uint32_t> delays;  ///< frames, by card channel
    std::vector<double> matrix;         ///< a row by client channel
};

/// Card 70's controls: its own and those of the card behind it.
std::vector<setting> read_settings() {
    const std::unique_ptr<mixer, void (*)(mixer*)> handle(mixer_open(kZelVirtualCard), mixer_close);
    std::vector<setting> settings;
    for (unsigned int i = 0; handle && i < mixer_get_num_ctls(handle.get()); ++i) {
        mixer_ctl* control = mixer_get_ctl(handle.get(), i);
        settings.push_back({mixer_ctl_get_name(control), control_value_text(control)});
    }
    return settings;
}

std::string value_of(const findings& found, const char* name) {
    for (const setting& one : found.settings) {
        if (one.name == name) {
            return one.value;
        }
    }
    return "";
}

/// Opens and closes the stream, and listens to what the library says of it.
void try_stream(const info_options& options, findings* found) {
    held_library_log log;
    virtual_stream stream;
    constexpr unsigned int kPeriods = 4;
    if (!stream.open(options.client, 0, kPeriods, true)) {
        found->open_error = stream.error();
    }
    found->open_messages = log.take();
    for (const library_message& message : found->open_messages) {
        found->chain.add(message);
        if (options.log) {
            print_library_message(message);
        }
    }
    if (found->chain.built) {
        found->delays = delays_of_file(found->chain.delay_path, found->chain.card_channels,
                                       found->chain.card_rate);
        found->matrix =
            matrix_of_file(found->chain.mixing_path, value_of(*found, "PCM Channel Layout"),
                           found->chain.card_channels, options.client.channels);
    }
    stream.close();
    log.take();
}

void print_file(const char* what, const std::string& path, const std::string& use,
                const std::string& reason) {
    std::printf("  %-8s %s%s\n", what, path.empty() ? "(no path)" : path.c_str(),
                access(path.c_str(), R_OK) == 0 ? "" : "  (cannot be read)");
    if (!use.empty()) {
        std::printf("           in use: %s%s\n", use.c_str(),
                    reason.empty() ? "" : (": " + reason).c_str());
    }
}

/// Without the quotes that a text in a bytes control is shown in.
std::string unquoted(const std::string& text) {
    return text.size() >= 2 && text.front() == '"' ? text.substr(1, text.size() - 2) : "";
}

void print_files(const findings& found) {
    const chain_report& chain = found.chain;
    const bool mixes = chain.mix == chain_report::mixing::file;
    std::printf("\nCoefficient files\n");
    print_file("mixing", unquoted(value_of(found, "FC mixing coef file")),
               mixes                                         ? "its matrix"
               : chain.mix == chain_report::mixing::identity ? "the identity matrix"
               : chain.mix == chain_report::mixing::silence  ? "silence"
                                                             : "",
               mixes ? "" : chain.mixing_reason);
    print_file("delay", unquoted(value_of(found, "FC delay coef file")),
               chain.delays == chain_report::delay::file     ? "its delays"
               : chain.delays == chain_report::delay::bypass ? "no delay"
                                                             : "",
               chain.delay_reason);
}

void print_matrix(const findings& found, unsigned int out) {
    const std::size_t in = found.chain.card_channels;
    std::printf("  gain in dB from card channel\n          ");
    for (std::size_t i = 0; i < in; ++i) {
        std::printf("%5zu  ", i);
    }
    for (std::size_t o = 0; o < out; ++o) {
        std::printf("\n  to %3zu  ", o);
        for (std::size_t i = 0; i < in; ++i) {
            const double weight = found.matrix[o * in + i];
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
    if (!found.chain.built) {
        std::printf("  none: %s\n", found.open_error.c_str());
        return;
    }
    std::printf("  card      %u channels, %u-bit words, %u Hz\n  stages    %s\n",
                found.chain.card_channels, found.chain.card_bits, found.chain.card_rate,
                found.chain.stages().c_str());
    std::printf("  block     %u frames of the card, %u of the client (32 ms)\n",
                found.chain.card_rate / 1000 * 32, client.block_frames());
    std::printf("  delays   ");
    for (const std::uint32_t frames : found.delays) {
        std::printf(" %u", frames);
    }
    std::printf(" frames of the card\n");
    print_matrix(found, client.channels);
}

void print_settings(const findings& found) {
    std::printf("\nControls of card 70\n");
    for (const setting& one : found.settings) {
        std::printf("  %-22s %s\n", one.name.c_str(), shortened(one.value, 52).c_str());
    }
}

json_value array_of(const auto& values) {
    json_value array = json_value::array();
    for (const auto& value : values) {
        array.append(value);
    }
    return array;
}

void print_json(const info_options& options, const findings& found) {
    json_value settings = json_value::object();
    for (const setting& one : found.settings) {
        settings.set(one.name.c_str(), one.value);
    }
    json_value client = json_value::object();
    client.set("rate", options.client.rate)
        .set("channels", options.client.channels)
        .set("bits", options.client.bits);
    json_value rows = json_value::array();
    for (auto row = found.matrix.begin(); row != found.matrix.end();) {
        const auto end = row + static_cast<std::ptrdiff_t>(found.chain.card_channels);
        rows.append(array_of(std::vector<double>(row, end)));
        row = end;
    }
    json_value all = json_value::object();
    all.set("limits", limits_json(found.limits))
        .set("mixing_file", unquoted(value_of(found, "FC mixing coef file")))
        .set("delay_file", unquoted(value_of(found, "FC delay coef file")))
        .set("controls", std::move(settings))
        .set("client", std::move(client))
        .set("opens", found.open_error.empty())
        .set("chain", chain_json(found.chain))
        .set("delay_frames", array_of(found.delays))
        .set("matrix", std::move(rows));
    all.print();
}

}  // namespace

exit_code run_info(const info_options& options) {
    print_library_log(options.log);
    simulated_card card;
    if (!card.apply(options.card)) {
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
    warn_of_fallbacks(found.chain);
    if (!found.open_error.empty()) {
        fail(EXIT_OPEN, found.open_error);
        explain_failure(found.open_messages);
    } else if (found.settings.empty()) {
        return fail(EXIT_OPEN, "cannot open the mixer of card 70");
    }
    return found.open_error.empty() ? EXIT_OK : EXIT_OPEN;
}
