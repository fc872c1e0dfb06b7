#include "check_report.h"

#include <algorithm>
#include <cmath>

#include "channel_layout.h"
#include "level_meter.h"
#include "zel_channel_delay.h"

namespace {

constexpr const char* kSeverities[] = {"error", "warning", "note"};
constexpr const char* kKinds[] = {"unknown", "mixing", "delay"};
constexpr std::size_t kTitleWidth = 10;  // of a matrix row
constexpr std::size_t kCellWidth = 16;
constexpr double kSoundMetresPerSecond = 343;  // in air of 20 degrees Celsius

std::string name_of(severity level) {
    return kSeverities[static_cast<std::size_t>(level)];
}

std::string name_of(file_kind kind) {
    return kKinds[static_cast<std::size_t>(kind)];
}

std::string row_title(std::size_t channel, const std::vector<std::string>& names) {
    return (channel < 10 ? "   " : "  ") + channel_text(channel, names);
}

std::string cell(double weight) {
    return weight == 0 ? fmt::format("{:>9}{:>7}", ".", ".")
                       : fmt::format(fmt::runtime(std::fabs(weight) < 1000 ? "{:9.4f}{:>7}"
                                                                           : "{:9.3g}{:>7}"),
                                     weight, gain_db(weight));
}

std::string delays_text(const decision& decided) {
    const stream_request& stream = decided.request;
    const auto names = channel_names(stream.layout);
    std::string out = "\n  channel       ms   frames   sound travels\n";
    for (std::size_t c = 0; c < decided.delays_ms.size(); ++c) {
        const unsigned int ms = decided.delays_ms[c];
        out += fmt::format("{:<10}  {:7}  {:7}  {:12.2f} m\n", row_title(c, names), ms,
                           zel_channel_delay::delay_frames(ms, stream.rate),
                           ms * kSoundMetresPerSecond / 1000);
    }
    return out;
}

std::string decision_head(const decision& decided, file_kind kind) {
    const stream_request& stream = decided.request;
    const std::string entry = fmt::format("entry {}, line {}", decided.entry, decided.place.line);
    const std::string& outcome = decided.outcome;
    return (kind == file_kind::mixing
                ? mixing_stream_text(stream)
                : fmt::format("{} at {} Hz", counted(stream.channels, "channel"), stream.rate)) +
           ": " +
           (outcome == "entry" || outcome == "delays" ? entry
            : outcome == "identity"
                ? "no usable entry, the device " + identity_text(stream.channels, stream.outputs)
            : outcome == "silence" ? "no weights at all, the client hears silence"
            : outcome == "bypass"  ? "no delay (bypass)" + (decided.used ? ", " + entry : "")
                                  : fmt::format("the client's open fails with {}", decided.status));
}

std::string decision_text(const file_report& report) {
    const decision& decided = *report.decided;
    std::string out = "\n" + decision_head(decided, report.kind) + "\n";
    if (decided.outcome == "entry" || decided.outcome == "identity") {
        out += matrix_text(decided.request, decided.weights);
    } else if (decided.outcome == "delays") {
        out += delays_text(decided);
    }
    out += decided.log.empty() ? "" : "\nThe device logs:\n";
    for (const std::string& message : decided.log) {
        out += "  " + message + "\n";
    }
    return out;
}

std::string finding_text(const std::string& path, const finding& found) {
    const text_place& at = found.place;
    const std::size_t end = found.excerpt.find('\n');
    return fmt::format("\n{}{}: {}: {} [{}]\n", path,
                       at.line > 0 ? fmt::format(":{}:{}", at.line, at.column) : "",
                       name_of(found.level), found.what, found.kind) +
           (end == std::string::npos ? ""
                                     : "    " + found.excerpt.substr(0, end) + "\n    " +
                                           found.excerpt.substr(end + 1) + "\n") +
           fmt::format("    the device: {}\n    to mend it: {}\n", found.device, found.mend);
}

json place_json(const text_place& place) {
    return place.line == 0 ? json::object() : json{{"line", place.line}, {"column", place.column}};
}

json stream_json(const stream_request& stream, file_kind kind) {
    return kind == file_kind::mixing ? json{{"channels", stream.channels},
                                            {"layout", printable(stream.layout)},
                                            {"outputs", stream.outputs}}
                                     : json{{"channels", stream.channels}};
}

json decision_json(const decision& decided, file_kind kind) {
    const stream_request& stream = decided.request;
    json all = stream_json(stream, kind);
    if (kind == file_kind::delay) {
        all["rate"] = stream.rate;
    }
    all.update({{"outcome", decided.outcome}, {"status", decided.status}, {"used", decided.used}});
    if (decided.entry >= 0) {
        all["entry"] = decided.entry;
        all.update(place_json(decided.place));
    }
    if (!decided.weights.empty()) {
        const auto inputs = channel_names(stream.layout);
        all.update(
            {{"input_names", inputs}, {"output_names", output_names(stream.outputs, inputs)}});
        all["matrix"] = matrix_json(decided.weights, stream.channels);
    }
    for (const unsigned int delay : decided.delays_ms) {
        all["delays_ms"].push_back(delay);
        all["delays_frames"].push_back(zel_channel_delay::delay_frames(delay, stream.rate));
    }
    all["log"] = decided.log;
    return all;
}

json finding_json(const finding& found) {
    json all{{"severity", name_of(found.level)}, {"kind", found.kind}};
    all.update(place_json(found.place));
    if (found.entry >= 0) {
        all["entry"] = found.entry;
    }
    all.update({{"problem", found.what}, {"device", found.device}, {"mend", found.mend}});
    return all;
}

}  // namespace

