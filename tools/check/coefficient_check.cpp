#include "coefficient_check.h"

#include <android/log.h>

#include <algorithm>
#include <cctype>
#include <cmath>
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

std::string lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

/// By the first of the members' names in the text, so that a broken file has a kind, too; else by
/// the file's name.
file_kind guess_kind(const std::string& path, std::string_view text) {
    const std::string content = lower(std::string(text));
    const std::string name = lower(std::filesystem::path(path).filename());
    const auto first = [&](file_kind kind) {
        return std::min(content.find('"' + lower(rules_of(kind).enable) + '"'),
                        content.find('"' + lower(rules_of(kind).body) + '"'));
    };
    const std::size_t mixing = first(file_kind::mixing), delay = first(file_kind::delay);
    return mixing < delay                             ? file_kind::mixing
           : delay < mixing                           ? file_kind::delay
           : name.find("mixing") != std::string::npos ? file_kind::mixing
           : name.find("delay") != std::string::npos  ? file_kind::delay
                                                      : file_kind::unknown;
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
    return printable(fmt::format("{:.0f}", std::trunc(value) + 0.0));
}

/// "owner has no "member"; there are ...", for someone who looks for a slip.
std::string missing_text(const std::string& owner, const char* member, const json_node& object) {
    std::string all;
    for (std::size_t k = 0; k < object.children.size() && k < 6; ++k) {
        all += (all.empty() ? "; there are " : ", ") + in_quotes(object.children[k].name);
    }
    return fmt::format("{} has no {}{}", owner, in_quotes(member), all);
}

class file_check {
  public:
    explicit file_check(const std::string& path) : text(path) {
        report.path = path;
        report.readable = text.status() == zel_text_status::ok;
        report.kind = guess_kind(path, text.text());
    }
    file_report run(const std::optional<stream_request>& stream, bool all);

  private:
    bool mixing() const { return report.kind == file_kind::mixing; }
    entry_report& entry() { return report.entries.back(); }
    /// Without the file, or without the entry that is looked at.
    std::string fallback() const;
    void add(severity level, const char* kind, std::size_t at, const std::string& what,
             const std::string& mend, const std::string& device);
    void add_error(const char* kind, std::size_t at, const std::string& what,
                   const std::string& mend) {
        add(severity::error, kind, at, what, mend, fallback());
    }

    void check_reading();
    void check_syntax();
    void check_document();
    void check_entries();
    void check_duplicate_members(const json_node& object);
    void check_entry(const json_node& node);
    bool is_well_formed(const json_node& node);
    bool is_requestable(const json_node& node);
    void explain_hidden(int first, std::size_t at);
    bool layout_fits(const json_node& layout);
    void check_weights(const json_node& values, const cJSON* params);
    void check_delays(const json_node& values, const cJSON* params);
    void decide(const stream_request& stream);
    void explain_decision();
    void keep_the_streams_findings();

    thread_library_log log;  // holds back what the entries' checks make the device say
    coefficient_text text;
    file_report report;
    const json_node* body = nullptr;
    int index = -1;  ///< of the entry that is looked at
    zel_channel_mixing mixing_stage;
    zel_channel_delay delay_stage;
};

std::string file_check::fallback() const {
    if (!mixing()) {
        return "delays no channel (bypass)";
    }
    const bool of_entry = index >= 0 && report.entries.back().well_formed;
    return of_entry ? identity_text(report.entries.back().serves.channels,
                                    report.entries.back().serves.outputs)
                    : "mixes by the identity matrix instead";
}

void file_check::add(severity level, const char* kind, std::size_t at, const std::string& what,
                     const std::string& mend, const std::string& device) {
    report.findings.push_back({level, kind, report.readable ? text.place(at) : text_place{}, index,
                               what, device, mend, ""});
}

