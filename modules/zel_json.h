#pragma once

#include <cjson/cJSON.h>

#include <cmath>
#include <cstdint>
#include <memory>

/// A parsed JSON document, released with its owner.
using zel_json_document = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

/// True when the integer part of a number equals `value`. A number that no 32-bit count can hold
/// (negative, huge, not a number) equals none.
inline bool zel_json_integer_part_is(const cJSON* number, std::uint32_t value) {
    const double whole = std::trunc(number->valuedouble);
    return whole == static_cast<double>(value);
}

/// Parses a text; null when that fails, with `*error` at the place where. Unlike the parser's own
/// error place, which the whole process shares, no other thread's parsing changes that.
inline zel_json_document zel_parse_json(const char* text, const char** error) {
    return {cJSON_ParseWithOpts(text, error, 0), cJSON_Delete};
}
