#include "coefficient_check.h"

#include <android/log.h>
#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <set>

#include "channel_layout.h"
#include "stage_coefficients.h"
#include "zel_channel_delay.h"
#include "zel_channel_mixing.h"

namespace {

using type = json_node::type;

constexpr const char* kChannels = "InputChannel";
constexpr const char* kLayout = "InputChannelLayout";
constexpr const char* kOutputs = "OutputChannel";
constexpr const char* kValues = "Parameters";
constexpr unsigned int kMostOutputs = 8;  // of a client of the virtual card
/// Looking for what hides an entry takes a search for each: of more than these, only the one that
/// decides for the stream is checked, besides.
constexpr std::size_t kMostEntries = 1000;

/// What each entry of a file must have; the device's search ends at one that has not.
struct required_member {
    const char* name;
    type kind;
    const char* finding;
    const char* example;
};
struct file_rules {
    const char* enable;
    const char* body;
    std::vector<required_member> members;
};

const file_rules& rules_of(file_kind kind) {
    static const required_member channels{kChannels, type::number, "bad_input_channel",
                                          "the card's channel count, such as 6"};
    static const file_rules mixing{
        "MixingCoefficientEnable",
        "MixingWeighting",
        {channels,
         {kLayout, type::string, "bad_input_channel_layout",
          "the card's layout in quotes, such as \"5.1\""},
         {kOutputs, type::number, "bad_output_channel", "the client's channel count, such as 2"}}};
    static const file_rules delay{"DelayCoefficientEnable", "ChannelDelayMilliseconds", {channels}};
    return kind == file_kind::delay ? delay : mixing;
}

std::string fallback_of(file_kind kind) {
    return kind == file_kind::delay ? "delays no channel (bypass)"
                                    : "mixes by the identity matrix instead";
}

/// By the first of the members' names in the text, so that a broken file has a kind, too; else by
/// the file's name.
file_kind guess_kind(const std::string& path, std::string_view text) {
    const std::string name = std::filesystem::path(path).filename().string();
    std::size_t first = std::string::npos;
    file_kind found = strcasestr(name.c_str(), "mixing") != nullptr  ? file_kind::mixing
                      : strcasestr(name.c_str(), "delay") != nullptr ? file_kind::delay
                                                                     : file_kind::unknown;
    for (const file_kind kind : {file_kind::mixing, file_kind::delay}) {
        for (const char* member : {rules_of(kind).enable, rules_of(kind).body}) {
            const std::string content(text);
            const std::string wanted = std::string("\"") + member + "\"";
            const char* const at = strcasestr(content.c_str(), wanted.c_str());
            if (at != nullptr && static_cast<std::size_t>(at - content.c_str()) < first) {
                first = static_cast<std::size_t>(at - content.c_str());
                found = kind;
            }
        }
    }
    return found;
}

/// "an array", "the string "x"", and other scalars as they are written.
std::string value_text(const json_node& node) {
    return node.kind == type::array    ? "an array"
           : node.kind == type::object ? "an object"
           : node.kind == type::string ? "the string " + in_quotes(node.text)
                                       : printable(node.text);
}

double value_of(const json_node& number) {
    return std::strtod(number.text.c_str(), nullptr);
}
bool has_fraction(const json_node& number) {
    return value_of(number) != std::trunc(value_of(number));
}
/// The integer part of a count that a stream can have, or 0.
unsigned int count_of(const json_node& number) {
    const double whole = std::trunc(value_of(number));
    return whole >= 0 && whole <= std::numeric_limits<unsigned int>::max()
               ? static_cast<unsigned int>(whole)
               : 0;
}
std::string whole_text(double value) {
    char text[40];
    std::snprintf(text, sizeof(text), "%.0f", std::trunc(value) + 0.0);
    return printable(text);
}
std::string channel_text(const char* side, std::size_t channel,
                         const std::vector<std::string>& names) {
    return side + std::to_string(channel) +
           (channel < names.size() ? " (" + names[channel] + ")" : "");
}
/// The names of an object's members, for someone who looks for a slip.
std::string members_text(const json_node& object) {
    std::string all;
    for (std::size_t k = 0; k < object.children.size() && k < 6; ++k) {
        all += (all.empty() ? "" : ", ") + in_quotes(object.children[k].name);
    }
    return all.empty() ? "" : "; there are " + all;
}

class file_check {
  public:
    file_check(const std::string& path, const check_request& wanted) : request(wanted), text(path) {
        report.path = path;
        report.readable = text.status() == zel_text_status::ok;
        report.kind =
            request.kind != file_kind::unknown ? request.kind : guess_kind(path, text.text());
    }
    file_report run();

