#pragma once

#include <cstdint>
#include <string>

#include "card_controls.h"
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
/// Its layout, too, where its channels say which it is; warns where the two differ.
card_setup card_playing(card_setup card, const played_sound& sound);

/// The simulated sound card's settings, through its mixer. On a machine whose loopback capture is
/// a real card there is none; every call then throws.
class simulated_card {
  public:
    simulated_card() : handle(open_mixer(0)) {}

    void set(const char* control, const std::string& value);
    void apply(const card_setup& setup);
    /// From now on the card delivers only frames that are granted, or again by the clock. A stream
    /// that waits for a grant must be given the clock back before it is closed.
    void step() { set("Sim Pacing", "Step"); }
    void run_by_clock() { set("Sim Pacing", "Clock"); }
    void grant(std::uint32_t frames) { set("Sim Granted Frames", std::to_string(frames)); }

  private:
    mixer_owner handle;
};

/// Lets the simulated card deliver block by block, as fast as the stream is read and never more
/// than the stream's buffer holds: no frame is lost, and what the client gets is the same every
/// time. Gives the card its clock back at its end; destroy it before the stream.
class card_feeder {
  public:
    /// Up to `blocks_ahead` blocks of 32 ms are granted before they are read.
    card_feeder(simulated_card* card, unsigned int client_rate, unsigned int card_rate,
                unsigned int blocks_ahead);
    ~card_feeder();
    card_feeder(const card_feeder&) = delete;
    card_feeder& operator=(const card_feeder&) = delete;

    /// Before a read, with the client's frames read so far and those wanted in all.
    void feed(std::uint64_t done, std::uint64_t total);

  private:
    simulated_card* card;
    std::uint32_t client_block;
    std::uint32_t card_block;
    std::uint32_t ahead;
    std::uint64_t granted_blocks = 0;
};
