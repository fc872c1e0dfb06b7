#pragma once

#include <tinyalsa/mixer.h>

#include <string>
#include <vector>

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

  private:
    std::vector<card_change> changes;  ///< by time, those that are still to come
    mixer* handle;
};
