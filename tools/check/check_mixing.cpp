#include "check_mixing.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "channel_layout.h"
#include "check_entries.h"
#include "mixing_weights.h"
#include "wording.h"
#include "zel_channel_mixing.h"

namespace {

constexpr unsigned int kMostOutputs = 8;  // of a client of the virtual card
const char* const kBody = top_names_of(file_kind::mixing).body;

std::string channel_text(const char* side, std::size_t channel,
                         const std::vector<std::string>& names) {
    return side + std::to_string(channel) +
           (channel < names.size() ? " (" + names[channel] + ")" : "");
}

/// True for numbers without a fraction, as 0,5 makes them of 0.5.
bool all_whole(const cJSON* values) {
    const cJSON* value = nullptr;
    cJSON_ArrayForEach(value, values) {
        if (!cJSON_IsNumber(value) || value->valuedouble != std::trunc(value->valuedouble)) {
            return false;
        }
    }
    return true;
}

/// A hint when the numbers are probably gains of another unit than 1 for unity; or empty.
std::string unit_advice(const std::vector<float>& weights) {
    const auto [least, most] = std::minmax_element(weights.begin(), weights.end());
    if (*least >= 0 && *most >= 20) {
        return "these look like percent: write 0.7 for 70";
    }
    if (*most <= 0 && *least <= -1) {
        return "these look like decibels: write 0.7079 for -3, 1 for 0";
    }
    return "";
}

constexpr const char* kFlatRows =
    "write the rows one after the other, without brackets of their own";

std::string weight_count_advice(const cJSON* values, const stream_request& serves) {
    const auto have = static_cast<std::uint64_t>(cJSON_GetArraySize(values));
    if (cJSON_IsArray(values->child)) {
        return kFlatRows;
    }
    const std::string row = "one row of " + std::to_string(serves.channels) + " for each output";
    if (have > std::uint64_t{serves.channels} * serves.outputs && all_whole(values)) {
        return "write " + row + ", with decimal points: 0,5 is two numbers";
    }
    const std::uint64_t outputs = have / serves.channels;
    if (have % serves.channels == 0 && outputs >= 1 && outputs <= kMostOutputs) {
        return "write " + row + ", or make \"OutputChannel\" " + std::to_string(outputs);
    }
    return "write " + row;
}

class mixing_entry_check : public entry_check {
  public:
    mixing_entry_check(const located_json& file, file_report* result) : entry_check(file, result) {}

    void check(const cJSON* checked, int checked_index);

  private:
    bool is_well_formed();
    bool is_requestable();
    void check_reachable();
    void explain_unreachable(int first);
    void check_values();
    void check_weights(const cJSON* params);
    void check_levels(const cJSON* params, const std::vector<float>& weights);
    int first_entry_for(const stream_request& stream);

