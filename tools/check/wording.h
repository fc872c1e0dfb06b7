#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "zel_coefficient_file.h"

// Pieces of text for messages about coefficient files.

/// Text from a file, cut to `longest` bytes and without anything that a terminal would obey.
std::string printable(std::string_view text, std::size_t longest);
/// The same in quotes, of at most 40 bytes.
std::string quoted(std::string_view text);
/// "a string", "null" and so on; numbers with their value.
std::string value_text(const cJSON* value);
/// A number as it stands in a JSON file, without needless digits.
std::string number_text(double value);
/// "1 weight", "2 weights".
std::string counted(std::int64_t count, const std::string& noun);
/// The name of a member of `object` that may be meant by `name`, a slip of one or two letters;
/// null when there is none.
const cJSON* similar_member(const cJSON* object, const char* name);