file_report file_check::run(const std::optional<stream_request>& stream, bool all) {
    if (stream && report.kind != file_kind::unknown) {
        decide(*stream);
    }
    if (!report.readable) {
        check_reading();
    } else if (report.kind == file_kind::unknown) {
        add_error("unknown_kind", 0,
                  "neither a mixing nor a delay file, by its members and its name",
                  "give it the members of its kind, or mixing or delay in its name");
    } else if (!text.is_json()) {
        check_syntax();
    } else {
        check_document();
    }
    if (report.decided) {
        explain_decision();
        all ? void() : keep_the_streams_findings();
    }
    std::stable_sort(report.findings.begin(), report.findings.end(),
                     [](const finding& a, const finding& b) {
                         return std::pair(a.place.line, a.place.column) <
                                std::pair(b.place.line, b.place.column);
                     });
    return std::move(report);
}

void file_check::check_reading() {
    if (text.status() == zel_text_status::too_large) {
        add_error("too_large", 0, fmt::format("larger than {} bytes", kZelMaxTextFileBytes),
                  "remove entries that no stream needs");
    } else {
        add(severity::error, "not_readable", 0, "cannot be read as a file",
            "check path, permissions and that it is a regular file",
            mixing() ? "mixes to silence when the stream opens" : fallback());
    }
}

/// The device's own parser takes some texts that are no JSON.
void file_check::check_syntax() {
    const syntax_fault& fault = text.fault();
    const bool taken = text.device_root() != nullptr;
    add(taken ? severity::warning : severity::error, "syntax", fault.at, fault.what, fault.mend,
        taken ? "reads it all the same; other programs do not" : fallback());
    report.findings.back().excerpt = text.excerpt(fault.at);
}

void file_check::check_document() {
    const json_node& root = text.root();
    if (text.rest() < text.text().size()) {
        add(severity::warning, "trailing_text", text.rest(), "text behind the end of the document",
            "remove it", "ignores it");
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
        add_error("enable_missing", root.at, missing_text("the file", rules.enable, root),
                  "add " + in_quotes(rules.enable) + ": true");
    } else if (enable->text != "true" || enable->kind != type::boolean) {
        add_error("disabled", enable->at, in_quotes(rules.enable) + " is " + value_text(*enable),
                  "write true, without quotes, to use the file");
    }
    body = root.find(rules.body);
    if (body == nullptr) {
        add_error("body_missing", root.at, missing_text("the file", rules.body, root),
                  "add " + in_quotes(rules.body) + " with an array of entries");
    } else if (body->children.empty()) {
        add_error("body_empty", body->at,
                  in_quotes(rules.body) +
                      (body->kind == type::array
                           ? " has no entries"
                           : " is " + value_text(*body) + " instead of an array of entries"),
                  "add an entry for each stream");
    } else {
        check_entries();
    }
}

void file_check::check_entries() {
    if (body->children.size() > kMostEntries) {
        add(severity::warning, "too_many_entries", body->at,
            fmt::format("{} entries, of which {} are checked, and the stream's own",
                        body->children.size(), kMostEntries),
            "remove entries that no stream needs", "goes through them for each stream");
    }
    for (const json_node& node : body->children) {
        index = static_cast<int>(report.entries.size());
        report.entries.emplace_back().place = text.place(node.at);
        if (report.entries.size() <= kMostEntries ||
            (report.decided && report.decided->entry == index)) {
            check_entry(node);
        }
    }
    index = -1;
}

void file_check::check_duplicate_members(const json_node& object) {
    std::set<std::string> names;
    for (const json_node& member : object.children) {
        if (object.kind == type::object && !names.insert(lower(member.name)).second) {
            add(severity::warning, "duplicate_member", member.name_at,
                "a second member " + in_quotes(member.name), "remove one of them",
                "takes the first one; letter case does not count");
            return;
        }
    }
}

