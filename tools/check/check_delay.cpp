#include "check_delay.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "check_entries.h"
#include "wording.h"
#include "zel_channel_delay.h"

namespace {

const char* const kBody = top_names_of(file_kind::delay).body;

class delay_entry_check : public entry_check {
  public:
    delay_entry_check(const located_json& file, file_report* result) : entry_check(file, result) {}

    void check(const cJSON* checked, int checked_index);

  private:
    bool is_well_formed();
    bool is_requestable();
    void check_reachable();
    void check_values();
    void check_delays(const cJSON* params);

    zel_channel_delay stage;
    std::map<unsigned int, int> decisive;
};

void delay_entry_check::check(const cJSON* checked, int checked_index) {
    begin(checked, checked_index);
    entry.values = cJSON_GetArraySize(member(member_name::kValues));
    entry.well_formed = is_well_formed();
    if (entry.well_formed) {
        entry.serves.channels = count_of(member(member_name::kChannels));
        if (is_requestable()) {
            check_reachable();
            check_values();
        }
    }
    report->entries.push_back(entry);
}

/// False when the device's search fails at this entry, whatever is searched for.
bool delay_entry_check::is_well_formed() {
    const zel_json_document only = alone(element, kBody);
    cJSON* params = nullptr;
    int reached = -1;
    // Another channel count than the entry's: it decides this search only by being malformed.
    stage.search_coefficient(only.get(), count_of(member(member_name::kChannels)) + 1, &params,
                             &reached);
    if (reached < 0) {
        return true;
    }
    report_unusable_member(text, element, index, kinds::kBadInputChannel, member_name::kChannels,
                           "a number", "the card's channel count, such as 6", report);
    return false;
}

bool delay_entry_check::is_requestable() {
    const cJSON* channels = member(member_name::kChannels);
    if (entry.serves.channels == 0) {
        add(kinds::kNeverRequested, text.place(channels),
            {"card", number_text(std::trunc(channels->valuedouble)), "1 or more"});
        return false;
    }
    check_whole_count(text, channels, member_name::kChannels, index, report);
    return true;
}

void delay_entry_check::check_reachable() {
    const auto [found, added] = decisive.try_emplace(entry.serves.channels, -1);
    if (added) {
        cJSON* params = nullptr;
        stage.search_coefficient(text.root(), entry.serves.channels, &params, &found->second);
    }
    entry.reachable = found->second == index;
    if (entry.reachable) {
        return;
    }
    if (!explain_behind_malformed(found->second)) {
        add(kinds::kDuplicateEntry, entry.place, {name_of(found->second)});
    }
}

/// What remains to go wrong once the entry is chosen.
void delay_entry_check::check_values() {
    const cJSON* values = member(member_name::kValues);
    const zel_json_document only = alone(element, kBody);
    cJSON* params = nullptr;
    const unsigned int channels = entry.serves.channels;
    const int status = stage.search_coefficient(only.get(), channels, &params);
    const std::string instead = fallback_text(file_kind::delay);
    if (status == 0) {
        check_is_array(text, params, member_name::kValues, index, report);
        check_delays(params);
    } else if (!report_no_values(text, element, index, instead,
                                 "an array of " + counted(channels, "delay"), report)) {
        add(kinds::kDelayCount, text.place(values),
            {counted(entry.values, "delay"), counted(channels, "channel"), instead,
             static_cast<unsigned int>(entry.values) > channels ? "; 2,5 is two numbers" : ""});
    }
}

void delay_entry_check::check_delays(const cJSON* params) {
    std::vector<unsigned int> delays(entry.serves.channels);
    const cJSON* wrong = zel_channel_delay::fill_table(params, delays.data());
    entry.usable = wrong == nullptr;
    int channel = 0;
    for (const cJSON* value = params->child; value != wrong; value = value->next, ++channel) {
        if (value->valuedouble != std::trunc(value->valuedouble)) {
            const std::string whole = number_text(std::abs(std::trunc(value->valuedouble)));
            add(kinds::kFraction, text.place(value),
                {"the delay of channel " + std::to_string(channel),
                 number_text(value->valuedouble) + " ms", whole + " ms",
                 value->valuedouble > 0 && value->valuedouble < 1
                     ? "milliseconds: " + number_text(value->valuedouble * 1000) +
                           " if this is in seconds"
                     : "whole milliseconds"});
        }
    }
    if (wrong != nullptr) {
        const bool number = cJSON_IsNumber(wrong);
        add(kinds::kDelayValue, text.place(wrong),
            {std::to_string(channel), value_text(wrong) + (number ? " ms" : ""),
             fallback_text(file_kind::delay),
             number ? "write 0 to " + std::to_string(zel_channel_delay::kMaxDelayMs) +
                          (wrong->valuedouble < 0
                               ? " ms; to bring a channel forward, delay the others"
                               : " ms; if these are frames, divide them by the rate in kHz")
                    : "write milliseconds as a number without quotes"});
        return;
    }
    const auto longest = std::max_element(delays.begin(), delays.end());
    entry.peak = *longest;
    constexpr double kUsualMs = 250;
    if (entry.peak > kUsualMs) {
        add(kinds::kLongDelay,
            text.place(cJSON_GetArrayItem(params, static_cast<int>(longest - delays.begin()))),
            {number_text(entry.peak),
             number_text(std::round(entry.peak * kSoundMetresPerSecond / 1000))});
    }
}

}  // namespace

void check_delay_entries(const located_json& text, const cJSON* body, file_report* report) {
    delay_entry_check checker(text, report);
    for_each_entry(body, report,
                   [&checker](const cJSON* element, int index) { checker.check(element, index); });
}

decision decide_delay(const std::string& path, const located_json& text,
                      const stream_request& stream) {
    const taken_delays taken = take_delays(path, stream.channels, stream.rate);
    decision decided = begin_decision(stream, taken);
    if (taken.status != 0) {
        return decided;
    }
    decided.delays_ms = taken.ms;
    const bool any = std::any_of(decided.delays_ms.begin(), decided.delays_ms.end(),
                                 [](unsigned int ms) { return ms > 0; });
    decided.result = any ? outcome::delays : outcome::bypass;
    if (text.root() != nullptr) {
        cJSON* params = nullptr;
        zel_channel_delay stage;
        stage.search_coefficient(text.root(), stream.channels, &params, &decided.entry);
        decided.place =
            text.place(entry_at(cJSON_GetObjectItem(text.root(), kBody), decided.entry));
    }
    return decided;
}

void explain_delay(const located_json& text, const cJSON* body, const decision& decided,
                   file_report* report) {
    if (decided.entry < 0) {
        report->add(
            kinds::kNoEntry, text.place(body), -1,
            {counted(decided.request.channels, "channel"), fallback_text(file_kind::delay), ""});
    }
}
