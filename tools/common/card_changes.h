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

/// Makes changes through the virtual card's mixer while a recording runs, and hears of the stream's
/// restarts.
class card_changes {
  public:
    explicit card_changes(std::vector<card_change> wanted);
    ~card_changes() { mixer_close(handle); }
    card_changes(const card_changes&) = delete;
    card_changes& operator=(const card_changes&) = delete;

    /// Makes the changes that are due, and looks for news; appends a line to `news` for each. What
    /// is wrong, or empty.
    std::string follow(double seconds, std::vector<std::string>* news);
    unsigned int restarts() const { return restart_count; }

  private:
    std::vector<card_change> changes;  ///< by time, those that are still to come
    mixer* handle;
    unsigned int restart_count = 0;
};
