#include "check_entries.h"

#include <android/log.h>

#include <cmath>
#include <limits>

#include "wording.h"

namespace {

constexpr std::size_t kMostFindings = 1000;

/// True when an earlier member of the object has the same name, for which case does not count.
bool repeats(const cJSON* object, const cJSON* member) {
    return member->string != nullptr && cJSON_GetObjectItem(object, member->string) != member;
}

}  // namespace

void explain_missing(const located_json& text, const cJSON* object, const std::string& owner,
                     const char* name, const std::string& example, finding* found) {
    const cJSON* similar = similar_member(object, name);
    if (similar != nullptr) {
        found->place = text.name_place(similar);
        found->what = owner + " has no " + quoted(name) + ", but " + quoted(similar->string);
        found->mend = "rename it to " + quoted(name);
    } else {
        found->what = owner + " has no " + quoted(name);
        found->mend = "add " + quoted(name) + " with " + example;
    }
}

top_names top_names_of(file_kind kind) {
    return kind == file_kind::delay
               ? top_names{"DelayCoefficientEnable", "ChannelDelayMilliseconds"}
               : top_names{"MixingCoefficientEnable", "MixingWeighting"};
}

std::string fallback_text(file_kind kind) {
    return kind == file_kind::delay ? "delays no channel (bypass)"
                                    : "mixes by the identity matrix instead";
}

std::vector<std::string> device_texts(const std::vector<library_message>& log) {
    constexpr std::size_t kLongestMessage = 160;
    std::vector<std::string> texts;
    for (const library_message& message : log) {
        if (message.priority >= ANDROID_LOG_INFO) {
            texts.push_back(printable(without_origin(message.text), kLongestMessage));
        }
    }
    return texts;
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

void check_duplicate_members(const located_json& text, const cJSON* object, int entry,
                             file_report* report) {
    const cJSON* member = nullptr;
    cJSON_ArrayForEach(member, object) {
        if (repeats(object, member)) {
            report->findings.push_back(
                {severity::warning, "duplicate_member", text.name_place(member), entry,
                 "a second member " + quoted(member->string),
                 "takes the first one; letter case does not count", "remove one of them"});
            return;  // one is enough, and searching for more takes quadratic time
        }
    }
}

void report_unusable_member(const located_json& text, const cJSON* element, int index,
                            const char* name, const char* wanted_type, const std::string& example,
                            file_report* report) {
    const cJSON* member = cJSON_GetObjectItem(element, name);
    std::string kind = "bad_";
    for (const char* c = name; *c != '\0'; ++c) {
        const bool capital = *c >= 'A' && *c <= 'Z';
        kind += capital && c != name ? "_" : "";
        kind.push_back(static_cast<char>(capital ? *c - 'A' + 'a' : *c));
    }
    finding found{severity::error, kind, text.place(element), index, "", "", ""};
    if (!cJSON_IsObject(element)) {
        found.what = "entry " + std::to_string(index) + " is " + value_text(element) +
                     " instead of an object";
        found.mend = "remove it, or put an entry in braces here";
    } else if (member != nullptr) {
        found.place = text.place(member);
        found.what = quoted(name) + " is " + value_text(member) + " instead of " + wanted_type;
        found.mend = "write " + example;
    } else {
        explain_missing(text, element, "entry " + std::to_string(index), name, example, &found);
    }
    found.device = "gives up the search here and " + fallback_text(report->kind) +
                   ", for every stream that no earlier entry serves";
    report->findings.push_back(found);
}

void report_missing_values(const located_json& text, const cJSON* element, int index,
                           const std::string& device, const std::string& example,
                           file_report* report) {
    finding found{
        severity::error, "parameters_missing", text.place(element), index, "", device, ""};
    explain_missing(text, element, "entry " + std::to_string(index), member_name::kValues, example,
                    &found);
    report->findings.push_back(found);
}

void report_no_array(const located_json& text, const cJSON* values, int index,
                     const std::string& device, file_report* report) {
    report->findings.push_back(
        {severity::error, "parameters_missing", text.place(values), index,
         quoted(member_name::kValues) + " is " + value_text(values) + " instead of an array",
         device,
         "write it in square brackets" +
             (cJSON_IsNumber(values) ? ": [" + number_text(values->valuedouble) + "]" : "")});
}

void check_is_array(const located_json& text, const cJSON* value, const char* name, int entry,
                    file_report* report) {
    if (cJSON_IsObject(value)) {
        report->findings.push_back({severity::warning, "object_for_array", text.place(value), entry,
                                    quoted(name) + " is an object instead of an array",
                                    "takes the members' values in their order",
                                    "write them in square brackets, without names"});
    }
}

void check_whole_count(const located_json& text, const cJSON* number, const char* name, int entry,
                       file_report* report) {
    if (number->valuedouble != std::trunc(number->valuedouble)) {
        const std::string whole = number_text(std::trunc(number->valuedouble));
        report->findings.push_back(
            {severity::warning, "fraction", text.place(number), entry,
             quoted(name) + " is " + number_text(number->valuedouble) + ", not a whole number",
             "takes it for " + whole, "write " + whole});
    }
}

zel_json_document alone(const cJSON* element, const char* body_name) {
    zel_json_document document(cJSON_CreateObject(), cJSON_Delete);
    cJSON* body = cJSON_AddArrayToObject(document.get(), body_name);
    // Only refers to it; nothing is written to it.
    cJSON_AddItemReferenceToArray(body, const_cast<cJSON*>(element));
    return document;
}

void for_each_entry(const cJSON* body, file_report* report,
                    const std::function<void(const cJSON*, int)>& check) {
    int index = 0;
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, body) {
        if (report->findings.size() >= kMostFindings) {
            report->complete = false;
            return;
        }
        check(element, index++);
    }
}

unsigned int count_of(const cJSON* number) {
    const double whole = cJSON_IsNumber(number) ? std::trunc(number->valuedouble) : 0;
    return whole >= 0 && whole <= std::numeric_limits<unsigned int>::max()
               ? static_cast<unsigned int>(whole)
               : 0;
}

const cJSON* entry_at(const cJSON* body, int index) {
    return index < 0 ? nullptr : cJSON_GetArrayItem(body, index);
}

void entry_check::begin(const cJSON* checked, int checked_index) {
    element = checked;
    index = checked_index;
    entry = {};
    entry.place = text.place(element);
    check_duplicate_members(text, element, index, report);
}

void entry_check::add(severity level, const char* kind, text_place place, std::string what,
                      std::string device, std::string mend) {
    report->findings.push_back(
        {level, kind, place, index, std::move(what), std::move(device), std::move(mend)});
}

bool entry_check::explain_behind_malformed(int first) {
    if (report->entries[static_cast<std::size_t>(first)].well_formed) {
        return false;
    }
    const std::string name = name_of(first);
    add(severity::warning, "behind_malformed", entry.place,
        "this entry can never be chosen: " + name + " before it is malformed",
        "gives up at " + name, "mend that entry");
    return true;
}

std::string entry_check::name_of(int other) const {
    return "entry " + std::to_string(other) + " (line " +
           std::to_string(report->entries[static_cast<std::size_t>(other)].place.line) + ")";
}
