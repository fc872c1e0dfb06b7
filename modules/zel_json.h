#pragma once

#include <cjson/cJSON.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>

/// A parsed JSON document, released with its owner.
using zel_json_document = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

/// True when the integer part of a number equals `value`. A number that no 32-bit count can hold
/// (negative, huge, not a number) equals none.
inline bool zel_json_integer_part_is(const cJSON* number, std::uint32_t value) {
    const double whole = std::trunc(number->valuedouble);
    return whole == static_cast<double>(value);
}

/// Where parsing `text` failed, or its end when that cannot be told: the parser keeps one such
/// place for the whole process, and another thread may have parsed something since.
inline const char* zel_json_error(const char* text) {
    const char* at = cJSON_GetErrorPtr();
    const char* end = text + std::strlen(text);
    const std::less<> before;  // across objects, too
    return before(at, text) || before(end, at) ? end : at;
}
