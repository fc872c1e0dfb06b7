#include "coefficient_check.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "check_delay.h"
#include "check_entries.h"
#include "check_mixing.h"
#include "library_log.h"
#include "syntax_advice.h"
#include "wording.h"

namespace {

std::string lower_case(std::string_view text) {
    std::string all(text);
    std::transform(all.begin(), all.end(), all.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return all;
}

/// By the first of the members' names in the text, so that a broken file has a kind, too; else by
/// the file's name.
file_kind guess_kind(const std::string& path, std::string_view text) {
    const std::string content = lower_case(text);
    std::size_t first = std::string::npos;
    file_kind kind = file_kind::unknown;
    for (const file_kind candidate : {file_kind::mixing, file_kind::delay}) {
        const top_names names = top_names_of(candidate);
        for (const char* name : {names.enable, names.body}) {
            const std::size_t at = content.find("\"" + lower_case(name) + "\"");
            if (at < first) {
                first = at;
                kind = candidate;
            }
        }
    }
    const std::string name = lower_case(std::filesystem::path(path).filename().string());
    if (kind == file_kind::unknown && name.find("mixing") != std::string::npos) {
        return file_kind::mixing;
    }
    if (kind == file_kind::unknown && name.find("delay") != std::string::npos) {
        return file_kind::delay;
    }
    return kind;
}

class file_check {
  public:
    file_check(const std::string& path, const check_request& wanted) : request(wanted), text(path) {
        report.path = path;
        report.readable = text.status() == zel_text_status::ok;
        report.kind =
            request.kind != file_kind::unknown ? request.kind : guess_kind(path, text.text());
    }

    file_report run() {
        if (!report.readable) {
            check_reading();
        } else if (report.kind == file_kind::unknown) {
            add(kinds::kUnknownKind, {}, {fallback(), fallback_text(file_kind::delay)});
        } else if (text.root() == nullptr) {
            check_syntax();
        } else {
            check_document();
        }
        if (request.stream && report.kind != file_kind::unknown) {
            decide();
        }
        std::stable_sort(report.findings.begin(), report.findings.end(),
                         [](const finding& a, const finding& b) {
                             return std::pair(a.place.line, a.place.column) <
                                    std::pair(b.place.line, b.place.column);
                         });
        return std::move(report);
    }

  private:
    void add(const finding_kind& kind, text_place place,
             const std::vector<std::string>& words = {}) {
        report.add(kind, place, -1, words);
    }
    std::string fallback() const { return fallback_text(report.kind); }
    void add_missing(const finding_kind& kind, const char* name, const char* example) {
        const missing_member missing =
            explain_missing(text, text.root(), "the file", name, example);
        add(kind, missing.place, {missing.what, missing.mend, fallback()});
    }

    void check_reading();
    void check_syntax();
    void check_document();
    void check_enable();
    void check_body();
    void decide();

    const check_request& request;
    thread_library_log log;  // holds back what the entries' checks make the device say
    located_json text;
    file_report report;
};

void file_check::check_reading() {
    const bool too_large = text.status() == zel_text_status::too_large;
    const std::string mixing =
        too_large ? fallback_text(file_kind::mixing) : "mixes to silence when the stream opens";
    const std::string device = report.kind == file_kind::mixing ? mixing
                               : report.kind == file_kind::delay
                                   ? fallback()
                                   : "as the mixing file: " + mixing +
                                         "; as the delay file: " + fallback_text(file_kind::delay);
    add(too_large ? kinds::kTooLarge : kinds::kNotReadable, {},
        {device, std::to_string(kZelMaxTextFileBytes)});
}

void file_check::check_syntax() {
    const syntax_advice advice = explain_syntax(text);
    add(kinds::kSyntax, text.place_at(advice.offset), {advice.what, advice.mend, fallback()});
}

void file_check::check_document() {
    if (text.rest_offset() < text.text().size()) {
        add(kinds::kTrailingText, text.place_at(text.rest_offset()));
    }
    if (!cJSON_IsObject(text.root())) {
        add(kinds::kNotAnObject, text.place(text.root()), {value_text(text.root()), fallback()});
        return;
    }
    check_duplicate_members(text, text.root(), -1, &report);
    check_enable();
    check_body();
}

void file_check::check_enable() {
    const char* name = top_names_of(report.kind).enable;
    const cJSON* enable = cJSON_GetObjectItem(text.root(), name);
    if (enable == nullptr) {
        add_missing(kinds::kEnableMissing, name, "the value true");
    } else if (!cJSON_IsTrue(enable)) {
        add(kinds::kDisabled, text.place(enable), {quoted(name), value_text(enable), fallback()});
    }
}

void file_check::check_body() {
    const char* name = top_names_of(report.kind).body;
    const cJSON* body = cJSON_GetObjectItem(text.root(), name);
    if (body == nullptr) {
        add_missing(kinds::kBodyMissing, name, "an array of entries");
        return;
    }
    if (cJSON_GetArraySize(body) == 0) {
        const std::string state =
            cJSON_IsArray(body) ? "has no entries"
                                : "is " + value_text(body) + " instead of an array of entries";
        add(kinds::kBodyEmpty, text.place(body), {quoted(name), state, fallback()});
        return;
    }
    if (cJSON_GetObjectItem(body, member_name::kChannels) != nullptr) {
        add(kinds::kEntryAlone, text.place(body), {quoted(name), fallback()});
        return;
    }
    check_is_array(text, body, name, -1, &report);
    if (report.kind == file_kind::mixing) {
        check_mixing_entries(text, body, &report);
    } else {
        check_delay_entries(text, body, &report);
    }
}

void file_check::decide() {
    const bool mixing = report.kind == file_kind::mixing;
    report.decided = (mixing ? decide_mixing : decide_delay)(report.path, text, *request.stream);
    const cJSON* body = cJSON_GetObjectItem(text.root(), top_names_of(report.kind).body);
    if (!report.entries.empty()) {
        (mixing ? explain_mixing : explain_delay)(text, body, *report.decided, &report);
    }
    if (!request.all) {
        std::erase_if(report.findings, [this](const finding& found) {
            return found.entry >= 0 && found.entry != report.decided->entry;
        });
    }
}

}  // namespace

file_report check_file(const std::string& path, const check_request& request) {
    return file_check(path, request).run();
}
