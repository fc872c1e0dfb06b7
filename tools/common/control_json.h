#pragma once

#include <tinyalsa/mixer.h>

#include "json_value.h"

/// A control's value for programs: a number or an item's name, an array of them when it has several
/// elements, bytes as one text as people see it (see control_text.h); null when it cannot be read.
json_value control_value_json(mixer_ctl* control);
