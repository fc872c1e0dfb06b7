// Reports in JSON.

#include "channel_layout.h"
#include "check_print.h"
#include "wording.h"
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
        json->set("layout", printable(stream.layout, stream.layout.size()))
            .set("outputs", stream.outputs);
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
            json.set("values", entry.values);
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
            .set("complete", report.complete)
            .set("findings", findings_json(report))
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
