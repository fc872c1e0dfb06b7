// One stream's decision about a mixing file.

#include <algorithm>

#include "check_entries.h"
#include "check_mixing.h"
#include "wording.h"
#include "zel_channel_mixing.h"

namespace {

pcm_config stream_config(unsigned int channels) {
    pcm_config config{};
    config.channels = channels;
    config.rate = 48000;
    config.format = PCM_FORMAT_S16_LE;
    return config;
}

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
                       const stream_request& stream, device_log* log) {
    decision decided;
    decided.request = stream;
    const pcm_config in = stream_config(stream.channels);
    const pcm_config out = stream_config(stream.outputs);
    log->take();
    zel_channel_mixing stage;
    decided.status = stage.init(path, stream.layout, &in, &out);
    decided.log = log->take();
    if (decided.status != 0) {
        return decided;
    }
    const auto matrix = stage.matrix();
    decided.weights.assign(matrix.begin(), matrix.end());
    // The first load's status stays inside; loading once more tells it.
    decided.used = stage.channel_change(stream.layout) == 0;
    const bool silent = std::all_of(matrix.begin(), matrix.end(), [](float w) { return w == 0; });
    decided.result = decided.used ? outcome::entry : silent ? outcome::silence : outcome::identity;
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
        report->findings.push_back(
            {severity::error, "no_entry", text.place(body), -1,
             "no entry for " + mixing_stream_text(stream),
             identity_text(stream.channels, stream.outputs),
             others.empty()
                 ? "add an entry for this stream"
                 : "add an entry for this stream; for these channel counts there is " + others});
        return;
    }
    const auto index = static_cast<std::size_t>(decided.entry);
    if (decided.result == outcome::entry && index < report->entries.size() &&
        report->entries[index].serves.layout != stream.layout) {
        const cJSON* element = entry_at(body, decided.entry);
        report->findings.push_back(
            {severity::warning, "prefix_match",
             text.place(cJSON_GetObjectItem(element, member_name::kLayout)), decided.entry,
             "layout " + quoted(report->entries[index].serves.layout) +
                 " is chosen because it begins with " + quoted(stream.layout),
             "compares no more characters than the card's layout name has; the first match counts",
             "put an entry for " + quoted(stream.layout) + " before this one"});
    }
}
