#include "control_json.h"

#include <cmath>
#include <string>
#include <utility>

#include "control_text.h"

namespace {

json_value element_json(mixer_ctl* control, unsigned int element) {
    const int value = mixer_ctl_get_value(control, element);
    const char* item = mixer_ctl_get_type(control) == MIXER_CTL_TYPE_ENUM && value >= 0
                           ? mixer_ctl_get_enum_string(control, static_cast<unsigned int>(value))
                           : nullptr;
    return item != nullptr ? json_value(item) : json_value(value);
}

/// A text loses its quotes: JSON has its own.
json_value bytes_json(mixer_ctl* control) {
    const std::string text = control_value_text(control);
    if (text == "?") {
        return json_value(NAN);
    }
    return text.front() == '"' ? text.substr(1, text.size() - 2) : text;
}

}  // namespace

json_value control_value_json(mixer_ctl* control) {
    if (mixer_ctl_get_type(control) == MIXER_CTL_TYPE_BYTE) {
        return bytes_json(control);
    }
    const unsigned int count = mixer_ctl_get_num_values(control);
    if (count == 1) {
        return element_json(control, 0);
    }
    json_value values = json_value::array();
    for (unsigned int i = 0; i < count; ++i) {
        values.append(element_json(control, i));
    }
    return values;
}
