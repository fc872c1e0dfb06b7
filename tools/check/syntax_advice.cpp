#include "syntax_advice.h"

#include <rapidjson/reader.h>

#include <algorithm>
#include <cctype>
#include <string>
#include <vector>

#include "wording.h"

namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

bool is_blank(char c) {
    return static_cast<unsigned char>(c) <= ' ';
}

/// What is open at an offset: brackets, and the string around it.
struct open_parts {
    std::vector<std::size_t> brackets;
    std::size_t string = std::string_view::npos;
};

open_parts open_at(std::string_view text, std::size_t end) {
    open_parts open;
    for (std::size_t i = 0; i < std::min(end, text.size()); ++i) {
        const char c = text[i];
        if (open.string != std::string_view::npos) {
            i += c == '\\' ? 1 : 0;
            open.string = c == '"' ? std::string_view::npos : open.string;
        } else if (c == '"') {
            open.string = i;
        } else if (c == '[' || c == '{') {
            open.brackets.push_back(i);
        } else if ((c == ']' || c == '}') && !open.brackets.empty()) {
            open.brackets.pop_back();
        }
    }
    return open;
}

syntax_advice early_end(std::string_view text) {
    std::string closing;
    const std::vector<std::size_t> open = open_at(text, text.size()).brackets;
    for (auto bracket = open.rbegin(); bracket != open.rend() && closing.size() < 8; ++bracket) {
        closing += text[*bracket] == '[' ? ']' : '}';
    }
    return {"the text ends too early",
            closing.empty() ? "complete it" : "complete it; still to be closed: " + closing,
            text.size()};
}

/// Why a text goes on in a way that JSON doesn't at `offset`, by what stands there and before.
syntax_advice explain_character(std::string_view text, std::size_t offset, bool name_wanted) {
    std::size_t before = offset;
    while (before > 0 && is_blank(text[before - 1])) {
        --before;
    }
    const char last = before > 0 ? text[before - 1] : '\0';
    const std::string_view rest = text.substr(offset);
    const char c = rest[0];
    const bool digit_before = std::isdigit(static_cast<unsigned char>(last)) != 0;
    const bool value_ended = std::isalnum(static_cast<unsigned char>(last)) != 0 || last == '"' ||
                             last == ']' || last == '}';
    const bool letter = std::isalpha(static_cast<unsigned char>(c)) != 0;
    if ((c == ']' || c == '}') && last == ',') {
        return {"a comma before the closing bracket", "remove the comma", before - 1};
    }
    if (c == '#' || rest.starts_with("//") || rest.starts_with("/*")) {
        return {"a comment, which JSON does not have",
                "remove it, or write it as a member such as \"Comment\": \"...\"", offset};
    }
    if (rest.starts_with("\xE2\x80\x9C") || rest.starts_with("\xE2\x80\x9D") ||
        rest.starts_with("\xE2\x80\x98") || rest.starts_with("\xE2\x80\x99")) {
        return {"a curly quote of a word processor",
                "write straight quotes, in a plain text editor", offset};
    }
    if (c == '\'') {
        return {"a single quote", "write strings and names in double quotes", offset};
    }
    if (c == '/' && digit_before) {
        return {"a fraction", "write it with a decimal point: 0.5 for 1/2", offset};
    }
    if (c == '.' && digit_before && before == offset) {
        return {"a number with two decimal points", "write one", offset};
    }
    if (letter && digit_before && before == offset) {
        return {"a number with letters in it", "write decimal digits only", offset};
    }
    if (c == ',' && !value_ended) {
        return {"a comma without a value before it", "remove the comma or add the value", offset};
    }
    if (c == '.' || c == '+') {
        return {"a number that begins with " + quoted(rest.substr(0, 1)),
                "begin numbers with a digit or a minus sign: 0.5", offset};
    }
    if (value_ended && !letter &&
        (c == '-' || c == '"' || c == '{' || c == '[' ||
         std::isdigit(static_cast<unsigned char>(c)) != 0)) {
        return {"a comma is missing between two values", "add a comma before this value", offset};
    }
    if (name_wanted) {
        return {"a name without quotes", "write names in double quotes", offset};
    }
    if (letter) {
        return {"a word that JSON does not know",
                "write true, false and null in small letters and names in double quotes", offset};
    }
    return {"this is not JSON from here on",
            "correct it; an editor with JSON support shows the place", offset};
}

