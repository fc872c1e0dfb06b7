// Reports for people.

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>

#include "channel_layout.h"
#include "check_report.h"
#include "zel_channel_delay.h"

namespace {

constexpr std::size_t kTitleWidth = 10;  // of a matrix row
constexpr std::size_t kCellWidth = 16;
constexpr double kSoundMetresPerSecond = 343;  // in air of 20 degrees Celsius

__attribute__((format(printf, 2, 3))) void put(std::string* out, const char* format, ...) {
    char line[512];
    va_list args;
    va_start(args, format);
    std::vsnprintf(line, sizeof(line), format, args);
    va_end(args);
    *out += line;
}

/// `label`, then the text, broken at blanks; later lines begin under the text's first character.
void put_wrapped(std::string* out, const std::string& label, const std::string& text,
                 std::size_t width) {
    std::string line = label;
    bool first = true;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find(' ', begin), text.size());
        const std::string word = text.substr(begin, end - begin);
        if (!first && line.size() + 1 + word.size() > width) {
            *out += line + "\n";
            line = std::string(label.size(), ' ');
            first = true;
        }
        line += (first ? "" : " ") + word;
        first = false;
        begin = end + 1;
    }
    *out += line + "\n";
}

std::string name_of(const std::vector<std::string>& names, std::size_t channel) {
    return channel < names.size() ? names[channel] : "";
}

void put_cell(std::string* out, double weight) {
    if (weight == 0) {
        put(out, "%9s%7s", ".", ".");
        return;
    }
    const std::string db = decibels(weight);
    put(out, std::fabs(weight) < 1000 ? "%9.4f" : "%9.3g", weight);
    put(out, "%7s", db.substr(0, db.find(' ')).c_str());
}

/// Turned by a quarter against the file, so that many inputs still fit: a row for each input.
void put_matrix(std::string* out, const decision& decided, std::size_t width) {
    const stream_request& stream = decided.request;
    const auto inputs = channel_names(stream.layout);
    const auto outputs = output_names(stream.outputs, inputs);
    const std::size_t in_a_row = std::max<std::size_t>(1, (width - kTitleWidth) / kCellWidth);
    for (std::size_t from = 0; from < stream.outputs; from += in_a_row) {
        const std::size_t to = std::min<std::size_t>(from + in_a_row, stream.outputs);
        put(out, "\n%*s", static_cast<int>(kTitleWidth), "");
        for (std::size_t o = from; o < to; ++o) {
            const std::string title = "output " + std::to_string(o) + " " + name_of(outputs, o);
            put(out, "%*s", static_cast<int>(kCellWidth),
                title.substr(0, title.find_last_not_of(' ') + 1).c_str());
        }
        put(out, "\n%-*s", static_cast<int>(kTitleWidth), "  input");
        for (std::size_t o = from; o < to; ++o) {
            put(out, "%9s%7s", "gain", "dB");
        }
        for (std::size_t i = 0; i < stream.channels; ++i) {
            put(out, "\n  %2zu %-5s", i, name_of(inputs, i).c_str());
            for (std::size_t o = from; o < to; ++o) {
                put_cell(out, static_cast<double>(decided.weights[o * stream.channels + i]));
            }
        }
        put(out, "\n%-*s", static_cast<int>(kTitleWidth), "  sum");
        for (std::size_t o = from; o < to; ++o) {
            put_cell(out, row_gain(&decided.weights[o * stream.channels], stream.channels));
        }
        *out += "\n";
    }
}

void put_delays(std::string* out, const decision& decided) {
    const stream_request& stream = decided.request;
    const auto names = channel_names(stream.layout);
    put(out, "\n  channel       ms   frames   sound travels\n");
    for (std::size_t c = 0; c < decided.delays_ms.size(); ++c) {
        const unsigned int ms = decided.delays_ms[c];
        put(out, "  %2zu %-5s  %7u  %7u  %12.2f m\n", c, name_of(names, c).c_str(), ms,
            zel_channel_delay::delay_frames(ms, stream.rate), ms * kSoundMetresPerSecond / 1000);
    }
}

