#pragma once

#include <string>
#include <vector>

#include "stage_coefficients.h"
#include "virtual_stream.h"

/// What card 70's controls tell of the card behind it and of the coefficient files.
struct card_state {
    bool known = false;
    unsigned int channels = 0;
    unsigned int word_bits = 0;  ///< 32 for samples of 24 bits, too
    bool low_bytes = false;      ///< 24-bit samples in the low three bytes of their words
    unsigned int rate = 0;       ///< Hz
    std::string layout;
    std::string mixing_path;
    std::string delay_path;
    std::string wav_file;  ///< that the simulated card may play
};
card_state read_card_state();

/// The chain that a client of card 70 gets as the card is now. Worked out from the card's controls,
/// the client's format and the stages' own search, by the rules that the converter follows; so no
/// level of the log matters. A card that takes the client's rate though its control tells another
/// one is taken at the control's word.
struct chain_report {
    card_state card;
    stream_format client;
    bool truncates = false;
    bool converts_rate = false;
    bool pads = false;
    double audio_share = 1;  ///< of each of the client's blocks; the rest of it is silence
    taken_weights mixing;
    taken_delays delay;

    /// "32 to 16 bits > delay > mixing > 48 to 16 kHz > 16 to 32 bits", those that are there.
    std::string stages() const;
    /// "file", "identity" or "silence"; "file" or "bypass".
    const char* mixing_use() const;
    const char* delay_use() const { return delay.used ? "file" : "bypass"; }
    std::vector<unsigned int> delay_frames() const;
    /// A sentence for each thing that a listener would not expect.
    std::vector<std::string> warnings() const;
};
chain_report chain_for(const stream_format& client);