    zel_channel_mixing stage;
    std::map<std::tuple<unsigned int, std::string, unsigned int>, int> decisive;
};

void mixing_entry_check::check(const cJSON* checked, int checked_index) {
    begin(checked, checked_index);
    entry.values = cJSON_GetArraySize(member(member_name::kValues));
    entry.well_formed = is_well_formed();
    if (entry.well_formed) {
        entry.serves.channels = count_of(member(member_name::kChannels));
        entry.serves.layout = member(member_name::kLayout)->valuestring;
        entry.serves.outputs = count_of(member(member_name::kOutputs));
        if (is_requestable()) {
            check_reachable();
            check_values();
        }
    }
    report->entries.push_back(entry);
}

/// False when the device's search fails at this entry, whatever is searched for.
bool mixing_entry_check::is_well_formed() {
    const cJSON* channels = member(member_name::kChannels);
    const zel_json_document only = alone(element, kBody);
    cJSON* params = nullptr;
    int reached = -1;
    // Another channel count than the entry's: it decides this search only by being malformed.
    stage.search_coefficient(only.get(), count_of(channels) + 1, "", 0, &params, &reached);
    if (reached < 0) {
        return true;
    }
    if (!cJSON_IsNumber(channels)) {
        report_unusable_member(text, element, index, kinds::kBadInputChannel,
                               member_name::kChannels, "a number",
                               "the card's channel count, such as 6", report);
    } else if (!cJSON_IsString(member(member_name::kLayout))) {
        report_unusable_member(text, element, index, kinds::kBadInputChannelLayout,
                               member_name::kLayout, "a string",
                               "the card's layout in quotes, such as \"5.1\"", report);
    } else {
        report_unusable_member(text, element, index, kinds::kBadOutputChannel,
                               member_name::kOutputs, "a number",
                               "the client's channel count, such as 2", report);
    }
    return false;
}

bool mixing_entry_check::is_requestable() {
    const cJSON* channels = member(member_name::kChannels);
    const cJSON* outputs = member(member_name::kOutputs);
    const bool card = entry.serves.channels == 0;
    if (card || entry.serves.outputs == 0 || entry.serves.outputs > kMostOutputs) {
        const cJSON* wrong = card ? channels : outputs;
        add(kinds::kNeverRequested, text.place(wrong),
            {card ? "card" : "client", number_text(std::trunc(wrong->valuedouble)),
             card ? "1 or more" : "1 to " + std::to_string(kMostOutputs)});
        return false;
    }
    check_whole_count(text, channels, member_name::kChannels, index, report);
    check_whole_count(text, outputs, member_name::kOutputs, index, report);
    return true;
}

/// The index of the entry that decides the device's search for a stream.
int mixing_entry_check::first_entry_for(const stream_request& stream) {
    const auto [found, added] =
        decisive.try_emplace({stream.channels, stream.layout, stream.outputs}, -1);
    if (added) {
        cJSON* params = nullptr;
        stage.search_coefficient(text.root(), stream.channels, stream.layout, stream.outputs,
                                 &params, &found->second);
    }
    return found->second;
}

/// Of all streams that match this entry, the one with its very layout matches the fewest others.
void mixing_entry_check::check_reachable() {
    const int first = first_entry_for(entry.serves);
    entry.reachable = first == index;
    if (!entry.reachable) {
        explain_unreachable(first);
        return;
    }
    const auto begins_layout = [this](const std::string& name) {
        return entry.serves.layout.starts_with(name);
    };
    const std::size_t digits = entry.serves.layout.find_first_not_of("0123456789.");
    const text_place place = text.place(member(member_name::kLayout));
    if (digits != std::string::npos && digits > 0) {
        add(kinds::kWordyLayout, place,
            {quoted(entry.serves.layout), quoted(entry.serves.layout.substr(0, digits))});
    } else if (std::none_of(card_layouts().begin(), card_layouts().end(), begins_layout)) {
        add(kinds::kUnknownLayout, place, {quoted(entry.serves.layout)});
    }
}

void mixing_entry_check::explain_unreachable(int first) {
    if (explain_behind_malformed(first)) {
        return;
    }
    const entry_report& other = report->entries[static_cast<std::size_t>(first)];
    const std::string name = name_of(first);
    if (other.serves.layout == entry.serves.layout) {
        add(kinds::kDuplicateEntry, entry.place, {name});
    } else {
        add(kinds::kHiddenByPrefix, entry.place,
            {quoted(other.serves.layout), name, quoted(entry.serves.layout)});
    }
}

/// What remains to go wrong once the entry is chosen.
void mixing_entry_check::check_values() {
    const stream_request& serves = entry.serves;
    const cJSON* values = member(member_name::kValues);
    const zel_json_document only = alone(element, kBody);
    cJSON* params = nullptr;
    const int status = stage.search_coefficient(only.get(), serves.channels, serves.layout,
                                                serves.outputs, &params);
    const std::uint64_t wanted = std::uint64_t{serves.channels} * serves.outputs;
    const std::string instead = identity_text(serves.channels, serves.outputs);
    const unsigned int layout_channels = zel_channel_mixing::channel_count(serves.layout);
    if (status == 0) {
        check_is_array(text, params, member_name::kValues, index, report);
        check_weights(params);
    } else if (layout_channels > serves.channels) {
        add(kinds::kLayoutTooLarge, text.place(member(member_name::kLayout)),
            {quoted(serves.layout), counted(layout_channels, "channel"),
             std::to_string(serves.channels), std::to_string(layout_channels), instead});
    } else if (!report_no_values(
                   text, element, index, instead,
                   "an array of " + counted(static_cast<std::int64_t>(wanted), "weight"), report)) {
        add(kinds::kWeightCount, text.place(values),
            {counted(entry.values, "weight"), counted(serves.channels, "input"),
             counted(serves.outputs, "output"), std::to_string(wanted), instead,
             weight_count_advice(values, serves)});
    }
}

void mixing_entry_check::check_weights(const cJSON* params) {
    const stream_request& serves = entry.serves;
    std::vector<float> weights(std::size_t{serves.channels} * serves.outputs);
    const cJSON* wrong = zel_channel_mixing::fill_matrix(params, weights.data());
    if (wrong == nullptr) {
        entry.usable = true;
        check_levels(params, weights);
        return;
    }
    std::size_t k = 0;
    for (const cJSON* before = params->child; before != wrong; before = before->next) {
        ++k;
    }
    const auto names = channel_names(serves.layout);
    add(kinds::kWeightValue, text.place(wrong),
        {channel_text("input ", k % serves.channels, names),
         channel_text("output ", k / serves.channels, output_names(serves.outputs, names)),
         value_text(wrong), identity_text(serves.channels, serves.outputs),
         cJSON_IsArray(wrong)    ? kFlatRows
         : cJSON_IsNumber(wrong) ? "write a gain that a 32-bit float can hold; 1 is unity"
                                 : "write a number without quotes; 1 is unity gain, 0 is off"});
}

void mixing_entry_check::check_levels(const cJSON* params, const std::vector<float>& weights) {
    const stream_request& serves = entry.serves;
    const auto names = output_names(serves.outputs, channel_names(serves.layout));
    const cJSON* begin_of_row = params->child;
    std::size_t loudest = 0;
    text_place place;
    bool wraps = false;
    for (std::size_t output = 0; output < serves.outputs; ++output) {
        const float* row = weights.data() + output * serves.channels;
        const double gain = row_gain(row, serves.channels);
        if (gain == 0) {
            add(kinds::kSilentOutput, text.place(begin_of_row),
                {channel_text("output ", output, names)});
        }
        wraps = wraps || row_can_wrap(row, serves.channels);
        if (output == 0 || gain > entry.peak) {
            entry.peak = gain;
            loudest = output;
            place = text.place(begin_of_row);
        }
        for (unsigned int i = 0; i < serves.channels; ++i) {
            begin_of_row = begin_of_row->next;
        }
    }
    if (wraps) {
        const std::string unit = unit_advice(weights);
        const double factor = std::floor(10000 / entry.peak) / 10000;
        add(kinds::kOverflow, place,
            {channel_text("output ", loudest, names),
             number_text(std::round(entry.peak * 1000) / 1000), decibels(entry.peak),
             !unit.empty() ? unit
             : factor > 0  ? "multiply the whole matrix by " + number_text(factor) +
                                ", which keeps the balance"
                          : "make the weights smaller; 1 is unity gain"});
    }
}

}  // namespace

void check_mixing_entries(const located_json& text, const cJSON* body, file_report* report) {
    mixing_entry_check checker(text, report);
    for_each_entry(body, report,
                   [&checker](const cJSON* element, int index) { checker.check(element, index); });
}