std::string decision_head(const decision& decided, file_kind kind) {
    const stream_request& stream = decided.request;
    const std::string head =
        kind == file_kind::mixing
            ? mixing_stream_text(stream)
            : counted(stream.channels, "channel") + " at " + std::to_string(stream.rate) + " Hz";
    const std::string entry =
        "entry " + std::to_string(decided.entry) + ", line " + std::to_string(decided.place.line);
    switch (decided.result) {
        case outcome::entry:
        case outcome::delays:
            return head + ": " + entry;
        case outcome::identity:
            return head + ": no usable entry, the device " +
                   identity_text(stream.channels, stream.outputs);
        case outcome::silence:
            return head + ": no weights at all, the client hears silence";
        case outcome::bypass:
            return head + ": no delay (bypass)" + (decided.used ? ", " + entry : "");
        case outcome::failure:
            break;
    }
    return head + ": the client's open fails with " + std::to_string(decided.status);
}

void put_decision(std::string* out, const file_report& report, std::size_t width) {
    const decision& decided = *report.decided;
    *out += "\n";
    put_wrapped(out, "", decision_head(decided, report.kind), width);
    if (decided.result == outcome::entry || decided.result == outcome::identity) {
        put_matrix(out, decided, width);
    } else if (decided.result == outcome::delays) {
        put_delays(out, decided);
    }
    *out += decided.log.empty() ? "" : "\nThe device logs:\n";
    for (const std::string& message : decided.log) {
        put_wrapped(out, "  ", message, width);
    }
}

void put_entries(std::string* out, const file_report& report) {
    const bool mixing = report.kind == file_kind::mixing;
    *out += mixing ? "\n entry   line   in  layout    out  weights  loudest output\n"
                   : "\n entry   line  channels  delays  longest\n";
    for (std::size_t i = 0; i < report.entries.size(); ++i) {
        const entry_report& entry = report.entries[i];
        put(out, "%6zu %6u", i, entry.place.line);
        if (!entry.well_formed) {
            *out += "  malformed\n";
            continue;
        }
        if (mixing) {
            put(out, "  %3u  %-8.14s  %3u  %7zu", entry.serves.channels,
                in_quotes(entry.serves.layout).c_str(), entry.serves.outputs, entry.values);
        } else {
            put(out, "  %8u  %6zu", entry.serves.channels, entry.values);
        }
        const std::string peak =
            mixing ? decibels(entry.peak) : std::to_string(std::lround(entry.peak)) + " ms";
        *out += "  " +
                (!entry.reachable ? "never chosen"
                 : !entry.usable  ? "not usable"
                                  : peak) +
                "\n";
    }
}

void put_finding(std::string* out, const std::string& path, const finding& found,
                 std::size_t width) {
    *out += "\n" + path;
    if (found.place.line > 0) {
        put(out, ":%u:%u", found.place.line, found.place.column);
    }
    *out += ": " + std::string(severity_name(found.level)) + ": " + found.what + " [" + found.kind +
            "]\n";
    if (!found.excerpt.empty()) {
        const std::size_t end = found.excerpt.find('\n');
        *out +=
            "    " + found.excerpt.substr(0, end) + "\n    " + found.excerpt.substr(end + 1) + "\n";
    }
    put_wrapped(out, "    the device: ", found.device, width);
    put_wrapped(out, "    to mend it: ", found.mend, width);
}

std::string summary(const file_report& report) {
    std::string all;
    for (const severity level : {severity::error, severity::warning, severity::note}) {
        const auto count = std::count_if(report.findings.begin(), report.findings.end(),
                                         [level](const finding& f) { return f.level == level; });
        if (count > 0) {
            all += (all.empty() ? "" : ", ") +
                   counted(static_cast<std::uint64_t>(count), severity_name(level));
        }
    }
    return all.empty() ? "no problems" : all;
}

}  // namespace

std::string report_text(const file_report& report, bool with_entries, std::size_t width) {
    std::string out = report.path + ": ";
    if (report.kind != file_kind::unknown) {
        out += std::string(kind_name(report.kind)) + " file, ";
    }
    if (!report.entries.empty()) {
        out += std::to_string(report.entries.size()) +
               (report.entries.size() == 1 ? " entry, " : " entries, ");
    }
    out += summary(report) + "\n";
    if (report.other_bad_entries > 0) {
        out += std::to_string(report.other_bad_entries) +
               " for other streams with problems, which --all tells\n";
    }
    if (with_entries && !report.entries.empty()) {
        put_entries(&out, report);
    }
    if (report.decided) {
        put_decision(&out, report, width);
    }
    for (const finding& found : report.findings) {
        put_finding(&out, report.path, found, width);
    }
    return out;
}
