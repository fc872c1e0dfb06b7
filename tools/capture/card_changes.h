#pragma once

#include <tinyalsa/mixer.h>

#include <string>
#include <vector>

#include "command_end.h"

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
    /// The mixer is still the caller's, and may be null. Throws for a change that it can't make.
    card_changes(std::vector<card_change> wanted, mixer* handle);

    /// Makes those that are due, and appends "CONTROL = VALUE" to `made` for each. Throws.
    void make_due(double seconds, std::vector<std::string>* made);
    /// Those that have not become due.
    const std::vector<card_change>& left() const { return changes; }

  private:
    void make(const card_change& change, bool tries, exit_code otherwise) const;

    std::vector<card_change> changes;  ///< by time
    mixer* handle;
};
