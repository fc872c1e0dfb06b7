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

missing_member explain_missing(const located_json& text, const cJSON* object,
                               const std::string& owner, const char* name,
                               const std::string& example) {
    const cJSON* similar = similar_member(object, name);
    if (similar != nullptr) {
        return {text.name_place(similar),
                owner + " has no " + quoted(name) + ", but " + quoted(similar->string),
                "rename it to " + quoted(name)};
    }
    return {text.place(object), owner + " has no " + quoted(name),
            "add " + quoted(name) + " with " + example};
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

decision begin_decision(const stream_request& stream, const taken_coefficients& taken) {
    constexpr std::size_t kLongestMessage = 160;
    decision decided;
    decided.request = stream;
    decided.status = taken.status;
    decided.used = taken.used;
    for (const library_message& message : taken.log) {
        if (message.priority >= ANDROID_LOG_INFO) {
            decided.log.push_back(printable(without_origin(message.text), kLongestMessage));
        }
    }
    return decided;
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
            report->add(kinds::kDuplicateMember, text.name_place(member), entry,
                        {quoted(member->string)});
            return;  // one is enough, and searching for more takes quadratic time
        }
    }
}

void report_unusable_member(const located_json& text, const cJSON* element, int index,
                            const finding_kind& kind, const char* name, const char* wanted_type,
                            const std::string& example, file_report* report) {
    const cJSON* member = cJSON_GetObjectItem(element, name);
    const std::string owner = "entry " + std::to_string(index);
    missing_member wrong;
    if (!cJSON_IsObject(element)) {
        wrong = {text.place(element),
                 owner + " is " + value_text(element) + " instead of an object",
                 "remove it, or put an entry in braces here"};
    } else if (member != nullptr) {
        wrong = {text.place(member),
                 quoted(name) + " is " + value_text(member) + " instead of " + wanted_type,
                 "write " + example};
    } else {
        wrong = explain_missing(text, element, owner, name, example);
    }
    report->add(kind, wrong.place, index, {wrong.what, wrong.mend, fallback_text(report->kind)});
}

bool report_no_values(const located_json& text, const cJSON* element, int index,
                      const std::string& device, const std::string& example, file_report* report) {
    const cJSON* values = cJSON_GetObjectItem(element, member_name::kValues);
    if (values == nullptr) {
        const missing_member missing = explain_missing(
            text, element, "entry " + std::to_string(index), member_name::kValues, example);
        report->add(kinds::kParametersMissing, missing.place, index,
                    {missing.what, missing.mend, device});
        return true;
    }
    const bool array = values->child != nullptr || cJSON_IsArray(values);
    if (!array) {
        report->add(
            kinds::kParametersNoArray, text.place(values), index,
            {value_text(values),
             cJSON_IsNumber(values) ? ": [" + number_text(values->valuedouble) + "]" : "", device});
    }
    return !array;
}

void check_is_array(const located_json& text, const cJSON* value, const char* name, int entry,
                    file_report* report) {
    if (cJSON_IsObject(value)) {
        report->add(kinds::kObjectForArray, text.place(value), entry, {quoted(name)});
    }
}

void check_whole_count(const located_json& text, const cJSON* number, const char* name, int entry,
                       file_report* report) {
    if (number->valuedouble != std::trunc(number->valuedouble)) {
        const std::string whole = number_text(std::trunc(number->valuedouble));
        report->add(kinds::kFraction, text.place(number), entry,
                    {quoted(name), number_text(number->valuedouble), whole, whole});
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

bool entry_check::explain_behind_malformed(int first) {
    if (report->entries[static_cast<std::size_t>(first)].well_formed) {
        return false;
    }
    add(kinds::kBehindMalformed, entry.place, {name_of(first)});
    return true;
}

std::string entry_check::name_of(int other) const {
    return "entry " + std::to_string(other) + " (line " +
           std::to_string(report->entries[static_cast<std::size_t>(other)].place.line) + ")";
}