syntax_advice explain_encoding(const located_json& file) {
    const std::string_view whole = file.text();
    const std::string_view text = whole.substr(whole.starts_with(kByteOrderMark) ? 3 : 0);
    if (text.starts_with("\x1F\x8B")) {
        return {"a file compressed with gzip", "unpack it", 0};
    }
    if (text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF") ||
        (file.ends_at_zero() && text.size() < 2)) {
        return {"text in UTF-16, which the device takes for its end", "save it as UTF-8", 0};
    }
    if (std::all_of(text.begin(), text.end(), is_blank)) {
        return {"the file is empty", "write an object with the members of such a file", 0};
    }
    return {};
}

}  // namespace

syntax_advice explain_syntax(const located_json& file) {
    syntax_advice advice = explain_encoding(file);
    if (!advice.what.empty()) {
        return advice;
    }
    // Blanks for what the device takes for blanks; a byte order mark is one of RapidJSON's own.
    const std::string_view whole = file.text();
    const std::size_t mark = whole.starts_with(kByteOrderMark) ? 3 : 0;
    std::string text(whole.substr(mark));
    std::replace_if(
        text.begin(), text.end(), [](char c) { return is_blank(c) && c != '\n'; }, ' ');
    rapidjson::StringStream in(text.c_str());
    rapidjson::BaseReaderHandler<> nothing;
    constexpr unsigned int kFlags = rapidjson::kParseIterativeFlag |
                                    rapidjson::kParseStopWhenDoneFlag |
                                    rapidjson::kParseNumbersAsStringsFlag;
    const rapidjson::ParseResult result = rapidjson::Reader().Parse<kFlags>(in, nothing);
    const std::size_t offset = std::min(result.Offset(), text.size());
    const std::size_t string = open_at(text, offset).string;
    const bool at_end = offset == text.size();
    switch (result.Code()) {
        case rapidjson::kParseErrorNone:
        case rapidjson::kParseErrorNumberTooBig:
            advice = {"values in more brackets than the device's parser follows",
                      "write them in fewer", file.error_offset() - mark};
            break;
        case rapidjson::kParseErrorStringMissQuotationMark:
            advice = {"a string without an end", "add the closing quote", string};
            break;
        case rapidjson::kParseErrorStringEscapeInvalid:
        case rapidjson::kParseErrorStringUnicodeEscapeInvalidHex:
        case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
            if (text[offset] == '\n') {
                advice = {"a string that goes on into the next line", "add the closing quote",
                          string};
            } else {
                advice = {"a backslash sequence that JSON does not have",
                          "write \\\\ for a backslash", offset};
            }
            break;
        case rapidjson::kParseErrorNumberMissFraction:
            advice = {"a number without digits behind its point", "write them: 1.0", offset};
            break;
        case rapidjson::kParseErrorNumberMissExponent:
            advice = {"a number without digits behind its e", "write them, or no e", offset};
            break;
        case rapidjson::kParseErrorObjectMissColon:
            advice = {"a colon is missing between name and value", "add it before this", offset};
            break;
        default:
            advice = at_end
                         ? early_end(text)
                         : explain_character(text, offset,
                                             result.Code() == rapidjson::kParseErrorObjectMissName);
    }
    if (at_end && file.ends_at_zero()) {
        advice = {"a zero byte, at which the text ends for the device", "remove it", text.size()};
    }
    advice.offset += mark;
    return advice;
}
