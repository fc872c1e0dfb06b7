#pragma once

#include <string>

#include "card_state.h"
#include "virtual_stream.h"

/// What becomes of the card's stream on the way to a client, by the two formats alone, and by the
/// rules that the converter follows.
struct stream_plan {
    bool truncates = false;
    bool converts_rate = false;
    bool pads = false;
    double audio_share = 1;  ///< of each of the client's blocks; the rest of it is silence
};
stream_plan plan_stream(const card_state& card, const stream_format& client);

/// Why there is no way from the card's rate to the client's, and the ways out; empty where there is
/// one.
std::string rate_fault(unsigned int card_rate, unsigned int client_rate);
/// "50 % of each block is silence", or empty.
std::string silence_fault(const stream_plan& plan);
/// Why a card plays 48 dB down, or empty.
std::string level_fault(const card_state& card, const stream_plan& plan);
