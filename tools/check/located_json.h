#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "zel_coefficient_file.h"

/// A place in a file, counted from 1; a column is a character of UTF-8. Line 0: the file as a
/// whole.
struct text_place {
    unsigned int line = 0;
    unsigned int column = 0;

    friend bool operator==(const text_place&, const text_place&) = default;
};

/// A coefficient file as the device reads and parses it, and where in the text each value stands.
class located_json {
  public:
    explicit located_json(const std::string& path);

    /// How reading went; without text the rest is empty.
    zel_text_status status() const { return file.status; }
    bool short_read() const { return file.short_read; }
    /// What the parser gets: the file up to its first zero byte.
    std::string_view text() const { return content; }
    /// Whether the file goes on behind it.
    bool ends_at_zero() const { return zero; }
    /// Null when the text cannot be parsed.
    const cJSON* root() const { return document.get(); }
    /// Where the parser gave up, as an offset into the text.
    std::size_t error_offset() const { return error; }
    /// The first character behind the document that is not blank; the text's size when none is.
    std::size_t rest_offset() const { return rest; }

    text_place place_at(std::size_t offset) const;
    /// Of a value of the document.
    text_place place(const cJSON* value) const;
    /// Of a member's name.
    text_place name_place(const cJSON* member) const;

  private:
    struct value_place {
        text_place name, value;
    };

    /// The place of an offset that lies at or behind `from`, whose place is `place`.
    text_place advance(text_place place, std::size_t from, std::size_t offset) const;
    void skip_blanks(std::size_t* at) const;
    void skip_string(std::size_t* at) const;
    void skip_scalar(std::size_t* at) const;
    /// Records where the document's values lie; the parser has accepted the text.
    std::size_t locate();

    zel_text_file file;
    std::string_view content;
    bool zero = false;
    std::size_t first = 0;  ///< behind a byte order mark
    zel_json_document document{nullptr, cJSON_Delete};
    std::size_t error = 0;
    std::size_t rest = 0;
    std::unordered_map<const cJSON*, value_place> places;
};
