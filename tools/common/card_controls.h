#pragma once

#include <tinyalsa/mixer.h>

#include <memory>
#include <string>
#include <vector>

#include "json_value.h"

// A card's controls as text, read, set, and changed while a stream runs. Integers as numbers, an
// enumerated control as its items' names, bytes as text in quotes where they are one, else as
// "hex:0102ff".

using mixer_owner = std::unique_ptr<mixer, void (*)(mixer*)>;
mixer_owner open_mixer(unsigned int card);
/// The value; "?" when the control cannot be read.
std::string control_value_text(mixer_ctl* control);
/// For programs: a number or an item's name, an array of them when the control has several
/// elements, bytes as one text without quotes; null when it cannot be read.
json_value control_value_json(mixer_ctl* control);
/// What the control can be set to, such as "0 to 100" or the items; empty for bytes.
std::string control_range_text(mixer_ctl* control);
/// Bytes up to the first zero, or the first element's item; empty when it cannot be read.
std::string control_string(mixer_ctl* control);
/// What is wrong with values before they are set, or empty.
std::string check_control_values(mixer_ctl* control, const std::vector<std::string>& values);
/// Sets all elements: one value for each, or one for all. Bytes take a single value, as text or
/// after "hex:"; zeros fill the rest. What is wrong, or empty.
std::string set_control_from_text(mixer_ctl* control, const std::vector<std::string>& values);
/// Sets bytes to a text with zeros behind it. What is wrong, or empty.
std::string set_control_bytes(mixer_ctl* control, const std::string& bytes);
/// The control of that name or, when there is none, of that number; null when there is neither.
mixer_ctl* find_control(mixer* handle, const std::string& name_or_number);

/// A control's new value at a time of the recording.
struct card_change {
    double seconds;
    std::string control;
    std::string value;
};

/// Takes "SECONDS:CONTROL=VALUE" apart. False when it isn't that.
bool parse_card_change(const std::string& text, card_change* change);

/// Makes changes of a card's controls when they are due.
class card_changes {
  public:
    /// The mixer is still the caller's, and may be null when there is nothing to change.
    card_changes(std::vector<card_change> wanted, mixer* handle);

    /// What is wrong with one of them, before any is made; or empty.
    std::string check() const;
    /// Makes those that are due; appends "CONTROL = VALUE" to `made` for each. What is wrong, or
    /// empty.
    std::string make_due(double seconds, std::vector<std::string>* made);
    /// Those that have not become due.
    const std::vector<card_change>& left() const { return changes; }

  private:
    std::vector<card_change> changes;  ///< by time, those that are still to come
    mixer* handle;
};