void file_check::check_entry(const json_node& node) {
    check_duplicate_members(node);
    const json_node* values = node.find(kValues);
    if (!is_well_formed(node)) {
        return;
    }
    entry().well_formed = true;
    stream_request& serves = entry().serves;
    serves.channels = count_of(*node.find(kChannels));
    if (mixing()) {
        serves.layout = node.find(kLayout)->text;
        serves.outputs = count_of(*node.find(kOutputs));
    }
    if (!is_requestable(node)) {
        return;
    }
    // The device's own search for that stream.
    cJSON* params = nullptr;
    const int status =
        mixing() ? mixing_stage.search_coefficient(text.device_root(), serves.channels,
                                                   serves.layout, serves.outputs, &params)
                 : delay_stage.search_coefficient(text.device_root(), serves.channels, &params);
    const int first = mixing() ? mixing_stage.entry() : delay_stage.entry();
    if (first != index) {
        first >= 0 ? explain_hidden(first, node.at) : void();
    } else if (mixing() && !layout_fits(*node.find(kLayout))) {
        return;
    } else if (status == 0) {
        mixing() ? check_weights(*values, params) : check_delays(*values, params);
    } else {
        const std::size_t wanted = std::size_t{serves.channels} * (mixing() ? serves.outputs : 1);
        const std::size_t there = values != nullptr ? values->children.size() : 0;
        const std::string found = counted(there, mixing() ? "weight" : "delay");
        const bool rows = mixing() && values != nullptr && !values->children.empty() &&
                          values->children[0].kind == type::array;
        add_error(
            mixing() ? "weight_count" : "delay_count", values == nullptr ? node.at : values->at,
            values == nullptr ? missing_text("the entry", kValues, node)
            : mixing()
                ? fmt::format("{} where {} x {} take {}", found, counted(serves.channels, "input"),
                              counted(serves.outputs, "output"), wanted)
                : fmt::format("{} for {}", found, counted(serves.channels, "channel")),
            (mixing() ? fmt::format("write one row of {} for each output{}", serves.channels,
                                    rows ? ", without brackets of its own" : "")
                      : "write one delay in whole milliseconds for each channel") +
                (there > wanted ? "; 2,5 is two numbers" : ""));
    }
}

bool file_check::is_well_formed(const json_node& node) {
    const std::string owner = "entry " + std::to_string(index);
    const auto fault = [&](const char* kind, std::size_t at, const std::string& what,
                           const std::string& mend) {
        add(severity::error, kind, at, what, mend,
            "gives up the search here and " + fallback() +
                ", for every stream that no earlier entry serves");
        return false;
    };
    for (const required_member& wanted : rules_of(report.kind).members) {
        const json_node* member = node.find(wanted.name);
        if (node.kind != type::object) {
            return fault(
                wanted.finding, node.at,
                owner + " is " + value_text(node) + " instead of an object",
                "write each entry in braces, and all of them in square brackets: [{...}, {...}]");
        }
        if (member == nullptr) {
            return fault(wanted.finding, node.at, missing_text(owner, wanted.name, node),
                         fmt::format("add \"{}\" with {}", wanted.name, wanted.example));
        }
        if (member->kind != wanted.kind) {
            return fault(
                wanted.finding, member->at,
                fmt::format("\"{}\" is {} instead of a {}", wanted.name, value_text(*member),
                            wanted.kind == type::number ? "number" : "string"),
                std::string("write ") + wanted.example);
        }
    }
    return true;
}

bool file_check::is_requestable(const json_node& node) {
    for (const required_member& wanted : rules_of(report.kind).members) {
        const json_node& count = *node.find(wanted.name);
        const bool card = wanted.name == kChannels;
        const unsigned int most = card ? std::numeric_limits<unsigned int>::max() : kMostOutputs;
        if (wanted.kind != type::number) {
            continue;
        }
        if (count_of(count) == 0 || count_of(count) > most) {
            add(severity::warning, "never_requested", count.at,
                fmt::format("no {} has {} channels", card ? "card" : "client", value_text(count)),
                card ? "write the card's channel count, 1 or more"
                     : fmt::format("write the client's channel count, 1 to {}", most),
                "never chooses this entry");
            return false;
        }
        if (has_fraction(count)) {
            const std::string whole = whole_text(value_of(count));
            add(severity::warning, "fraction", count.at,
                fmt::format("\"{}\" is {}, not a whole number", wanted.name, value_text(count)),
                "write " + whole, "drops the fraction: " + whole);
        }
    }
    return true;
}

