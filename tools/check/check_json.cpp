// Reports in JSON.

#include "channel_layout.h"
#include "check_print.h"
#include "wording.h"
#include "zel_channel_delay.h"
#include "zel_coefficient_file.h"

namespace {

void add_number(cJSON* object, const char* name, double value) {
    cJSON_AddNumberToObject(object, name, value);
}

void add_string(cJSON* object, const char* name, const std::string& value) {
    cJSON_AddStringToObject(object, name, value.c_str());
}

void add_place(cJSON* object, const text_place& place) {
    if (place.line > 0) {
        add_number(object, "line", place.line);
        add_number(object, "column", place.column);
    }
}

void add_strings(cJSON* object, const char* name, const std::vector<std::string>& values) {
    cJSON* array = cJSON_AddArrayToObject(object, name);
    for (const std::string& value : values) {
        cJSON_AddItemToArray(array, cJSON_CreateString(value.c_str()));
    }
}

void add_stream(cJSON* object, const stream_request& stream, file_kind kind) {
    add_number(object, "channels", stream.channels);
    if (kind == file_kind::mixing) {
        add_string(object, "layout", printable(stream.layout, stream.layout.size()));
        add_number(object, "outputs", stream.outputs);
    }
}

void add_decision(cJSON* object, const decision& decided, file_kind kind) {
    cJSON* out = cJSON_AddObjectToObject(object, "decision");
    add_stream(out, decided.request, kind);
    if (kind == file_kind::delay) {
        add_number(out, "rate", decided.request.rate);
    }
    add_string(out, "outcome", outcome_name(decided.result));
    add_number(out, "status", decided.status);
    cJSON_AddBoolToObject(out, "used", decided.used);
    if (decided.entry >= 0) {
        add_number(out, "entry", decided.entry);
        add_place(out, decided.place);
    }
    if (!decided.weights.empty()) {
        const auto inputs = channel_names(decided.request.layout);
        add_strings(out, "input_names", inputs);
        add_strings(out, "output_names", output_names(decided.request.outputs, inputs));
        cJSON* rows = cJSON_AddArrayToObject(out, "matrix");
        for (std::size_t o = 0; o < decided.request.outputs; ++o) {
            cJSON_AddItemToArray(
                rows, cJSON_CreateFloatArray(&decided.weights[o * decided.request.channels],
                                             static_cast<int>(decided.request.channels)));
        }
    }
    if (!decided.delays_ms.empty()) {
        cJSON* ms = cJSON_AddArrayToObject(out, "delays_ms");
        cJSON* frames = cJSON_AddArrayToObject(out, "delays_frames");
        for (const unsigned int delay : decided.delays_ms) {
            cJSON_AddItemToArray(ms, cJSON_CreateNumber(delay));
            cJSON_AddItemToArray(frames, cJSON_CreateNumber(zel_channel_delay::delay_frames(
                                             delay, decided.request.rate)));
        }
    }
    add_strings(out, "log", decided.log);
}

void add_entries(cJSON* object, const file_report& report) {
    cJSON* entries = cJSON_AddArrayToObject(object, "entries");
    int index = 0;
    for (const entry_report& entry : report.entries) {
        cJSON* out = cJSON_CreateObject();
        cJSON_AddItemToArray(entries, out);
        add_number(out, "entry", index++);
        add_place(out, entry.place);
        cJSON_AddBoolToObject(out, "well_formed", entry.well_formed);
        if (entry.well_formed) {
            add_stream(out, entry.serves, report.kind);
            add_number(out, "values", entry.values);
        }
        cJSON_AddBoolToObject(out, "usable", entry.usable);
        cJSON_AddBoolToObject(out, "reachable", entry.reachable);
        if (entry.usable) {
            add_number(out, report.kind == file_kind::mixing ? "peak_gain" : "longest_ms",
                       entry.peak);
        }
    }
}

void add_findings(cJSON* object, const file_report& report) {
    cJSON* findings = cJSON_AddArrayToObject(object, "findings");
    for (const finding& found : report.findings) {
        cJSON* out = cJSON_CreateObject();
        cJSON_AddItemToArray(findings, out);
        add_string(out, "severity", severity_name(found.level));
        add_string(out, "kind", found.kind);
        add_place(out, found.place);
        if (found.entry >= 0) {
            add_number(out, "entry", found.entry);
        }
        add_string(out, "problem", found.what);
        add_string(out, "device", found.device);
        add_string(out, "mend", found.mend);
    }
}

}  // namespace

std::string reports_json(const std::vector<file_report>& reports) {
    const zel_json_document document(cJSON_CreateObject(), cJSON_Delete);
    cJSON* files = cJSON_AddArrayToObject(document.get(), "files");
    for (const file_report& report : reports) {
        cJSON* out = cJSON_CreateObject();
        cJSON_AddItemToArray(files, out);
        add_string(out, "file", report.path);
        add_string(out, "kind", kind_name(report.kind));
        cJSON_AddBoolToObject(out, "readable", report.readable);
        cJSON_AddBoolToObject(out, "complete", report.complete);
        add_findings(out, report);
        add_entries(out, report);
        if (report.decided) {
            add_decision(out, *report.decided, report.kind);
        }
    }
    const std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_Print(document.get()),
                                                            cJSON_free);
    return text == nullptr ? "" : std::string(text.get()) + "\n";
}
