#include "wording.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <numeric>
#include <vector>

namespace {

constexpr std::size_t kLongestQuote = 40;
constexpr std::size_t kLongestName = 40;

std::string lower(const char* text) {
    std::string all;
    for (; *text != '\0'; ++text) {
        if (std::isalpha(static_cast<unsigned char>(*text)) != 0) {
            all.push_back(static_cast<char>(std::tolower(static_cast<unsigned char>(*text))));
        }
    }
    return all;
}

/// How many letters must be changed, added or removed to get from one to the other.
std::size_t distance(const std::string& a, const std::string& b) {
    std::vector<std::size_t> row(b.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 0; i < a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t k = 0; k < b.size(); ++k) {
            const std::size_t change = diagonal + (a[i] == b[k] ? 0 : 1);
            diagonal = row[k + 1];
            row[k + 1] = std::min({change, row[k] + 1, row[k + 1] + 1});
        }
    }
    return row.back();
}

bool is_blank(char c) {
    return static_cast<unsigned char>(c) <= ' ';
}

/// The offsets of the brackets that are open at `end`.
std::vector<std::size_t> open_brackets(std::string_view text, std::size_t end) {
    std::vector<std::size_t> open;
    bool in_string = false;
    for (std::size_t i = 0; i < std::min(end, text.size()); ++i) {
        const char c = text[i];
        if (in_string) {
            i += c == '\\' ? 1 : 0;
            in_string = c != '"';
        } else if (c == '"') {
            in_string = true;
        } else if (c == '[' || c == '{') {
            open.push_back(i);
        } else if ((c == ']' || c == '}') && !open.empty()) {
            open.pop_back();
        }
    }
    return open;
}

/// Where the string begins that the character at `offset` belongs to or ends; npos when none does.
/// `*closed` tells whether it has an end.
std::size_t string_at(std::string_view text, std::size_t offset, bool* closed) {
    for (std::size_t i = 0; i < text.size() && i <= offset; ++i) {
        if (text[i] != '"') {
            continue;
        }
        std::size_t end = i + 1;
        while (end < text.size() && text[end] != '"') {
            end += text[end] == '\\' ? 2U : 1U;
        }
        if (end >= offset) {
            *closed = end < text.size();
            return i;
        }
        i = end;
    }
    return std::string_view::npos;
}

syntax_advice early_end(std::string_view text) {
    if (std::all_of(text.begin(), text.end(), is_blank)) {
        return {"the file is empty", "write an object with the members of such a file", 0};
    }
    const std::vector<std::size_t> open = open_brackets(text, text.size());
    std::string closing;
    for (auto bracket = open.rbegin(); bracket != open.rend() && closing.size() < 8; ++bracket) {
        closing += text[*bracket] == '[' ? ']' : '}';
    }
    return {"the text ends too early",
            closing.empty() ? "complete it" : "complete it; still to be closed: " + closing,
            text.size()};
}

}  // namespace

std::string printable(std::string_view text, std::size_t longest) {
    std::string all;
    for (const char c : text.substr(0, longest)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= ' ' && byte < 0x7F) {
            all.push_back(c);
        } else {
            char code[8];
            std::snprintf(code, sizeof(code), "\\x%02x", static_cast<unsigned int>(byte));
            all += code;
        }
    }
    return text.size() > longest ? all + "..." : all;
}

std::string quoted(std::string_view text) {
    return "\"" + printable(text, kLongestQuote) + "\"";
}

std::string number_text(double value) {
    char text[40];
    std::snprintf(text, sizeof(text), "%.9g", value);
    return text;
}

std::string value_text(const cJSON* value) {
    if (value == nullptr) {
        return "missing";
    }
    if (cJSON_IsString(value)) {
        return "the string " + quoted(value->valuestring);
    }
    if (cJSON_IsNumber(value)) {
        return number_text(value->valuedouble);
    }
    return cJSON_IsArray(value)    ? "an array"
           : cJSON_IsObject(value) ? "an object"
           : cJSON_IsTrue(value)   ? "true"
           : cJSON_IsFalse(value)  ? "false"
                                   : "null";
}

std::string counted(std::int64_t count, const std::string& noun) {
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

const cJSON* similar_member(const cJSON* object, const char* name) {
    const std::string wanted = lower(name);
    const cJSON* member = nullptr;
    cJSON_ArrayForEach(member, object) {
        if (member->string != nullptr) {
            const std::string have =
                lower(std::string(member->string).substr(0, kLongestName).c_str());
            if (distance(have, wanted) <= 2) {
                return member;
            }
        }
    }
    return nullptr;
}

syntax_advice explain_syntax(std::string_view text, std::size_t offset) {
    while (offset < text.size() && is_blank(text[offset])) {
        ++offset;
    }
    std::size_t before = std::min(offset, text.size());
    while (before > 0 && is_blank(text[before - 1])) {
        --before;
    }
    const char last = before > 0 ? text[before - 1] : '\0';
    if (offset >= text.size() ||
        (offset + 1 == text.size() && !open_brackets(text, offset + 1).empty())) {
        return early_end(text);
    }
    const char c = text[offset];
    bool closed = false;
    const std::size_t string =
        before > 0 ? string_at(text, before - 1, &closed) : std::string_view::npos;
    if (string != std::string_view::npos && !closed) {
        return {"a string without an end", "add the closing quote", string};
    }
    if (string != std::string_view::npos && last == '"' &&
        text.substr(string, before - string).find('\n') != std::string_view::npos) {
        return {"a string that goes on into the next line", "add the closing quote", string};
    }
    const bool value_ended = std::isalnum(static_cast<unsigned char>(last)) != 0 || last == '"' ||
                             last == ']' || last == '}';
    if ((c == ']' || c == '}') && last == ',') {
        return {"a comma before the closing bracket", "remove the comma", before - 1};
    }
    if (c == '/' || c == '#') {
        return {"a comment, which JSON does not have",
                "remove it, or write it as a member such as \"Comment\": \"...\"", offset};
    }
    if (c == '\'') {
        return {"a single quote", "write strings and names in double quotes", offset};
    }
    if (c == ',' && !value_ended) {
        return {"a comma without a value before it", "remove the comma or add the value", offset};
    }
    if (c == '.' || c == '+') {
        return {"a number that begins with " + quoted(text.substr(offset, 1)),
                "begin numbers with a digit or a minus sign: 0.5", offset};
    }
    if (value_ended && (std::isdigit(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '"' ||
                        c == '{' || c == '[')) {
        return {"a comma is missing between two values", "add a comma before this value", offset};
    }
    if (std::isalpha(static_cast<unsigned char>(c)) != 0) {
        return {"a word that JSON does not know",
                "write true, false and null in small letters and names in double quotes", offset};
    }
    return {"this is not JSON from here on",
            "correct it; an editor with JSON support shows the place", offset};
}
