// zel-fc new: from words to an entry of a coefficient file.

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <memory>
#include <utility>

#include "card_state.h"
#include "channel_layout.h"
#include "coefficient_check.h"
#include "command_options.h"
#include "commands.h"
#include "zel_channel_mixing.h"

namespace {

constexpr double kMinus3 = 0.70710678118654752;  // half the power
constexpr double kMetresPerMs = 0.343;           // of sound in air of 20 degrees Celsius

struct new_options {
    std::string layout;              ///< the card's
    unsigned int outputs = 2;        ///< the client's channels
    std::vector<std::string> gains;  ///< "FC=-3dB", "BL,BR=0.5"
    bool normalise = false;          ///< no output's weights add up to more than 1
    std::string table;               ///< CSV file of weights instead
    std::string unit;                ///< factor, db or percent: of the table
    std::vector<double> ms, metres;  ///< of a delay file: delays, or distances of the speakers
    std::string file;                ///< that gets the entry; empty: the standard output
};

using mix_rows = std::vector<std::vector<double>>;

/// What is wrong with what was asked for, as the command line is told it.
template <typename... Parts>
[[noreturn]] void refuse(fmt::format_string<Parts...> format, Parts&&... parts) {
    throw CLI::ValidationError(fmt::format(format, std::forward<Parts>(parts)...));
}

/// A whole text as a gain: "0.5", "-3dB", "70%"; without a unit of its own in `unit`.
double gain_of(const std::string& text, const std::string& unit, const std::string& where) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);  // -inf, too: silence in decibels
    const std::string own = CLI::detail::trim_copy(end);
    const bool decibels = own == "dB" || (own.empty() && unit == "db");
    const bool percent = own == "%" || (own.empty() && unit == "percent");
    const double gain = decibels ? std::pow(10, value / 20) : percent ? value / 100 : value;
    if (end == text.c_str() || (!own.empty() && !decibels && !percent) || !std::isfinite(gain)) {
        refuse("{}: \"{}\" is no gain such as -3dB", where, printable(text));
    }
    return gain;
}

