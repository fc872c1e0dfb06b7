#include "json_value.h"

#include <rapidjson/encodings.h>
#include <rapidjson/stream.h>

#include <cstdio>
#include <memory>

namespace {

std::string valid_utf8(const std::string& text) {
    const std::string padded = text + std::string(4, '\0');  // what decoding may look at
    std::string valid;
    for (std::size_t at = 0; at < text.size();) {
        rapidjson::StringStream in(padded.c_str() + at);
        unsigned int ignored = 0;
        const bool good = rapidjson::UTF8<>::Decode(in, &ignored);
        const std::size_t length = good ? in.Tell() : 1;
        valid += good ? text.substr(at, length) : "\xEF\xBF\xBD";
        at += length;
    }
    return valid;
}

}  // namespace

json_value::json_value(const std::string& text)
    : node(cJSON_CreateString(valid_utf8(text).c_str())) {}

void json_value::print(bool one_line) const {
    const std::unique_ptr<char, void (*)(void*)> text(
        one_line ? cJSON_PrintUnformatted(node) : cJSON_Print(node), cJSON_free);
    if (text) {
        std::printf("%s\n", text.get());
        std::fflush(stdout);
    }
}
