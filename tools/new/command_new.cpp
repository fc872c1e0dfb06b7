// zel-fc new: from words to an entry of a coefficient file.

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "channel_layout.h"
#include "coefficient_check.h"
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
    std::string out_file;            ///< empty: standard output
    std::string into_file;           ///< a file that gets one entry more
};

/// What is wrong with what was asked for, as the command line is told it.
[[noreturn]] void refuse(const std::string& text) {
    throw CLI::ValidationError(text);
}

std::string text_of(double value) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.6g", value + 0.0);
    return text;
}

std::vector<std::string> split(const std::string& text, char separator) {
    std::vector<std::string> all;
    std::istringstream in(text);
    for (std::string one; std::getline(in, one, separator);) {
        all.push_back(one);
    }
    return all;
}

/// A whole text as a gain: "0.5", "-3dB", "70%"; without a unit of its own in `unit`.
double gain_of(std::string text, std::string unit, const std::string& where) {
    for (const auto& [ending, name] : {std::pair{"dB", "db"}, {"%", "percent"}}) {
        if (text.ends_with(ending)) {
            text.resize(text.size() - std::strlen(ending));
            unit = name;
        }
    }
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    const double gain = unit == "db"        ? std::pow(10, value / 20)
                        : unit == "percent" ? value / 100
                                            : value;
    while (*end == ' ' || *end == '\r') {
        ++end;
    }
    if (end == text.c_str() || *end != '\0' || !std::isfinite(gain)) {
        refuse(where + ": \"" + printable(text) + "\" is no gain");
    }
    return gain;
}

/// A matrix by channel names: rows of `outs`.
class named_mix {
  public:
    named_mix(std::vector<std::string> inputs, std::vector<std::string> outputs)
        : ins(std::move(inputs)), outs(std::move(outputs)), weights(ins.size() * outs.size()) {
        for (std::size_t i = 0; i < ins.size(); ++i) {
            route(ins[i], i, 1);
        }
    }

    void set_gain(const std::string& words) {
        const std::size_t equals = words.find('=');
        if (equals == std::string::npos) {
            refuse("--gain " + words + ": write NAME=GAIN, such as FC=-3dB");
        }
        const double gain = gain_of(words.substr(equals + 1), "", "--gain " + words);
        for (const std::string& name : split(words.substr(0, equals), ',')) {
            const auto found = std::find(ins.begin(), ins.end(), name);
            if (found == ins.end()) {
                std::string names;
                for (const std::string& one : ins) {
                    names += " " + one;
                }
                refuse("--gain " + words + ": no channel " + name + "; there are" + names);
            }
            const auto i = static_cast<std::size_t>(found - ins.begin());
            bool routed = false;
            for (std::size_t o = 0; o < outs.size(); ++o) {
                routed = routed || at(o, i) != 0;
            }
            if (!routed) {
                route("FC", i, 1);  // LFE, to where the middle goes
            }
            for (std::size_t o = 0; o < outs.size(); ++o) {
                at(o, i) = at(o, i) != 0 ? gain : 0;
            }
        }
    }

    std::vector<double> take() { return std::move(weights); }

  private:
    double& at(std::size_t out, std::size_t in) { return weights[out * ins.size() + in]; }
    bool has(const std::string& name) const {
        return std::find(outs.begin(), outs.end(), name) != outs.end();
    }
    /// To the output of that name; without one to those beside it, as ITU-R BS.775 has it.
    void route(const std::string& name, std::size_t in, double gain) {
        static const struct {
            const char* from;
            std::vector<const char*> to;  ///< the first that there is, or the last
            double gain;
        } kWays[] = {{"FL", {"FC"}, kMinus3},
                     {"FR", {"FC"}, kMinus3},
                     {"BL", {"SL", "FL"}, kMinus3},
                     {"BR", {"SR", "FR"}, kMinus3},
                     {"SL", {"BL", "FL"}, kMinus3},
                     {"SR", {"BR", "FR"}, kMinus3},
                     {"TFL", {"FL"}, 0.5},
                     {"TFR", {"FR"}, 0.5},
                     {"TBL", {"BL", "FL"}, 0.5},
                     {"TBR", {"BR", "FR"}, 0.5},
                     {"TSL", {"SL", "BL", "FL"}, 0.5},
                     {"TSR", {"SR", "BR", "FR"}, 0.5}};
        if (const auto found = std::find(outs.begin(), outs.end(), name); found != outs.end()) {
            at(static_cast<std::size_t>(found - outs.begin()), in) += gain;
        } else if (name == "FC" && has("FL")) {
            route("FL", in, gain * kMinus3);
            route("FR", in, gain * kMinus3);
        } else {
            for (const auto& way : kWays) {
                if (name == way.from) {
                    auto to = std::find_if(way.to.begin(), way.to.end() - 1,
                                           [this](const char* one) { return has(one); });
                    route(*to, in, gain * way.gain);
                }
            }
        }
    }

    std::vector<std::string> ins, outs;
    std::vector<double> weights;
};

