#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "zel_coefficient_file.h"

/// A place in a file, counted from 1; a column is a character of UTF-8. Line 0: the file as a
/// whole.
struct text_place {
    unsigned int line = 0;
    unsigned int column = 0;
};

/// A value of a JSON text and where it stands, in bytes.
struct json_node {
    enum class type { none, boolean, number, string, array, object };
    type kind = type::none;                    ///< none: null
    std::string text;                          ///< a string's; any other scalar as it is written
    std::string name;                          ///< of a member
    std::size_t at = 0, name_at = 0, end = 0;  ///< an end of arrays and objects only
    std::vector<json_node> children;

    /// The member that the device takes for that name: the first, letter case does not count. Null
    /// when there is none.
    const json_node* find(std::string_view member) const;
};

/// Why a text is no JSON.
struct syntax_fault {
    std::string what, mend;
    std::size_t at = 0;
};

/// A coefficient file's text: as the device parses it, and in one walk by RapidJSON, which is
/// stricter, names what is wrong, and knows where each value stands.
class coefficient_text {
  public:
    explicit coefficient_text(const std::string& path);

    zel_text_status status() const { return file.status; }
    /// Up to its first zero byte, without a byte order mark.
    std::string_view text() const { return content; }
    /// The device's document; null when it cannot parse the text.
    const cJSON* device_root() const { return document.get(); }
    /// False when the text is no JSON; `fault` tells why, and `root` is null.
    bool is_json() const { return fault_found.what.empty(); }
    const syntax_fault& fault() const { return fault_found; }
    const json_node& root() const { return tree; }
    /// The first character behind the document; the text's size when none is.
    std::size_t rest() const { return rest_at; }

    text_place place(std::size_t offset) const;
    /// The line around an offset, and under it a caret, both without what a terminal would obey.
    std::string excerpt(std::size_t offset) const;

  private:
    zel_text_file file;
    std::string content;
    bool goes_on = false;  ///< behind a zero byte
    zel_json_document document{nullptr, cJSON_Delete};
    json_node tree;
    syntax_fault fault_found;
    std::size_t rest_at = 0;
};

/// Text from a file, cut to `longest` bytes and without anything that a terminal would obey.
std::string printable(std::string_view text, std::size_t longest = 40);
/// The same in double quotes.
std::string in_quotes(std::string_view text);
