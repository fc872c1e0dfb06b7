#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Length in bytes of the UTF-8 character that a text begins with, 0 when those bytes are none.
std::size_t first_character(std::string_view text, char32_t* code);
/// The text with U+FFFD for each byte that is no UTF-8.
std::string valid_utf8(std::string_view text);
