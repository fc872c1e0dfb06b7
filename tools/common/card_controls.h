#pragma once

#include <tinyalsa/mixer.h>

#include <memory>
#include <string>
#include <vector>

#include "json_output.h"

using mixer_owner = std::unique_ptr<mixer, void (*)(mixer*)>;
mixer_owner open_mixer(unsigned int card);
/// A number or an item's name, an array of them when the control has several elements; bytes as
/// the text that they are, else as "hex:0102ff"; null when it cannot be read.
json control_value(mixer_ctl* control);
/// The same for people; "?" when it cannot be read.
std::string control_text(mixer_ctl* control);
/// What the control can be set to, such as "0 to 100" or the items; empty for bytes.
std::string control_range(mixer_ctl* control);
/// Sets all elements to a number or an item, bytes to a text with zeros behind it; `tries`: only
/// looks whether it could. What is wrong, or empty.
std::string set_control(mixer_ctl* control, const std::string& value, bool tries = false);