  private:
    void add(severity level, const char* kind, std::size_t at, const std::string& what,
             const std::string& device, const std::string& mend) {
        report.findings.push_back({level, kind, report.readable ? text.place(at) : text_place{},
                                   index, what, device, mend, ""});
    }
    void add_error(const char* kind, std::size_t at, const std::string& what,
                   const std::string& mend) {
        add(severity::error, kind, at, what, fallback(), mend);
    }
    std::string fallback() const { return fallback_of(report.kind); }
    bool mixing() const { return report.kind == file_kind::mixing; }

    void check_reading();
    void check_syntax();
    void check_document();
    void check_duplicate_members(const json_node& object);
    void check_entry(const json_node& node);
    bool is_well_formed(const json_node& node);
    bool is_requestable(const json_node& node);
    int search(const stream_request& stream, cJSON** params);
    void explain_hidden(int first, std::size_t at);
    void check_values(const json_node& node, const cJSON* params, int status);
    void check_weights(const json_node& values, const cJSON* params);
    void check_delays(const json_node& values, const cJSON* params);
    void decide();
    void explain_decision();
    void keep_the_streams_findings();

    const check_request& request;
    thread_library_log log;  // holds back what the entries' checks make the device say
    coefficient_text text;
    file_report report;
    const json_node* body = nullptr;
    int index = -1;  ///< of the entry that is looked at
    zel_channel_mixing mixing_stage;
    zel_channel_delay delay_stage;
};

file_report file_check::run() {
    if (request.stream && report.kind != file_kind::unknown) {
        decide();
    }
    if (!report.readable) {
        check_reading();
    } else if (report.kind == file_kind::unknown) {
        add_error("unknown_kind", 0,
                  "neither a mixing nor a delay file, by its members and its name",
                  "name the kind with --as mixing or --as delay");
    } else if (!text.is_json()) {
        check_syntax();
    } else {
        check_document();
    }
    if (report.decided) {
        explain_decision();
        keep_the_streams_findings();
    }
    std::stable_sort(report.findings.begin(), report.findings.end(),
                     [](const finding& a, const finding& b) {
                         return std::pair(a.place.line, a.place.column) <
                                std::pair(b.place.line, b.place.column);
                     });
    return std::move(report);
}

void file_check::check_reading() {
    const bool too_large = text.status() == zel_text_status::too_large;
    add(severity::error, too_large ? "too_large" : "not_readable", 0,
        too_large ? "larger than " + std::to_string(kZelMaxTextFileBytes) + " bytes"
                  : "cannot be read as a file",
        mixing() && !too_large ? "mixes to silence when the stream opens" : fallback(),
        too_large ? "remove entries that no stream needs"
                  : "check path, permissions and that it is a regular file");
}

/// The device's own parser takes some texts that are no JSON.
void file_check::check_syntax() {
    const syntax_fault& fault = text.fault();
    const bool taken = text.device_root() != nullptr;
    add(taken ? severity::warning : severity::error, "syntax", fault.at, fault.what,
        taken ? "reads it all the same; other programs do not" : fallback(), fault.mend);
    report.findings.back().excerpt = text.excerpt(fault.at);
}

void file_check::check_document() {
    const json_node& root = text.root();
    if (text.rest() < text.text().size()) {
        add(severity::warning, "trailing_text", text.rest(), "text behind the end of the document",
            "ignores it", "remove it");
    }
    if (root.kind != type::object) {
        add_error("not_an_object", root.at,
                  "the file holds " + value_text(root) + " instead of an object",
                  "write one object in braces, with nothing around it");
        return;
    }
    check_duplicate_members(root);
    const file_rules& rules = rules_of(report.kind);
    const json_node* enable = root.find(rules.enable);
    if (enable == nullptr) {
        add_error("enable_missing", root.at,
                  "the file has no " + in_quotes(rules.enable) + members_text(root),
                  "add " + in_quotes(rules.enable) + ": true");
    } else if (enable->text != "true" || enable->kind != type::boolean) {
        add_error("disabled", enable->at, in_quotes(rules.enable) + " is " + value_text(*enable),
                  "write true, without quotes, to use the file");
    }
    body = root.find(rules.body);
    if (body == nullptr) {
        add_error("body_missing", root.at,
                  "the file has no " + in_quotes(rules.body) + members_text(root),
                  "add " + in_quotes(rules.body) + " with an array of entries");
        return;
    }
    if (body->children.empty()) {
        add_error("body_empty", body->at,
                  in_quotes(rules.body) +
                      (body->kind == type::array
                           ? " has no entries"
                           : " is " + value_text(*body) + " instead of an array of entries"),
                  "add an entry for each stream");
        return;
    }
    if (body->children.size() > kMostEntries) {
        add(severity::warning, "too_many_entries", body->at,
            std::to_string(body->children.size()) + " entries, of which " +
                std::to_string(kMostEntries) + " are checked, and the stream's own",
            "goes through them for each stream", "remove entries that no stream needs");
    }
    for (const json_node& node : body->children) {
        index = static_cast<int>(report.entries.size());
        report.entries.emplace_back().place = text.place(node.at);
        const bool decides = report.decided && report.decided->entry == index;
        if (report.entries.size() <= kMostEntries || decides) {
            check_entry(node);
        }
    }
    index = -1;
}

void file_check::check_duplicate_members(const json_node& object) {
    std::set<std::string> names;
    for (const json_node& member : object.children) {
        std::string name = member.name;
        std::transform(name.begin(), name.end(), name.begin(),
                       [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
        if (object.kind == type::object && !names.insert(name).second) {
            add(severity::warning, "duplicate_member", member.name_at,
                "a second member " + in_quotes(member.name),
                "takes the first one; letter case does not count", "remove one of them");
            return;
        }
    }
}

void file_check::check_entry(const json_node& node) {
    check_duplicate_members(node);
    entry_report& entry = report.entries.back();
    const json_node* values = node.find(kValues);
    entry.values = values != nullptr ? values->children.size() : 0;
    entry.well_formed = is_well_formed(node);
    if (!entry.well_formed) {
        return;
    }
    entry.serves.channels = count_of(*node.find(kChannels));
    if (mixing()) {
        entry.serves.layout = node.find(kLayout)->text;
        entry.serves.outputs = count_of(*node.find(kOutputs));
    }
    if (!is_requestable(node)) {
        return;
    }
    cJSON* params = nullptr;
    const int status = search(entry.serves, &params);
    const int first = mixing() ? mixing_stage.entry() : delay_stage.entry();
    entry.reachable = first == index;
    if (entry.reachable) {
        check_values(node, params, status);
    } else if (first >= 0) {
        explain_hidden(first, node.at);
    }
}

bool file_check::is_well_formed(const json_node& node) {
    const std::string owner = "entry " + std::to_string(index);
    const std::string ends = "gives up the search here and " + fallback() +
                             ", for every stream that no earlier entry serves";
    for (const required_member& wanted : rules_of(report.kind).members) {
        const json_node* member = node.find(wanted.name);
        if (node.kind != type::object) {
            add(severity::error, wanted.finding, node.at,
                owner + " is " + value_text(node) + " instead of an object", ends,
                "write each entry in braces, and all of them in square brackets: [{...}, {...}]");
        } else if (member == nullptr) {
            add(severity::error, wanted.finding, node.at,
                owner + " has no " + in_quotes(wanted.name) + members_text(node), ends,
                "add " + in_quotes(wanted.name) + " with " + wanted.example);
        } else if (member->kind != wanted.kind) {
            add(severity::error, wanted.finding, member->at,
                in_quotes(wanted.name) + " is " + value_text(*member) + " instead of a " +
                    (wanted.kind == type::number ? "number" : "string"),
                ends, std::string("write ") + wanted.example);
        } else {
            continue;
        }
        return false;
    }
    return true;
}

bool file_check::is_requestable(const json_node& node) {
    const stream_request& serves = report.entries.back().serves;
    const bool card = serves.channels == 0;
    if (card || (mixing() && (serves.outputs == 0 || serves.outputs > kMostOutputs))) {
        const json_node& wrong = *node.find(card ? kChannels : kOutputs);
        add(severity::warning, "never_requested", wrong.at,
            std::string("no ") + (card ? "card" : "client") + " has " + value_text(wrong) +
                " channels",
            "never chooses this entry",
            card ? "write the card's channel count, 1 or more"
                 : "write the client's channel count, 1 to " + std::to_string(kMostOutputs));
        return false;
    }
    for (const char* name : {kChannels, kOutputs}) {
        const json_node* count = node.find(name);
        if (count != nullptr && count->kind == type::number && has_fraction(*count) &&
            (mixing() || name == kChannels)) {
            add(severity::warning, "fraction", count->at,
                in_quotes(name) + " is " + value_text(*count) + ", not a whole number",
                "drops the fraction: " + whole_text(value_of(*count)),
                "write " + whole_text(value_of(*count)));
        }
    }
    return true;
}

/// The device's search for a stream.
int file_check::search(const stream_request& stream, cJSON** params) {
    return mixing() ? mixing_stage.search_coefficient(text.device_root(), stream.channels,
                                                      stream.layout, stream.outputs, params)
                    : delay_stage.search_coefficient(text.device_root(), stream.channels, params);
}

/// Of all streams that match an entry, the one with its very layout matches the fewest others.
void file_check::explain_hidden(int first, std::size_t at) {
    const entry_report& other = report.entries[static_cast<std::size_t>(first)];
    const std::string name =
        "entry " + std::to_string(first) + " (line " + std::to_string(other.place.line) + ")";
    const std::string never = "this entry can never be chosen: ";
    const std::string& layout = report.entries.back().serves.layout;
    if (!other.well_formed) {
        add(severity::warning, "behind_malformed", at, never + name + " before it is malformed",
            "gives up at " + name, "mend that entry");
    } else if (other.serves.layout == layout) {
        add(severity::warning, "duplicate_entry", at, never + name + " serves the same stream",
            "chooses " + name, "remove one of the two");
    } else {
        add(severity::warning, "hidden_by_prefix", at,
            never + "layout " + in_quotes(other.serves.layout) + " of " + name + " begins with " +
                in_quotes(layout),
            "compares no more characters than the card's layout name has, and chooses " + name,
            "move this entry before " + name);
    }
}

void file_check::check_values(const json_node& node, const cJSON* params, int status) {
    entry_report& entry = report.entries.back();
    const stream_request& serves = entry.serves;
    const json_node* values = node.find(kValues);
    const std::string head = values == nullptr ? "no \"Parameters\"" + members_text(node) : "";
    const std::size_t at = values == nullptr ? node.at : values->at;
    if (mixing()) {
        const std::string& layout = serves.layout;
        const unsigned int stands_for = zel_channel_mixing::channel_count(layout);
        if (stands_for > serves.channels) {
            add(severity::error, "layout_too_large", node.find(kLayout)->at,
                "layout " + in_quotes(layout) + " stands for " + counted(stands_for, "channel") +
                    ", but \"InputChannel\" is " + std::to_string(serves.channels),
                identity_text(serves.channels, serves.outputs),
                "make \"InputChannel\" " + std::to_string(stands_for) + ", or correct the layout");
            return;
        }
        if (std::none_of(card_layouts().begin(), card_layouts().end(),
                         [&](const std::string& usual) { return layout.starts_with(usual); }) ||
            layout.find_first_not_of("0123456789.") != std::string::npos) {
            add(severity::note, "unknown_layout", node.find(kLayout)->at,
                "layout " + in_quotes(layout) + " is none of the usual ones",
                "compares it with the card's \"PCM Channel Layout\", letter by letter",
                "compare it with the card's items: zel-fc controls");
        }
        if (status == 0) {
            check_weights(*values, params);
            return;
        }
        const std::size_t row = serves.channels;
        add(severity::error, "weight_count", at,
            !head.empty()
                ? head
                : counted(entry.values, "weight") + " where " + counted(serves.channels, "input") +
                      " x " + counted(serves.outputs, "output") + " take " +
                      std::to_string(row * serves.outputs),
            identity_text(serves.channels, serves.outputs),
            "write one row of " + std::to_string(row) + " for each output" +
                (values != nullptr && !values->children.empty() &&
                         values->children[0].kind == type::array
                     ? ", without brackets of its own"
                     : "") +
                (entry.values > row * serves.outputs ? "; 0,5 is two numbers" : ""));
    } else if (status == 0) {
        check_delays(*values, params);
    } else {
        add_error("delay_count", at,
                  !head.empty() ? head
                                : counted(entry.values, "delay") + " for " +
                                      counted(serves.channels, "channel"),
                  std::string("write one delay in whole milliseconds for each channel") +
                      (entry.values > serves.channels ? "; 2,5 is two numbers" : ""));
    }
}

void file_check::check_weights(const json_node& values, const cJSON* params) {
    entry_report& entry = report.entries.back();
    const stream_request& serves = entry.serves;
    const auto inputs = channel_names(serves.layout);
    const auto outputs = output_names(serves.outputs, inputs);
    std::vector<float> weights(std::size_t{serves.channels} * serves.outputs);
    const cJSON* wrong = zel_channel_mixing::fill_matrix(params, weights.data());
    entry.usable = wrong == nullptr;
    if (wrong != nullptr) {
        std::size_t k = 0;
        for (const cJSON* before = params->child; before != wrong; before = before->next) {
            ++k;
        }
        const json_node& value = values.children[k];
        add(severity::error, "weight_value", value.at,
            "the weight of " + channel_text("input ", k % serves.channels, inputs) + " in " +
                channel_text("output ", k / serves.channels, outputs) + " is " + value_text(value),
            identity_text(serves.channels, serves.outputs),
            value.kind == type::number
                ? "write a gain that a 32-bit float can hold; 1 is unity"
                : "write a number without quotes and brackets; 1 is unity gain, 0 is off");
        return;
    }
    std::size_t loudest = 0;
    bool wraps = false;
    for (std::size_t o = 0; o < serves.outputs; ++o) {
        const float* row = weights.data() + o * serves.channels;
        wraps = wraps || row_can_wrap(row, serves.channels);
        const double gain = row_gain(row, serves.channels);
        loudest = gain > entry.peak ? o : loudest;
        entry.peak = std::max(entry.peak, gain);
    }
    const auto [least, most] = std::minmax_element(weights.begin(), weights.end());
    if (wraps) {
        char sum[40], factor[40];
        std::snprintf(sum, sizeof(sum), "%.6g (+%s)", entry.peak, decibels(entry.peak).c_str());
        std::snprintf(factor, sizeof(factor), "%.3g", 0.999 / entry.peak);
        add(severity::warning, "overflow", values.children[loudest * serves.channels].at,
            "the weights of " + channel_text("output ", loudest, outputs) + " add up to " + sum,
            "lets loud 16-bit samples wrap round, a crackle at full scale, and clips 32-bit ones",
            *least >= 0 && *most >= 20   ? "these look like percent: write 0.7 for 70"
            : *most <= 0 && *least <= -1 ? "these look like decibels: write 0.7079 for -3, 1 for 0"
                                         : "multiply the whole matrix by " + std::string(factor) +
                                               ", which keeps the balance");
    }
}

void file_check::check_delays(const json_node& values, const cJSON* params) {
    entry_report& entry = report.entries.back();
    std::vector<unsigned int> delays(entry.serves.channels);
    const cJSON* wrong = zel_channel_delay::fill_table(params, delays.data());
    entry.usable = wrong == nullptr;
    entry.peak = wrong != nullptr ? 0 : *std::max_element(delays.begin(), delays.end());
    std::size_t channel = 0;
    for (const cJSON* value = params->child; value != wrong; value = value->next, ++channel) {
        const json_node& written = values.children[channel];
        if (has_fraction(written)) {
            const double ms = value_of(written);
            add(severity::warning, "fraction", written.at,
                "the delay of channel " + std::to_string(channel) + " is " + value_text(written) +
                    " ms, not a whole number",
                "drops the fraction: " + whole_text(std::fabs(ms)) + " ms",
                ms > 0 && ms < 1 ? "write milliseconds, if this is in seconds"
                                 : "write whole milliseconds");
        }
    }
    if (wrong != nullptr) {
        const json_node& value = values.children[channel];
        const bool number = value.kind == type::number;
        add_error("delay_value", value.at,
                  "the delay of channel " + std::to_string(channel) + " is " + value_text(value) +
                      (number ? " ms" : ""),
                  !number ? "write milliseconds as a number without quotes"
                  : value_of(value) < 0
                      ? "to bring a channel forward, delay the others"
                      : "write 0 to " + std::to_string(zel_channel_delay::kMaxDelayMs) +
                            " ms; if this is in frames, divide by the rate in kHz");
    }
}

void file_check::decide() {
    const stream_request& stream = *request.stream;
    decision& decided = report.decided.emplace();
    decided.request = stream;
    const auto keep = [&](const taken_coefficients& taken) {
        decided.status = taken.status;
        decided.used = taken.used;
        decided.entry = taken.entry;
        for (const library_message& message : taken.log) {
            if (message.priority >= ANDROID_LOG_INFO) {
                decided.log.push_back(printable(without_origin(message.text), 160));
            }
        }
    };
    if (mixing()) {
        const taken_weights taken =
            take_weights(report.path, stream.layout, stream.channels, stream.outputs);
        keep(taken);
        decided.weights = taken.weights;
        decided.result = taken.status != 0 ? outcome::failure
                         : taken.used      ? outcome::entry
                         : taken.silent()  ? outcome::silence
                                           : outcome::identity;
    } else {
        const taken_delays taken = take_delays(report.path, stream.channels, stream.rate);
        keep(taken);
        decided.delays_ms = taken.ms;
        decided.result =
            taken.status != 0 ? outcome::failure
            : std::any_of(taken.ms.begin(), taken.ms.end(), [](unsigned int ms) { return ms > 0; })
                ? outcome::delays
                : outcome::bypass;
    }
}

void file_check::explain_decision() {
    decision& decided = *report.decided;
    const stream_request& stream = decided.request;
    const auto ours = [&](const finding& found) {
        return found.level == severity::error && (found.entry < 0 || found.entry == decided.entry);
    };
    if (decided.entry >= 0 && static_cast<std::size_t>(decided.entry) < report.entries.size()) {
        const entry_report& entry = report.entries[static_cast<std::size_t>(decided.entry)];
        decided.place = entry.place;
        if (mixing() && decided.used && entry.serves.layout != stream.layout) {
            index = decided.entry;
            const json_node& node = body->children[static_cast<std::size_t>(index)];
            add(severity::warning, "prefix_match", node.find(kLayout)->at,
                "layout " + in_quotes(entry.serves.layout) + " is chosen because it begins with " +
                    in_quotes(stream.layout),
                "compares no more characters than the card's layout name has; the first match "
                "counts",
                "put an entry for " + in_quotes(stream.layout) +
                    " before this one, if another is meant");
            index = -1;
        }
    }
    if (decided.used || std::any_of(report.findings.begin(), report.findings.end(), ours)) {
        return;
    }
    if (body == nullptr ||
        decided.entry >= 0) {  // a text that is no JSON and that the device reads
        add_error("not_used", text.fault().at,
                  decided.log.empty() ? "the device does not use the file" : decided.log.front(),
                  "write the file as JSON first, then check it again");
        return;
    }
    std::string others;
    for (const entry_report& entry : report.entries) {
        if (mixing() && entry.well_formed && entry.serves.channels == stream.channels &&
            entry.serves.outputs == stream.outputs && others.size() < 200) {
            others += (others.empty() ? "; for these channel counts there is " : ", ") +
                      in_quotes(entry.serves.layout);
        }
    }
    add(severity::error, "no_entry", body->at,
        "no entry for " +
            (mixing() ? mixing_stream_text(stream) : counted(stream.channels, "channel")),
        mixing() ? identity_text(stream.channels, stream.outputs) : fallback(),
        "add an entry for this stream" + others);
}

void file_check::keep_the_streams_findings() {
    if (request.all) {
        return;
    }
    int last = -1;
    for (const finding& found : report.findings) {
        if (found.entry >= 0 && found.entry != report.decided->entry && found.entry != last &&
            found.level != severity::note) {
            last = found.entry;
            ++report.other_bad_entries;
        }
    }
    std::erase_if(report.findings, [&](const finding& found) {
        return found.entry >= 0 && found.entry != report.decided->entry;
    });
}

}  // namespace

double row_gain(const float* weights, std::size_t inputs) {
    double sum = 0;
    for (std::size_t i = 0; i < inputs; ++i) {
        sum += std::fabs(static_cast<double>(weights[i]));
    }
    return sum;
}

/// A sample goes from -32768 to 32767, and the mix drops fractions.
bool row_can_wrap(const float* weights, std::size_t inputs) {
    double highest = 0;
    double lowest = 0;
    for (std::size_t i = 0; i < inputs; ++i) {
        const double weight = weights[i];
        highest += weight * (weight > 0 ? 32767 : -32768);
        lowest += weight * (weight > 0 ? -32768 : 32767);
    }
    return highest >= 32768 || lowest <= -32769;
}

file_report check_file(const std::string& path, const check_request& request) {
    return file_check(path, request).run();
}
