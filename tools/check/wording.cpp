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
