// One stream's decision about a mixing file.

#include <algorithm>

#include "check_entries.h"
#include "check_mixing.h"
#include "wording.h"
#include "zel_channel_mixing.h"

namespace {

/// The layouts that the file has for these channel counts, in quotes.
std::string layouts_for(const stream_request& stream, const file_report& report) {
    std::string all;
    for (const entry_report& entry : report.entries) {
        if (entry.well_formed && entry.serves.channels == stream.channels &&
            entry.serves.outputs == stream.outputs) {
            all += (all.empty() ? "" : ", ") + quoted(entry.serves.layout);
        }
    }
    return all;
}

}  // namespace

std::string mixing_stream_text(const stream_request& stream) {
    return counted(stream.channels, "channel") + " (" + quoted(stream.layout) + ") to " +
           std::to_string(stream.outputs);
}

decision decide_mixing(const std::string& path, const located_json& text,
                       const stream_request& stream) {
    const taken_weights taken = take_weights(path, stream.layout, stream.channels, stream.outputs);
    decision decided = begin_decision(stream, taken);
    if (taken.status != 0) {
        return decided;
    }
    decided.weights = taken.weights;
    decided.result = taken.used       ? outcome::entry
                     : taken.silent() ? outcome::silence
                                      : outcome::identity;
    zel_channel_mixing stage;
    if (text.root() != nullptr) {
        cJSON* params = nullptr;
        stage.search_coefficient(text.root(), stream.channels, stream.layout, stream.outputs,
                                 &params, &decided.entry);
        const cJSON* body = cJSON_GetObjectItem(text.root(), top_names_of(file_kind::mixing).body);
        decided.place = text.place(entry_at(body, decided.entry));
    }
    return decided;
}

void explain_mixing(const located_json& text, const cJSON* body, const decision& decided,
                    file_report* report) {
    const stream_request& stream = decided.request;
    if (decided.entry < 0) {
        const std::string others = layouts_for(stream, *report);
        report->add(kinds::kNoEntry, text.place(body), -1,
                    {mixing_stream_text(stream), identity_text(stream.channels, stream.outputs),
                     others.empty() ? "" : "; for these channel counts there is " + others});
        return;
    }
    const auto index = static_cast<std::size_t>(decided.entry);
    if (decided.result == outcome::entry && index < report->entries.size() &&
        report->entries[index].serves.layout != stream.layout) {
        const cJSON* element = entry_at(body, decided.entry);
        const std::string& layout = report->entries[index].serves.layout;
        report->add(kinds::kPrefixMatch,
                    text.place(cJSON_GetObjectItem(element, member_name::kLayout)), decided.entry,
                    {quoted(layout), quoted(stream.layout),
                     layout[stream.layout.size()] == '.'
                         ? "put an entry for " + quoted(stream.layout) + " before this one"
                         : "write " + quoted(stream.layout) + " if that is meant"});
    }
}
