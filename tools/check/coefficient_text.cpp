#include "coefficient_text.h"

#include <fmt/format.h>
#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>
#include <strings.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <utility>

#include "valid_utf8.h"

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kBlanks = " \t\r\n";

bool continues_character(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80;
}

/// RapidJSON reads others through a copy, which leaves the place of an event behind.
struct text_stream : rapidjson::StringStream {
    using rapidjson::StringStream::StringStream;
};

/// Makes the tree of the reader's events; false ends the walk.
class tree_builder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, tree_builder> {
  public:
    tree_builder(const text_stream& in, std::string_view whole, json_node* root)
        : stream(in), text(whole), open{root} {}

    bool Null() { return add(json_node::type::none, "null"); }
    bool Bool(bool value) { return add(json_node::type::boolean, value ? "true" : "false"); }
    bool RawNumber(const char* digits, unsigned int size, bool) {
        return add(json_node::type::number, {digits, size});
    }
    // The device takes both up to a zero character.
    bool String(const char* characters, unsigned int, bool) {
        return add(json_node::type::string, characters);
    }
    bool Key(const char* characters, unsigned int, bool) {
        name = characters;
        name_at = begin_of_token();
        return true;
    }
    bool StartObject() { return begin(json_node::type::object); }
    bool StartArray() { return begin(json_node::type::array); }
    bool EndObject(unsigned int) { return end(); }
    bool EndArray(unsigned int) { return end(); }

  private:
    /// Between two tokens stand blanks, commas and colons only.
    std::size_t begin_of_token() {
        const std::size_t at = text.find_first_not_of(" \t\r\n,:", end_of_last);
        end_of_last = stream.Tell();
        return at;
    }
    bool add(json_node::type kind, std::string value) {
        json_node* parent = open.back();
        const bool is_root = open.size() == 1;
        json_node& made = is_root ? *parent : parent->children.emplace_back();
        made.kind = kind;
        made.text = std::move(value);
        made.at = begin_of_token();
        if (!is_root && parent->kind == json_node::type::object) {
            made.name = name;
            made.name_at = name_at;
        }
        last = &made;
        return true;
    }
    bool begin(json_node::type kind) {
        add(kind, "");
        end_of_last = last->at + 1;  // the bracket itself is still to be taken
        open.push_back(last);
        return open.size() <= CJSON_NESTING_LIMIT + 1;
    }
    bool end() {
        end_of_last = begin_of_token() + 1;
        open.back()->end = end_of_last;
        open.pop_back();
        return true;
    }

    const text_stream& stream;
    std::string_view text;
    std::vector<json_node*> open;  ///< behind the first, the root
    json_node* last = nullptr;
    std::string name;
    std::size_t name_at = 0;
    std::size_t end_of_last = 0;
};

/// A character as it is, and by its name where it is easily overlooked or mistaken.
std::string character_name(std::string_view text) {
    static constexpr std::pair<char32_t, const char*> kNames[] = {
        {0xA0, " no-break space"},    {0x200B, " zero-width space"}, {0x2013, " en dash"},
        {0x2018, " curly quote"},     {0x2019, " curly quote"},      {0x201C, " curly quote"},
        {0x201D, " curly quote"},     {0x2212, " minus sign"},       {0x3000, " wide space"},
        {0xFEFF, " byte order mark"}, {0xFF0C, " wide comma"}};
    char32_t code = 0;
    if (first_character(text, &code) == 0) {
        return fmt::format("the byte 0x{:02X}, no UTF-8", static_cast<unsigned char>(text.front()));
    }
    if (code < 0x80) {
        return code == '\n' ? "the end of the line" : in_quotes(text.substr(0, 1));
    }
    const auto* known = std::find_if(std::begin(kNames), std::end(kNames),
                                     [=](const auto& name) { return name.first == code; });
    return fmt::format("U+{:04X}{}", static_cast<unsigned int>(code),
                       known != std::end(kNames) ? known->second : "");
}

}  // namespace

const json_node* json_node::find(std::string_view member) const {
    const auto found = std::find_if(children.begin(), children.end(), [&](const json_node& child) {
        return child.name.size() == member.size() &&
               strncasecmp(child.name.c_str(), member.data(), member.size()) == 0;
    });
    return kind != type::object || found == children.end() ? nullptr : &*found;
}

coefficient_text::coefficient_text(const std::string& path)
    : file(zel_read_text_file(path.c_str())) {
    if (file.text == nullptr || file.status != zel_text_status::ok) {
        return;
    }
    content = file.text.get();
    std::error_code ignored;
    goes_on = std::filesystem::file_size(path, ignored) > content.size() && !ignored;
    const char* place = nullptr;
    document = zel_parse_json(content.c_str(), &place);
    if (content.starts_with(kByteOrderMark)) {
        content.erase(0, kByteOrderMark.size());
    }
    text_stream in(content.c_str());
    tree_builder builder(in, content, &tree);
    constexpr unsigned int kFlags = rapidjson::kParseIterativeFlag |
                                    rapidjson::kParseStopWhenDoneFlag |
                                    rapidjson::kParseNumbersAsStringsFlag;
    const rapidjson::ParseResult result = rapidjson::Reader().Parse<kFlags>(in, builder);
    rest_at = std::min(content.find_first_not_of(kBlanks, in.Tell()), content.size());
    if (result.Code() == rapidjson::kParseErrorTermination || (result && document == nullptr)) {
        fault_found = {
            "values in more brackets, or a longer number, than the device's parser takes",
            "write it shorter",
            result ? static_cast<std::size_t>(place - file.text.get()) : result.Offset()};
    } else if (!result) {
        const std::size_t at = std::min(result.Offset(), content.size());
        const std::string here = at < content.size()
                                     ? "Here is " + character_name(content.substr(at)) + "."
                                 : goes_on ? "The device's text ends here, at a zero byte."
                                           : "The text ends here.";
        fault_found = {rapidjson::GetParseError_En(result.Code()) + (" " + here), "correct it here",
                       at};
    }
    if (!is_json()) {
        tree = {};
    }
}

text_place coefficient_text::place(std::size_t offset) const {
    const auto end =
        content.begin() + static_cast<std::ptrdiff_t>(std::min(offset, content.size()));
    const auto line = std::find(std::make_reverse_iterator(end), content.rend(), '\n').base();
    return {1 + static_cast<unsigned int>(std::count(content.begin(), line, '\n')),
            1 + static_cast<unsigned int>(
                    std::count_if(line, end, [](char c) { return !continues_character(c); }))};
}

std::string coefficient_text::excerpt(std::size_t offset) const {
    constexpr std::size_t kBefore = 40, kWidth = 72;
    const std::size_t newline = content.substr(0, offset).rfind('\n');
    const std::size_t line = newline == std::string::npos ? 0 : newline + 1;
    const std::size_t from = std::max(line, offset < kBefore ? 0 : offset - kBefore);
    std::string shown =
        content.substr(from, std::min(content.find('\n', offset), from + kWidth) - from);
    std::replace_if(
        shown.begin(), shown.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return shown + "\n" + std::string(offset - from, ' ') + "^";
}

std::string printable(std::string_view text, std::size_t longest) {
    std::string all;
    for (const char c : text.substr(0, longest)) {
        all += c >= ' ' && c <= '~' ? std::string(1, c)
                                    : fmt::format("\\x{:02x}", static_cast<unsigned char>(c));
    }
    return text.size() > longest ? all + "..." : all;
}

std::string in_quotes(std::string_view text) {
    return '"' + printable(text) + '"';
}
