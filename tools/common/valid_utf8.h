#pragma once

#include <string>
#include <string_view>

/// The text with U+FFFD for each byte that is no UTF-8.
std::string valid_utf8(std::string_view text);