std::string report_text(const file_report& report) {
    std::string problems;
    for (const severity level : {severity::error, severity::warning, severity::note}) {
        const auto count =
            std::count_if(report.findings.begin(), report.findings.end(),
                          [=](const finding& found) { return found.level == level; });
        problems += count == 0 ? ""
                               : (problems.empty() ? "" : ", ") +
                                     counted(static_cast<std::size_t>(count), name_of(level));
    }
    const std::size_t entries = report.entries.size();
    std::string out = fmt::format(
        "{}: {}{}{}\n", report.path,
        report.kind != file_kind::unknown ? name_of(report.kind) + " file, " : "",
        entries > 0 ? fmt::format("{} {}, ", entries, entries == 1 ? "entry" : "entries") : "",
        problems.empty() ? "no problems" : problems);
    if (report.other_bad_entries > 0) {
        out += fmt::format("{} for other streams with problems, which --all tells\n",
                           report.other_bad_entries);
    }
    out += report.decided ? decision_text(report) : "";
    for (const finding& found : report.findings) {
        out += finding_text(report.path, found);
    }
    return out;
}

json reports_json(const std::vector<file_report>& reports) {
    json files = json::array();
    for (const file_report& report : reports) {
        json findings = json::array();
        for (const finding& found : report.findings) {
            findings.push_back(finding_json(found));
        }
        files.push_back({{"file", report.path},
                         {"kind", name_of(report.kind)},
                         {"readable", report.readable},
                         {"findings", findings},
                         {"other_bad_entries", report.other_bad_entries},
                         {"entries", report.entries.size()}});
        if (report.decided) {
            files.back()["decision"] = decision_json(*report.decided, report.kind);
        }
    }
    return {{"files", files}};
}

std::string matrix_text(const stream_request& stream, const std::vector<float>& weights) {
    constexpr std::size_t kInARow = 4;  // of outputs: 80 columns
    const auto inputs = channel_names(stream.layout);
    const auto outputs = output_names(stream.outputs, inputs);
    std::string out;
    for (std::size_t from = 0; from < stream.outputs; from += kInARow) {
        const std::size_t to = std::min<std::size_t>(from + kInARow, stream.outputs);
        const auto row = [&](const std::string& title, const auto& cell_of) {
            out += fmt::format("\n{:<{}}", title, kTitleWidth);
            for (std::size_t o = from; o < to; ++o) {
                out += fmt::format("{:>{}}", cell_of(o), kCellWidth);
            }
        };
        row("", [&](std::size_t o) { return "output " + channel_text(o, outputs); });
        row("  input", [](std::size_t) { return "     gain     dB"; });
        for (std::size_t i = 0; i < stream.channels; ++i) {
            row(row_title(i, inputs), [&](std::size_t o) {
                return cell(static_cast<double>(weights[o * stream.channels + i]));
            });
        }
        row("  sum", [&](std::size_t o) {
            return cell(row_gain(&weights[o * stream.channels], stream.channels));
        });
        out += "\n";
    }
    return out;
}

json matrix_json(const std::vector<float>& weights, unsigned int inputs) {
    json rows = json::array();
    for (auto row = weights.begin(); row != weights.end();
         row += static_cast<std::ptrdiff_t>(inputs)) {
        rows.push_back(std::vector<double>(row, row + static_cast<std::ptrdiff_t>(inputs)));
    }
    return rows;
}

std::string counted(std::size_t count, const std::string& noun) {
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::string mixing_stream_text(const stream_request& stream) {
    return fmt::format("{} ({}) to {}", counted(stream.channels, "channel"),
                       in_quotes(stream.layout), stream.outputs);
}

std::string identity_text(unsigned int inputs, unsigned int outputs) {
    const unsigned int passed = std::min(inputs, outputs);
    return "mixes by the identity matrix instead: " +
           (inputs == outputs ? "every channel passes unchanged"
                              : (passed == 1   ? "channel 0 passes"
                                 : passed == 2 ? "channels 0 and 1 pass"
                                               : fmt::format("channels 0 to {} pass", passed - 1)) +
                                    " unchanged, the other " +
                                    (inputs > outputs ? "inputs are lost" : "outputs are silent"));
}

double row_gain(const float* weights, std::size_t inputs) {
    double sum = 0;
    for (std::size_t i = 0; i < inputs; ++i) {
        sum += std::fabs(static_cast<double>(weights[i]));
    }
    return sum;
}

/// A sample goes from -32768 to 32767, and the mix drops fractions.
bool row_can_wrap(const float* weights, std::size_t inputs) {
    double highest = 0, lowest = 0;
    for (std::size_t i = 0; i < inputs; ++i) {
        const double weight = weights[i];
        highest += weight * (weight > 0 ? 32767 : -32768);
        lowest += weight * (weight > 0 ? -32768 : 32767);
    }
    return highest >= 32768 || lowest <= -32769;
}

std::string gain_db(double gain) {
    return decibels_text(20 * std::log10(std::fabs(gain)));
}