/// Rows of weights from a table: a row for each output.
std::vector<double> read_table(const new_options& options, std::size_t ins) {
    std::ifstream file(options.table);
    std::vector<std::vector<std::string>> rows;
    for (std::string line; std::getline(file, line);) {
        if (line.find_first_not_of(" \r\t") != std::string::npos) {
            const char separator = line.find(';') != std::string::npos    ? ';'
                                   : line.find('\t') != std::string::npos ? '\t'
                                                                          : ',';
            if (separator != ',') {
                std::replace(line.begin(), line.end(), ',', '.');
            }
            rows.push_back(split(line, separator));
        }
    }
    if (rows.size() != options.outputs ||
        std::any_of(rows.begin(), rows.end(), [=](const auto& row) { return row.size() != ins; })) {
        refuse(options.table + ": not " + std::to_string(options.outputs) + " rows of " +
               std::to_string(ins) + " cells, a row for each output");
    }
    std::vector<double> weights(ins * options.outputs);
    double least = 0, most = 0;
    for (std::size_t r = 0; r < rows.size(); ++r) {
        for (std::size_t c = 0; c < rows[r].size(); ++c) {
            const std::string where = options.table + ": row " + std::to_string(r + 1) + ", cell " +
                                      std::to_string(c + 1);
            const double gain = gain_of(rows[r][c], options.unit, where);
            weights[r * ins + c] = gain;
            least = std::min(least, gain);
            most = std::max(most, gain);
        }
    }
    if (options.unit.empty() && (least < -1 || most > 2 || (least < 0 && most <= 0))) {
        refuse(options.table + ": in which unit? Name it with --unit factor, db or percent");
    }
    return weights;
}

/// The document with that entry, in the form of the samples; `body` in the file's own words.
std::string whole_file(file_kind kind, const std::string& entry) {
    return kind == file_kind::mixing
               ? "{\n  \"MixingCoefficientEnable\": true,\n  \"MixingWeighting\": [\n    " + entry +
                     "\n  ]\n}\n"
               : "{\n  \"DelayCoefficientEnable\": true,\n  \"ChannelDelayMilliseconds\": [\n    " +
                     entry + "\n  ]\n}\n";
}

file_report check_text(const std::string& text, file_kind kind) {
    const int fd = memfd_create("coefficients", MFD_CLOEXEC);
    const bool kept = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    const file_report report =
        check_file(kept ? "/proc/self/fd/" + std::to_string(fd) : "", {.kind = kind, .stream = {}});
    close(fd);
    return report;
}

/// `file`'s text with the entry before one that would hide it, else at the end.
std::string inserted(const std::string& file, file_kind kind, const stream_request& serves,
                     const std::string& entry) {
    const file_report report = check_file(file, {.kind = kind, .stream = {}});
    const auto is_error = [](const finding& found) { return found.level == severity::error; };
    if (!report.readable || report.kind != kind ||
        std::any_of(report.findings.begin(), report.findings.end(), is_error)) {
        refuse(file + " is not in order; zel-fc check " + file + " tells more");
    }
    const coefficient_text text(file);
    const json_node* body = text.root().find(
        kind == file_kind::mixing ? "MixingWeighting" : "ChannelDelayMilliseconds");
    std::string whole(text.text());
    for (std::size_t k = 0; k < report.entries.size(); ++k) {
        const stream_request& other = report.entries[k].serves;
        if (other.channels != serves.channels || other.outputs != serves.outputs ||
            !other.layout.starts_with(serves.layout)) {
            continue;
        }
        if (other.layout == serves.layout) {
            refuse(file + ":" + std::to_string(report.entries[k].place.line) +
                   ": there is an entry for this stream already");
        }
        return whole.insert(body->children[k].at, entry + ",\n    ");
    }
    return whole.insert(body->children.back().end, ",\n    " + entry);
}

exit_code write_entry(const new_options& options, file_kind kind, const stream_request& serves,
                      const std::string& entry) {
    const std::string text = options.into_file.empty()
                                 ? whole_file(kind, entry)
                                 : inserted(options.into_file, kind, serves, entry);
    const file_report report = check_text(text, kind);
    for (const finding& found : report.findings) {
        if (found.level != severity::note) {
            warn("line " + std::to_string(found.place.line) + ": " + found.what + ": " +
                 found.mend);
        }
        if (found.level == severity::error) {
            return fail(EXIT_USAGE, "nothing is written");
        }
    }
    const std::string& path = options.into_file.empty() ? options.out_file : options.into_file;
    if (path.empty()) {
        std::fputs(text.c_str(), stdout);
    } else {
        const std::string beside = path + ".new";
        std::ofstream file(beside, std::ios::binary);
        std::error_code error;
        if (!(file << text).flush()) {
            std::filesystem::remove(beside, error);
            return fail(EXIT_WRITE, path + ": " + std::strerror(errno));
        }
        std::filesystem::rename(beside, path, error);
        if (error) {
            return fail(EXIT_WRITE, path + ": " + error.message());
        }
    }
    const bool mixing = kind == file_kind::mixing;
    const std::string named = path.empty() ? "FILE" : path;
    std::fprintf(stderr, "to hear it: zel-fc convert IN.wav OUT.wav -c %u --card-layout %s %s\n",
                 mixing ? serves.outputs : serves.channels, options.layout.c_str(),
                 mixing ? ("--delay none --mixing " + named).c_str()
                        : ("--mixing none --delay " + named).c_str());
    return EXIT_OK;
}

