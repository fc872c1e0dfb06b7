#pragma once

#include <cjson/cJSON.h>

#include <cmath>
#include <cstdint>
#include <memory>

/// Largest coefficient file that is read, in bytes. The files hold a few kilobytes, and what a path
/// names is not trusted.
inline constexpr long kZelMaxTextFileBytes = 1L << 20;

/// How reading a text file ended.
enum class zel_text_status {
    ok,
    not_opened,
    seek_end_failed,
    no_size,
    seek_set_failed,
    no_memory,
    too_large  ///< counts as an empty text, unusable content like any other
};

/// A file's whole content with a terminating zero.
struct zel_text_file {
    std::unique_ptr<char[]> text;  ///< null unless `status` is ok or too_large
    zel_text_status status = zel_text_status::not_opened;
    bool short_read = false;  ///< fewer bytes came than the file was long; the rest is zero
    bool close_failed = false;
    int error = 0;  ///< errno of the short read
};

/// Reads the regular file at `path`. A directory, device or FIFO counts as not opened, so that no
/// path can make the caller wait.
zel_text_file zel_read_text_file(const char* path);
/// The same, telling in the log, under `tag`, what went wrong. Throws std::bad_alloc: a lack of
/// memory is not the file's fault.
zel_text_file get_cofficient_content(const char* path, const char* tag);

/// A parsed JSON document, released with its owner.
using zel_json_document = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

/// True when the integer part of a number equals `value`. A number that no 32-bit count can hold
/// (negative, huge, not a number) equals none.
inline bool zel_json_integer_part_is(const cJSON* number, std::uint32_t value) {
    const double whole = std::trunc(number->valuedouble);
    return whole == static_cast<double>(value);
}

/// Parses a text; null when that fails, with `*error` at the place where. Unlike the parser's own
/// error place, which the whole process shares, no other thread's parsing changes that. Throws
/// std::bad_alloc where the parser found no memory, which it tells by malloc's errno alone.
zel_json_document zel_parse_json(const char* text, const char** error);
