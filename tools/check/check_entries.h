#pragma once

#include <functional>
#include <string>

#include "check_report.h"
#include "stage_coefficients.h"

// What the checks of mixing and delay files have in common.

namespace member_name {
inline constexpr const char* kChannels = "InputChannel";
inline constexpr const char* kLayout = "InputChannelLayout";
inline constexpr const char* kOutputs = "OutputChannel";
inline constexpr const char* kValues = "Parameters";
}  // namespace member_name

/// The members of a file's top level.
struct top_names {
    const char* enable;
    const char* body;
};
top_names top_names_of(file_kind kind);

/// What a stage does without a usable entry, such as "mixes by the identity matrix".
std::string fallback_text(file_kind kind);
/// What a stage took for that stream, with its messages but for debug messages, function and line,
/// cut to what can be printed.
decision begin_decision(const stream_request& stream, const taken_coefficients& taken);
/// What the identity matrix does to these channels.
std::string identity_text(unsigned int inputs, unsigned int outputs);

/// Members of the same name: the device takes the first.
void check_duplicate_members(const located_json& text, const cJSON* object, int entry,
                             file_report* report);
/// Where and how an object lacks a member, and what to do.
struct missing_member {
    text_place place;
    std::string what, mend;
};
/// That `owner` lacks a member, and which one may be misspelt.
missing_member explain_missing(const located_json& text, const cJSON* object,
                               const std::string& owner, const char* name,
                               const std::string& example);
/// A member that is missing or of the wrong type fails the whole search.
void report_unusable_member(const located_json& text, const cJSON* element, int index,
                            const finding_kind& kind, const char* name, const char* wanted_type,
                            const std::string& example, file_report* report);
/// "Parameters" that are missing, of which `example` would be good ones, or no array. False when
/// they are there.
bool report_no_values(const located_json& text, const cJSON* element, int index,
                      const std::string& device, const std::string& example, file_report* report);
/// Members of an object that the device takes for the elements of an array.
void check_is_array(const located_json& text, const cJSON* value, const char* name, int entry,
                    file_report* report);
/// Warns of a channel count with a fraction, which the device drops.
void check_whole_count(const located_json& text, const cJSON* number, const char* name, int entry,
                       file_report* report);
/// A document with nothing but `element` as its body, which still belongs to the other document.
zel_json_document alone(const cJSON* element, const char* body_name);
/// Calls `check` for each entry until there are too many findings.
void for_each_entry(const cJSON* body, file_report* report,
                    const std::function<void(const cJSON*, int)>& check);
/// The integer part of a count that a stream can have, or 0.
unsigned int count_of(const cJSON* number);
/// The entry `index` of the body, or null.
const cJSON* entry_at(const cJSON* body, int index);

/// One entry after the other of a file: what a check of mixing entries and one of delay entries
/// have in common. Not to be destroyed through this class.
class entry_check {
  protected:
    entry_check(const located_json& file, file_report* result) : text(file), report(result) {}
    ~entry_check() = default;

    /// Turns to an entry.
    void begin(const cJSON* checked, int checked_index);
    /// Tells what is wrong with it.
    void add(const finding_kind& kind, text_place place,
             const std::vector<std::string>& words = {}) {
        report->add(kind, place, index, words);
    }
    /// Tells that the entry `first`, which comes before this one, decides the search for its stream
    /// by being malformed. False when it is well-formed.
    bool explain_behind_malformed(int first);
    /// How findings call another entry.
    std::string name_of(int other) const;
    const cJSON* member(const char* name) const { return cJSON_GetObjectItem(element, name); }

    const located_json& text;
    file_report* report;
    const cJSON* element = nullptr;
    int index = -1;
    entry_report entry;
};
