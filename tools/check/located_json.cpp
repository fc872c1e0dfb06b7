#include "located_json.h"

#include <algorithm>
#include <filesystem>

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/// The parser takes every control character for a blank.
bool is_blank(char c) {
    return static_cast<unsigned char>(c) <= ' ';
}

bool continues_character(char c) {
    return (static_cast<unsigned char>(c) & 0xC0U) == 0x80;
}

}  // namespace

located_json::located_json(const std::string& path) : file(zel_read_text_file(path.c_str())) {
    if (file.text == nullptr) {
        return;
    }
    content = file.text.get();
    std::error_code ignored;
    const auto size = std::filesystem::file_size(path, ignored);
    zero = !ignored && size > content.size();
    first = content.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0;
    const char* place = nullptr;
    document = zel_parse_json(content.data(), &place);
    if (document != nullptr) {
        rest = locate();
    } else {
        error = static_cast<std::size_t>(place - content.data());
    }
}

void located_json::skip_blanks(std::size_t* at) const {
    while (*at < content.size() && is_blank(content[*at])) {
        ++*at;
    }
}

void located_json::skip_string(std::size_t* at) const {
    ++*at;
    while (*at < content.size() && content[*at] != '"') {
        *at += content[*at] == '\\' ? 2U : 1U;
    }
    *at = std::min(*at + 1, content.size());
}

void located_json::skip_scalar(std::size_t* at) const {
    while (*at < content.size() && !is_blank(content[*at]) &&
           std::string_view(",]}").find(content[*at]) == std::string_view::npos) {
        ++*at;
    }
}

/// Follows the parsed values through the text in their order. No recursion: the depth of a document
/// is the parser's to limit. Returns where the text goes on behind it.
std::size_t located_json::locate() {
    std::size_t at = first;
    std::size_t placed = first;
    text_place here{1, 1};
    const auto place_here = [&] {
        here = advance(here, placed, at);
        placed = at;
        return here;
    };
    std::vector<const cJSON*> open;  // arrays and objects around the value
    const cJSON* value = document.get();
    while (value != nullptr) {
        skip_blanks(&at);
        value_place& found = places[value];
        if (!open.empty() && cJSON_IsObject(open.back())) {
            found.name = place_here();
            skip_string(&at);
            skip_blanks(&at);
            ++at;  // the colon
            skip_blanks(&at);
        }
        found.value = place_here();
        if (cJSON_IsArray(value) || cJSON_IsObject(value)) {
            ++at;
            if (value->child != nullptr) {
                open.push_back(value);
                value = value->child;
                continue;
            }
            skip_blanks(&at);
            ++at;  // the closing bracket
        } else if (cJSON_IsString(value)) {
            skip_string(&at);
        } else {
            skip_scalar(&at);
        }
        while (value->next == nullptr && !open.empty()) {
            value = open.back();
            open.pop_back();
            skip_blanks(&at);
            ++at;  // the closing bracket
        }
        skip_blanks(&at);
        if (open.empty()) {
            break;
        }
        ++at;  // the comma
        value = value->next;
    }
    return std::min(at, content.size());
}

text_place located_json::advance(text_place place, std::size_t from, std::size_t offset) const {
    for (std::size_t i = from; i < std::min(offset, content.size()); ++i) {
        if (content[i] == '\n') {
            ++place.line;
            place.column = 1;
        } else if (!continues_character(content[i])) {
            ++place.column;
        }
    }
    return place;
}

text_place located_json::place_at(std::size_t offset) const {
    return advance({1, 1}, first, offset);
}

text_place located_json::place(const cJSON* value) const {
    const auto found = places.find(value);
    return found == places.end() ? text_place{} : found->second.value;
}

text_place located_json::name_place(const cJSON* member) const {
    const auto found = places.find(member);
    return found == places.end() ? text_place{} : found->second.name;
}
