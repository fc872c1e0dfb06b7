#include "coefficient_text.h"

#include <algorithm>

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

coefficient_text::coefficient_text(const std::string& path)
    : file(zel_read_text_file(path.c_str())) {
    if (file.text == nullptr) {
        return;
    }
    content = file.text.get();
    line_begins.push_back(content.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
    for (std::size_t i = 0; i < content.size(); ++i) {
        if (content[i] == '\n') {
            line_begins.push_back(i + 1);
        }
    }
    document.reset(cJSON_Parse(content.data()));
    if (document != nullptr) {
        rest = locate();
    } else if (const char* position = cJSON_GetErrorPtr(); position != nullptr) {
        error = std::min(static_cast<std::size_t>(position - content.data()), content.size());
    }
}

void coefficient_text::skip_blanks(std::size_t* at) const {
    while (*at < content.size() && is_blank(content[*at])) {
        ++*at;
    }
}

void coefficient_text::skip_string(std::size_t* at) const {
    ++*at;
    while (*at < content.size() && content[*at] != '"') {
        *at += content[*at] == '\\' ? 2U : 1U;
    }
    *at = std::min(*at + 1, content.size());
}

void coefficient_text::skip_scalar(std::size_t* at) const {
    while (*at < content.size() && !is_blank(content[*at]) &&
           std::string_view(",]}").find(content[*at]) == std::string_view::npos) {
        ++*at;
    }
}

/// Follows the parsed values through the text in their order. No recursion: the depth of a document
/// is the parser's to limit. Returns where the text goes on behind it.
std::size_t coefficient_text::locate() {
    std::size_t at = line_begins.front();
    std::vector<const cJSON*> open;  // arrays and objects around the value
    const cJSON* value = document.get();
    while (value != nullptr) {
        skip_blanks(&at);
        extent found{at, at, at};
        if (!open.empty() && cJSON_IsObject(open.back())) {
            skip_string(&at);
            skip_blanks(&at);
            ++at;  // the colon
            skip_blanks(&at);
            found.begin = at;
        }
        const bool container = cJSON_IsArray(value) || cJSON_IsObject(value);
        if (container) {
            ++at;
        } else if (cJSON_IsString(value)) {
            skip_string(&at);
        } else {
            skip_scalar(&at);
        }
        found.end = at;
        extents[value] = found;
        if (container && value->child != nullptr) {
            open.push_back(value);
            value = value->child;
            continue;
        }
        if (container) {
            skip_blanks(&at);
            extents[value].end = at++;
        }
        while (value->next == nullptr && !open.empty()) {
            value = open.back();
            open.pop_back();
            skip_blanks(&at);
            extents[value].end = at++;
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

text_place coefficient_text::place_at(std::size_t offset) const {
    if (line_begins.empty()) {
        return {};
    }
    // The first line begins behind the mark, which no position lies before.
    auto line = std::upper_bound(line_begins.begin(), line_begins.end(), offset);
    line = line == line_begins.begin() ? line : std::prev(line);
    const std::size_t begin = std::min(*line, offset);
    const std::string_view before = content.substr(begin, offset - begin);
    const auto characters =
        std::count_if(before.begin(), before.end(), [](char c) { return !continues_character(c); });
    return {static_cast<unsigned int>(line - line_begins.begin()) + 1,
            static_cast<unsigned int>(characters) + 1};
}

text_place coefficient_text::place(const cJSON* value) const {
    const auto found = extents.find(value);
    return found == extents.end() ? text_place{} : place_at(found->second.begin);
}

text_place coefficient_text::name_place(const cJSON* member) const {
    const auto found = extents.find(member);
    return found == extents.end() ? text_place{} : place_at(found->second.name);
}

text_place coefficient_text::end_place(const cJSON* container) const {
    const auto found = extents.find(container);
    return found == extents.end() ? text_place{} : place_at(found->second.end);
}