bool has(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

/// To the output of that name; without one to those beside it, as ITU-R BS.775 has it.
void route(const std::string& name, const std::vector<std::string>& outs, double gain,
           std::map<std::string, double>* gains) {
    static const std::map<std::string, std::string> kBeside{
        {"B", "SF"}, {"S", "BF"}, {"TF", "F"}, {"TB", "BF"}, {"TS", "SBF"}};
    const auto beside = kBeside.find(name.substr(0, name.size() - 1));
    if (has(outs, name)) {
        (*gains)[name] = gain;
    } else if (name == "FC") {
        route("FL", outs, gain * kMinus3, gains);
        route("FR", outs, gain * kMinus3, gains);
    } else if (name == "FL" || name == "FR") {
        route("FC", outs, gain * kMinus3, gains);
    } else if (beside != kBeside.end()) {
        const std::string& places = beside->second;  // the last, if no other is there
        const auto to = std::find_if(places.begin(), places.end() - 1, [&](char place) {
            return has(outs, {place, name.back()});
        });
        route({*to, name.back()}, outs, gain * (name.size() == 3 ? 0.5 : kMinus3), gains);
    }
}

mix_rows usual_rows(const new_options& options) {
    const std::vector<std::string> ins = channel_names(options.layout);
    const std::vector<std::string> outs = output_names(options.outputs, ins);
    if (ins.empty() || outs.size() != options.outputs) {
        refuse("no names are known for the channels of layout {}, or for {}; give a table",
               options.layout, channels_text(options.outputs));
    }
    std::map<std::string, double> named;
    for (const std::string& words : options.gains) {
        const std::size_t equals = words.find('=');
        const double gain = gain_of(words.substr(equals + 1), "", "--gain " + words);
        for (const std::string& name : CLI::detail::split(words.substr(0, equals), ',')) {
            if (!has(ins, name)) {
                refuse("--gain {}: no channel {}; there are {}", words, name, fmt::join(ins, " "));
            }
            named[name] = gain;
        }
    }
    mix_rows rows(outs.size(), std::vector<double>(ins.size()));
    for (std::size_t i = 0; i < ins.size(); ++i) {
        const auto own = named.find(ins[i]);
        std::map<std::string, double> gains;
        // The LFE goes nowhere, but for who asks for it.
        const bool lost = ins[i] == "LFE" && !has(outs, "LFE") && own != named.end();
        route(lost ? "FC" : ins[i], outs, 1, &gains);
        for (std::size_t o = 0; o < outs.size(); ++o) {
            const auto usual = gains.find(outs[o]);
            rows[o][i] = usual == gains.end() ? 0
                         : own != named.end() ? own->second
                                              : usual->second;
        }
    }
    fmt::print(stderr,
               "gains: ITU-R BS.775 (centre and surrounds -3 dB, no LFE), heights -6 dB{}\n",
               named.empty() ? "" : ", but for those named");
    return rows;
}

mix_rows read_table(const new_options& options, std::size_t ins) {
    std::ifstream file(options.table);
    mix_rows rows;
    double least = 0, most = 0;
    bool fits = true;
    for (std::string line; std::getline(file, line);) {
        line.erase(0, line.starts_with("\xEF\xBB\xBF") ? 3 : 0);  // a spreadsheet's
        if (line.find_first_not_of(" \r\t") == std::string::npos) {
            continue;
        }
        const std::size_t other = line.find_first_of(";\t");
        const char separator = other == std::string::npos ? ',' : line[other];
        if (separator != ',') {
            std::replace(line.begin(), line.end(), ',', '.');
        }
        std::vector<double>& row = rows.emplace_back();
        for (const std::string& cell : CLI::detail::split(line, separator)) {
            row.push_back(
                gain_of(cell, options.unit, fmt::format("{}: row {}", options.table, rows.size())));
            least = std::min(least, row.back());
            most = std::max(most, row.back());
        }
        fits = fits && row.size() == ins;
    }
    if (!fits || rows.size() != options.outputs) {
        refuse("{}: not {} rows of {} cells, a row for each output", options.table, options.outputs,
               ins);
    }
    if (options.unit.empty() && (least < -1 || most > 2 || (least < 0 && most <= 0))) {
        refuse("{}: in which unit? Name it with --unit factor, db or percent", options.table);
    }
    return rows;
}

/// `file`'s text with the entry before one that would hide it, else at the end.
std::string inserted(const std::string& file, file_kind kind, const std::string& body_name,
                     const stream_request& serves, const std::string& entry) {
    const file_report report = check_file(file);
    if (report.kind != kind || report.entries.empty()) {
        refuse("{0} has no {1} entries; zel-fc check {0} tells more", file,
               kind == file_kind::mixing ? "mixing" : "delay");
    }
    const coefficient_text text(file);
    const json_node* body = text.root().find(body_name);
    const auto hides =
        std::find_if(report.entries.begin(), report.entries.end(), [&](const entry_report& other) {
            return other.serves.channels == serves.channels &&
                   other.serves.outputs == serves.outputs &&
                   other.serves.layout.starts_with(serves.layout);
        });
    std::string whole(text.text());
    if (hides == report.entries.end()) {
        return whole.insert(body->children.back().end, ",\n    " + entry);
    }
    if (hides->serves.layout == serves.layout) {
        refuse("{}:{}: there is an entry for this stream already", file, hides->place.line);
    }
    const auto k = static_cast<std::size_t>(hides - report.entries.begin());
    return whole.insert(body->children[k].at, entry + ",\n    ");
}

/// `members`: what the entry has behind its channel count.
exit_code write_entry(const new_options& options, file_kind kind, const std::string& members) {
    const bool mixing = kind == file_kind::mixing;
    const std::string& path = options.file;
    const unsigned int ins = zel_channel_mixing::channel_count(options.layout);
    const stream_request serves{ins, mixing ? options.layout : "", mixing ? options.outputs : 0};
    const std::string body = mixing ? "MixingWeighting" : "ChannelDelayMilliseconds";
    const std::string entry = fmt::format("{{\n      \"InputChannel\": {}{}\n    }}", ins, members);
    const std::string text =
        access(path.c_str(), F_OK) == 0
            ? inserted(path, kind, body, serves, entry)
            : fmt::format("{{\n  \"{}CoefficientEnable\": true,\n  \"{}\": [\n    {}\n  ]\n}}\n",
                          mixing ? "Mixing" : "Delay", body, entry);
    for (const finding& found : check_file(memory_file(text)).findings) {
        if (found.level != severity::note) {
            warn(fmt::format("line {}: {}: {}", found.place.line, found.what, found.mend));
        }
        if (found.level == severity::error) {
            return fail(EXIT_USAGE, "nothing is written");
        }
    }
    path.empty() ? fmt::print("{}", text) : replace_file(path, text);
    fmt::print(stderr, "to hear it: zel-fc convert IN.wav OUT.wav -c {} --card-layout {} {} {}\n",
               mixing ? options.outputs : ins, options.layout,
               mixing ? "--delay none --mixing" : "--mixing none --delay",
               path.empty() ? "FILE" : path);
    return EXIT_OK;
}

exit_code new_mixing(const new_options& options) {
    const unsigned int ins = zel_channel_mixing::channel_count(options.layout);
    const mix_rows rows = options.table.empty() ? usual_rows(options) : read_table(options, ins);
    double most = 1;
    for (const std::vector<double>& row : rows) {
        const std::vector<float> weights(row.begin(), row.end());
        most = options.normalise ? std::max(most, row_gain(weights.data(), ins)) : 1;
    }
    std::string text;
    for (std::vector<double> row : rows) {
        for (double& weight : row) {
            // Six digits, downwards: rounded up, a row could pass 1.
            weight = (most > 1 ? std::trunc(weight / most * 1e6) / 1e6 : weight) + 0.0;
        }
        text += fmt::format("{}        {:.6g}", text.empty() ? "" : ",\n", fmt::join(row, ", "));
    }
    constexpr const char* kMembers = R"(,
      "InputChannelLayout": "{}",
      "OutputChannel": {},
      "Parameters": [
{}
      ])";
    return write_entry(options, file_kind::mixing,
                       fmt::format(kMembers, options.layout, options.outputs, text));
}

