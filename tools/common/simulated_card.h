#pragma once

#include <tinyalsa/mixer.h>

#include <cstdint>
#include <string>

#include "sound_file.h"

/// What the simulated card is to be; what is 0 or empty stays as it is.
struct card_setup {
    int channels = 0;
    int rate = 0;  ///< Hz
    int bits = 0;  ///< 16, 24 or 32
    std::string layout;
    std::string signal;
    std::string wav_file;  ///< played instead of the signal
    bool once = false;     ///< the file, then silence; else over and over
};

/// The card as it was asked for, completed: channels by the layout, or the layout by the channels.
card_setup complete(card_setup card);
/// A card that plays a file: what isn't asked for is the file's.
card_setup card_playing(card_setup card, const std::string& path, const sound_info& sound);

/// The simulated sound card's settings, through its mixer. On a machine whose loopback capture is
/// a real card there is none; every call then fails with a message.
class simulated_card {
  public:
    simulated_card();
    ~simulated_card() { mixer_close(handle); }
    simulated_card(const simulated_card&) = delete;
    simulated_card& operator=(const simulated_card&) = delete;

    bool set(const std::string& control, int value);
    bool choose(const std::string& control, const std::string& item);
    bool apply(const card_setup& setup);
    /// From now on the card delivers only frames that are granted, or again by the clock. A stream
    /// that waits for a grant must be given the clock back before it is closed.
    bool step() { return choose("Sim Pacing", "Step"); }
    bool run_by_clock() { return choose("Sim Pacing", "Clock"); }
    bool grant(int frames) { return set("Sim Granted Frames", frames); }
    int value(const std::string& control);
    const std::string& error() const { return message; }

  private:
    bool play_file(const std::string& path, bool once);
    mixer_ctl* find(const std::string& control);
    bool fail(const std::string& text);

    mixer* handle;
    std::string message;
};