exit_code new_mixing(const new_options& options) {
    const unsigned int ins = zel_channel_mixing::channel_count(options.layout);
    const std::vector<std::string> names = channel_names(options.layout);
    std::vector<double> weights;
    if (!options.table.empty()) {
        weights = read_table(options, ins);
    } else if (names.empty()) {
        refuse("the channels of layout " + options.layout + " have no names; give a table");
    } else {
        const std::vector<std::string> outs =
            options.outputs == names.size() ? names
            : options.outputs == 1
                ? std::vector<std::string>{"FC"}
                : channel_names(options.outputs == 3 ? "3.0" : card_layout_of(options.outputs));
        if (outs.size() != options.outputs) {
            refuse("no usual layout has " + channels_text(options.outputs) + "; give a table");
        }
        named_mix mix(names, outs);
        for (const std::string& gain : options.gains) {
            mix.set_gain(gain);
        }
        weights = mix.take();
        std::fprintf(stderr,
                     "gains: ITU-R BS.775 (centre and surrounds -3 dB, no LFE), heights "
                     "-6 dB%s\n",
                     options.gains.empty() ? "" : ", but for those named");
    }
    double most = 0;
    for (std::size_t at = 0; at < weights.size(); at += ins) {
        double sum = 0;
        for (std::size_t i = 0; i < ins; ++i) {
            sum += std::fabs(weights[at + i]);
        }
        most = std::max(most, sum);
    }
    std::string rows;
    for (std::size_t k = 0; k < weights.size(); ++k) {
        // Six digits, downwards: rounded up, a row could pass 1.
        const double weight =
            options.normalise && most > 1 ? std::trunc(weights[k] / most * 1e6) / 1e6 : weights[k];
        rows += (k == 0 ? "" : k % ins == 0 ? ",\n        " : ", ") + text_of(weight);
    }
    return write_entry(options, file_kind::mixing, {ins, options.layout, options.outputs, 0},
                       "{\n      \"InputChannel\": " + std::to_string(ins) +
                           ",\n      \"InputChannelLayout\": \"" + options.layout +
                           "\",\n      \"OutputChannel\": " + std::to_string(options.outputs) +
                           ",\n      \"Parameters\": [\n        " + rows + "\n      ]\n    }");
}

exit_code new_delay(const new_options& options) {
    const bool by_distance = !options.metres.empty();
    const std::vector<double>& given = by_distance ? options.metres : options.ms;
    const unsigned int count = zel_channel_mixing::channel_count(options.layout);
    const std::vector<std::string> names = channel_names(options.layout);
    if (given.size() != count) {
        refuse(std::to_string(given.size()) + " values for " + channels_text(count));
    }
    const double farthest = *std::max_element(given.begin(), given.end());
    std::string distances, delays;
    for (std::size_t c = 0; c < count; ++c) {
        const double exact = by_distance ? (farthest - given[c]) / kMetresPerMs : given[c];
        const double whole = std::round(exact);
        if (whole != exact) {
            std::fprintf(stderr, "channel %zu%s: %.2f ms becomes %.0f, off by %.0f cm\n", c,
                         c < names.size() ? (" " + names[c]).c_str() : "", exact, whole,
                         std::fabs(whole - exact) * kMetresPerMs * 100);
        }
        delays += (c == 0 ? "" : ", ") + text_of(whole);
        distances += (c == 0 ? "" : ", ") + text_of(given[c]);
    }
    return write_entry(
        options, file_kind::delay, {count, "", 0, 0},
        "{\n      \"InputChannel\": " + std::to_string(count) +
            (by_distance ? ",\n      \"DistancesMetres\": [" + distances + "]" : "") +
            ",\n      \"Parameters\": [" + delays + "]\n    }");
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
                                  layout.find_first_of("123456789") != std::string::npos;
                return good && layout.size() < 12 ? "" : "no layout such as 5.1";
            });
        CLI::Option* out = one->add_option("-o,--out", options->out_file,
                                           "New file to write (default: the standard output)")
                               ->check(CLI::NonexistentPath);
        one->add_option("--into", options->into_file,
                        "File that gets the entry, in its right place")
            ->check(CLI::ExistingFile)
            ->excludes(out);
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
                          ->check(CLI::NonNegativeNumber);
    delay->add_option("--metres", options->metres, "Distances of the speakers instead, at 343 m/s")
        ->delimiter(',')
        ->check(CLI::NonNegativeNumber)
        ->excludes(ms);
    mixing->callback([=] { *action = [=] { return new_mixing(*options); }; });
    delay->callback([=] { *action = [=] { return new_delay(*options); }; });
}
