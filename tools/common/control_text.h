#pragma once

#include <tinyalsa/mixer.h>

#include <string>
#include <vector>

// A mixer control's value as text, for people: integers as numbers, an enumerated control as its
// items' names, bytes as text in quotes where they are one, else as "hex:0102ff".

/// The value; "?" when the control cannot be read.
std::string control_value_text(mixer_ctl* control);
/// At most `longest` characters of a text, with "..." where the rest is missing.
std::string shortened(const std::string& text, std::size_t longest);
/// What the control can be set to, such as "0 to 100" or the items; empty for bytes.
std::string control_range_text(mixer_ctl* control);
/// Bytes up to the first zero, or the first element's item; empty when it cannot be read.
std::string control_string(mixer_ctl* control);
/// What is wrong with values before they are set, or empty.
std::string check_control_values(mixer_ctl* control, const std::vector<std::string>& values);
/// Sets all elements: one value for each, or one for all. Bytes take a single value, as text or
/// after "hex:"; zeros fill the rest. What is wrong, or empty.
std::string set_control_from_text(mixer_ctl* control, const std::vector<std::string>& values);
/// The control of that name or, when there is none, of that number; null when there is neither.
mixer_ctl* find_control(mixer* handle, const std::string& name_or_number);
