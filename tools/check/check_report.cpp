// Words for reports, and reports in JSON.

#include "check_report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "channel_layout.h"
#include "zel_channel_delay.h"

namespace {

template <typename list>
json_value array_of(const list& values) {
    json_value array = json_value::array();
    for (const auto& value : values) {
        array.append(value);
    }
    return array;
}

void set_place(json_value* json, const text_place& place) {
    if (place.line > 0) {
        json->set("line", place.line).set("column", place.column);
    }
}

void set_stream(json_value* json, const stream_request& stream, file_kind kind) {
    json->set("channels", stream.channels);
    if (kind == file_kind::mixing) {
        json->set("layout", printable(stream.layout)).set("outputs", stream.outputs);
    }
}

json_value decision_json(const decision& decided, file_kind kind) {
    const stream_request& stream = decided.request;
    json_value json = json_value::object();
    set_stream(&json, stream, kind);
    if (kind == file_kind::delay) {
        json.set("rate", stream.rate);
    }
    json.set("outcome", outcome_name(decided.result))
        .set("status", decided.status)
        .set("used", decided.used);
    if (decided.entry >= 0) {
        json.set("entry", decided.entry);
        set_place(&json, decided.place);
    }
    if (!decided.weights.empty()) {
        const auto inputs = channel_names(stream.layout);
        json_value rows = json_value::array();
        const auto columns = static_cast<std::ptrdiff_t>(stream.channels);
        for (auto row = decided.weights.begin(); row != decided.weights.end(); row += columns) {
            rows.append(array_of(std::vector<double>(row, row + columns)));
        }
        json.set("input_names", array_of(inputs))
            .set("output_names", array_of(output_names(stream.outputs, inputs)))
            .set("matrix", std::move(rows));
    }
    if (!decided.delays_ms.empty()) {
        json_value frames = json_value::array();
        for (const unsigned int delay : decided.delays_ms) {
            frames.append(zel_channel_delay::delay_frames(delay, stream.rate));
        }
        json.set("delays_ms", array_of(decided.delays_ms)).set("delays_frames", std::move(frames));
    }
    json.set("log", array_of(decided.log));
    return json;
}

json_value entries_json(const file_report& report) {
    json_value entries = json_value::array();
    int index = 0;
    for (const entry_report& entry : report.entries) {
        json_value json = json_value::object();
        json.set("entry", index++);
        set_place(&json, entry.place);
        json.set("well_formed", entry.well_formed);
        if (entry.well_formed) {
            set_stream(&json, entry.serves, report.kind);
            json.set("values", std::uint64_t{entry.values});
        }
        json.set("usable", entry.usable).set("reachable", entry.reachable);
        if (entry.usable) {
            json.set(report.kind == file_kind::mixing ? "peak_gain" : "longest_ms", entry.peak);
        }
        entries.append(std::move(json));
    }
    return entries;
}

json_value findings_json(const file_report& report) {
    json_value findings = json_value::array();
    for (const finding& found : report.findings) {
        json_value json = json_value::object();
        json.set("severity", severity_name(found.level)).set("kind", found.kind);
        set_place(&json, found.place);
        if (found.entry >= 0) {
            json.set("entry", found.entry);
        }
        json.set("problem", found.what).set("device", found.device).set("mend", found.mend);
        findings.append(std::move(json));
    }
    return findings;
}

}  // namespace

json_value reports_json(const std::vector<file_report>& reports) {
    json_value files = json_value::array();
    for (const file_report& report : reports) {
        json_value json = json_value::object();
        json.set("file", report.path)
            .set("kind", kind_name(report.kind))
            .set("readable", report.readable)
            .set("findings", findings_json(report))
            .set("other_bad_entries", std::uint64_t{report.other_bad_entries})
            .set("entries", entries_json(report));
        if (report.decided) {
            json.set("decision", decision_json(*report.decided, report.kind));
        }
        files.append(std::move(json));
    }
    json_value all = json_value::object();
    all.set("files", std::move(files));
    return all;
}

const char* severity_name(severity level) {
    constexpr const char* kNames[] = {"error", "warning", "note"};
    return kNames[static_cast<std::size_t>(level)];
}

const char* kind_name(file_kind kind) {
    constexpr const char* kNames[] = {"unknown", "mixing", "delay"};
    return kNames[static_cast<std::size_t>(kind)];
}

const char* outcome_name(outcome result) {
    constexpr const char* kNames[] = {"entry",  "identity", "silence",
                                      "delays", "bypass",   "failure"};
    return kNames[static_cast<std::size_t>(result)];
}

std::string counted(std::uint64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

std::string in_quotes(std::string_view text) {
    return "\"" + printable(text) + "\"";
}

std::string mixing_stream_text(const stream_request& stream) {
    return counted(stream.channels, "channel") + " (" + in_quotes(stream.layout) + ") to " +
           std::to_string(stream.outputs);
}

std::string identity_text(unsigned int inputs, unsigned int outputs) {
    const std::string head = "mixes by the identity matrix instead: ";
    if (inputs == outputs) {
        return head + "every channel passes unchanged";
    }
    const unsigned int passed = std::min(inputs, outputs);
    const std::string pass = passed == 1 ? "channel 0 passes"
                             : passed == 2
                                 ? "channels 0 and 1 pass"
                                 : "channels 0 to " + std::to_string(passed - 1) + " pass";
    return head + pass + " unchanged, the other " +
           (inputs > outputs ? "inputs are lost" : "outputs are silent");
}

std::string decibels(double gain) {
    const double db = 20 * std::log10(std::fabs(gain));
    char text[40];
    std::snprintf(text, sizeof(text), "%.1f dB", std::fabs(db) < 0.05 ? 0 : db);
    return text;
}