/// Of all streams that match an entry, the one with its very layout matches the fewest others.
void file_check::explain_hidden(int first, std::size_t at) {
    const entry_report& other = report.entries[static_cast<std::size_t>(first)];
    const std::string name = fmt::format("entry {} (line {})", first, other.place.line);
    const std::string never = "this entry can never be chosen: ";
    const std::string& layout = entry().serves.layout;
    if (!other.well_formed) {
        add(severity::warning, "behind_malformed", at, never + name + " before it is malformed",
            "mend that entry", "gives up at " + name);
    } else if (other.serves.layout == layout) {
        add(severity::warning, "duplicate_entry", at, never + name + " serves the same stream",
            "remove one of the two", "chooses " + name);
    } else {
        add(severity::warning, "hidden_by_prefix", at,
            fmt::format("{}layout {} of {} begins with {}", never, in_quotes(other.serves.layout),
                        name, in_quotes(layout)),
            "move this entry before " + name,
            "compares no more characters than the card's layout name has, and chooses " + name);
    }
}

bool file_check::layout_fits(const json_node& node) {
    const std::string& layout = entry().serves.layout;
    const unsigned int channels = entry().serves.channels;
    const unsigned int stands_for = zel_channel_mixing::channel_count(layout);
    if (stands_for > channels) {
        add_error("layout_too_large", node.at,
                  fmt::format("layout {} stands for {}, but \"InputChannel\" is {}",
                              in_quotes(layout), counted(stands_for, "channel"), channels),
                  fmt::format("make \"InputChannel\" {}, or correct the layout", stands_for));
        return false;
    }
    const auto begins = [&](const std::string& usual) { return layout.starts_with(usual); };
    if (std::none_of(card_layouts().begin(), card_layouts().end(), begins) ||
        layout.find_first_not_of("0123456789.") != std::string::npos) {
        add(severity::note, "unknown_layout", node.at,
            "layout " + in_quotes(layout) + " is none of the usual ones",
            "compare it with the card's items: zel-fc controls",
            "compares it with the card's \"PCM Channel Layout\", letter by letter");
    }
    return true;
}

void file_check::check_weights(const json_node& values, const cJSON* params) {
    const stream_request& serves = entry().serves;
    const auto inputs = channel_names(serves.layout);
    const auto outputs = output_names(serves.outputs, inputs);
    std::vector<float> weights(std::size_t{serves.channels} * serves.outputs);
    const cJSON* wrong = zel_channel_mixing::fill_matrix(params, weights.data());
    if (wrong != nullptr) {
        std::size_t k = 0;
        for (const cJSON* before = params->child; before != wrong; before = before->next) {
            ++k;
        }
        const json_node& value = values.children[k];
        add_error("weight_value", value.at,
                  fmt::format("the weight of input {} in output {} is {}",
                              channel_text(k % serves.channels, inputs),
                              channel_text(k / serves.channels, outputs), value_text(value)),
                  value.kind == type::number
                      ? "write a gain that a 32-bit float can hold; 1 is unity"
                      : "write a number without quotes and brackets; 1 is unity gain, 0 is off");
        return;
    }
    std::size_t loudest = 0;
    double peak = 0;
    bool wraps = false;
    for (std::size_t o = 0; o < serves.outputs; ++o) {
        const float* row = weights.data() + o * serves.channels;
        wraps = wraps || row_can_wrap(row, serves.channels);
        const double gain = row_gain(row, serves.channels);
        loudest = gain > peak ? o : loudest;
        peak = std::max(peak, gain);
    }
    const auto [least, most] = std::minmax_element(weights.begin(), weights.end());
    if (wraps) {
        add(severity::warning, "overflow", values.children[loudest * serves.channels].at,
            fmt::format("the weights of output {} add up to {:.6g} (+{} dB)",
                        channel_text(loudest, outputs), peak, gain_db(peak)),
            *least >= 0 && *most >= 20   ? "these look like percent: write 0.7 for 70"
            : *most <= 0 && *least <= -1 ? "these look like decibels: write 0.7079 for -3, 1 for 0"
                                         : fmt::format("multiply the whole matrix by {:.3g}, which "
                                                       "keeps the balance",
                                                       0.999 / peak),
            "lets loud 16-bit samples wrap round, a crackle at full scale, and clips 32-bit ones");
    }
}