exit_code new_delay(const new_options& options) {
    const std::vector<double>& given = options.ms.empty() ? options.metres : options.ms;
    const unsigned int count = zel_channel_mixing::channel_count(options.layout);
    if (given.size() != count) {
        refuse("{} values for {}", given.size(), channels_text(count));
    }
    const double farthest = *std::max_element(given.begin(), given.end());
    std::vector<double> delays;
    for (std::size_t c = 0; c < count; ++c) {
        const double exact = options.ms.empty() ? (farthest - given[c]) / kMetresPerMs : given[c];
        const double whole = delays.emplace_back(std::round(exact));
        if (whole != exact) {
            fmt::print(stderr, "channel {}: {:.2f} ms becomes {:.0f}, off by {:.0f} cm\n",
                       channel_text(c, channel_names(options.layout)), exact, whole,
                       std::fabs(whole - exact) * kMetresPerMs * 100);
        }
    }
    const std::string distances =
        fmt::format(",\n      \"DistancesMetres\": [{:.6g}]", fmt::join(given, ", "));
    return write_entry(options, file_kind::delay,
                       fmt::format("{},\n      \"Parameters\": [{:.0f}]",
                                   options.ms.empty() ? distances : "", fmt::join(delays, ", ")));
}

}  // namespace

void add_new_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<new_options>();
    CLI::App* command = app->add_subcommand("new", "Write an entry of a coefficient file");
    command->require_subcommand(1);
    command->footer(
        "Examples:\n"
        "  zel-fc new mixing --card 7.1 --to 2 --gain FC=-3dB --gain LFE=-10dB --normalise\n"
        "  zel-fc new mixing --card 5.1 --to 4 weights.csv --unit percent --into mixing.json\n"
        "  zel-fc new delay --card 5.1 --metres 3,3,2.7,3,1.7,1.7 -o delay.json");
    CLI::App* mixing = command->add_subcommand("mixing", "Weights, after ITU-R BS.775 or a table");
    CLI::App* delay = command->add_subcommand("delay", "Delays of the card's channels");
    for (CLI::App* one : {mixing, delay}) {
        one->footer("");
        one->add_option("--card", options->layout, "The card's layout, such as 5.1")
            ->required()
            ->check([](const std::string& layout) {
                const bool good = layout.find_first_not_of("0123456789.") == std::string::npos &&
                                  zel_channel_mixing::channel_count(layout) > 0;
                return good && layout.size() < 12 ? "" : "no layout such as 5.1";
            });
        one->add_option("-o,--into", options->file,
                        "File that gets the entry, in its right place; made when there is none\n"
                        "(default: a new file to the standard output)");
    }
    mixing->add_option("--to", options->outputs, "The client's channels (1 to 8)")
        ->check(CLI::Range(1, 8))
        ->capture_default_str();
    CLI::Option* gains = mixing->add_option("--gain", options->gains,
                                            "NAMES=GAIN of input channels: FC=-3dB, BL,BR=0.5");
    mixing->add_flag("--normalise", options->normalise,
                     "Scale the matrix so that no output's weights add up to more than 1");
    mixing
        ->add_option("table", options->table,
                     "Weights as CSV, a row for each output; comma, semicolon or tab")
        ->check(CLI::ExistingFile)
        ->excludes(gains);
    mixing->add_option("--unit", options->unit, "Of the table: factor, db or percent")
        ->check(CLI::IsMember({"factor", "db", "percent"}));
    CLI::Option* ms = delay->add_option("--ms", options->ms, "Delays in milliseconds: 3,1,0")
                          ->delimiter(',')
                          ->check(number_from(0, 1e6));
    delay->add_option("--metres", options->metres, "Distances of the speakers instead, at 343 m/s")
        ->delimiter(',')
        ->check(number_from(0, 1e6))
        ->excludes(ms);
    mixing->callback([=] { *action = [=] { return new_mixing(*options); }; });
    delay->callback([=] { *action = [=] { return new_delay(*options); }; });
}