void file_check::check_delays(const json_node& values, const cJSON* params) {
    std::vector<unsigned int> delays(entry().serves.channels);
    const cJSON* wrong = zel_channel_delay::fill_table(params, delays.data());
    std::size_t channel = 0;
    for (const cJSON* value = params->child; value != wrong; value = value->next, ++channel) {
        const json_node& written = values.children[channel];
        const double ms = value_of(written);
        if (has_fraction(written)) {
            add(severity::warning, "fraction", written.at,
                fmt::format("the delay of channel {} is {} ms, not a whole number", channel,
                            value_text(written)),
                ms > 0 && ms < 1 ? "write milliseconds, if this is in seconds"
                                 : "write whole milliseconds",
                fmt::format("drops the fraction: {} ms", whole_text(std::fabs(ms))));
        }
    }
    if (wrong != nullptr) {
        const json_node& value = values.children[channel];
        const bool number = value.kind == type::number;
        add_error("delay_value", value.at,
                  fmt::format("the delay of channel {} is {}{}", channel, value_text(value),
                              number ? " ms" : ""),
                  !number               ? "write milliseconds as a number without quotes"
                  : value_of(value) < 0 ? "to bring a channel forward, delay the others"
                                        : fmt::format("write 0 to {} ms; if this is in frames, "
                                                      "divide by the rate in kHz",
                                                      zel_channel_delay::kMaxDelayMs));
    }
}

void file_check::decide(const stream_request& stream) {
    decision& decided = report.decided.emplace();
    decided.request = stream;
    const auto keep = [&](const taken_coefficients& taken, const char* outcome) {
        decided.status = taken.status;
        decided.used = taken.used;
        decided.entry = taken.entry;
        decided.outcome = taken.status == 0 ? outcome : "failure";
        for (const library_message& message : taken.log) {
            if (message.priority >= ANDROID_LOG_INFO) {
                decided.log.push_back(printable(without_origin(message.text), 160));
            }
        }
    };
    if (mixing()) {
        const taken_weights taken =
            take_weights(report.path, stream.layout, stream.channels, stream.outputs);
        decided.weights = taken.weights;
        keep(taken, taken.used ? "entry" : taken.silent() ? "silence" : "identity");
    } else {
        const taken_delays taken = take_delays(report.path, stream.channels, stream.rate);
        decided.delays_ms = taken.ms;
        keep(taken, std::count(taken.ms.begin(), taken.ms.end(), 0U) < std::ssize(taken.ms)
                        ? "delays"
                        : "bypass");
    }
}

void file_check::explain_decision() {
    decision& decided = *report.decided;
    const stream_request& stream = decided.request;
    const auto ours = [&](const finding& found) {
        return found.level == severity::error && (found.entry < 0 || found.entry == decided.entry);
    };
    const auto chosen = static_cast<std::size_t>(decided.entry);  // a large one for none
    if (chosen < report.entries.size()) {
        const entry_report& entry = report.entries[chosen];
        decided.place = entry.place;
        if (mixing() && decided.used && entry.serves.layout != stream.layout) {
            index = decided.entry;
            add(severity::warning, "prefix_match", body->children[chosen].find(kLayout)->at,
                fmt::format("layout {} is chosen because it begins with {}",
                            in_quotes(entry.serves.layout), in_quotes(stream.layout)),
                fmt::format("put an entry for {} before this one, if another is meant",
                            in_quotes(stream.layout)),
                "compares no more characters than the card's layout name has; the first match "
                "counts");
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
        "add an entry for this stream" + others,
        mixing() ? identity_text(stream.channels, stream.outputs) : fallback());
}

void file_check::keep_the_streams_findings() {
    const auto of_others = [&](const finding& found) {
        return found.entry >= 0 && found.entry != report.decided->entry;
    };
    std::set<int> bad;
    for (const finding& found : report.findings) {
        if (of_others(found) && found.level != severity::note) {
            bad.insert(found.entry);
        }
    }
    report.other_bad_entries = bad.size();
    std::erase_if(report.findings, of_others);
}

}  // namespace

file_report check_file(const std::string& path, const std::optional<stream_request>& stream,
                       bool all) {
    return file_check(path).run(stream, all);
}
