#pragma once

#include <string>

#include "card_state.h"
#include "command_end.h"
#include "simulated_card.h"
#include "virtual_stream.h"

struct convert_options {
    std::string in_file;
    std::string out_file;
    stream_format client;
    /// Channels, bits and layout; what is 0 or empty is taken from the file, as is the rate.
    card_setup card;
    coefficient_paths coefficients;
    double tail_seconds = -1;  ///< silence after the file; negative: until nothing is left of it
    bool json = false;
    bool log = false;  ///< print the library's messages, too
};

/// Runs a file through the virtual card of this process, over the simulated card, as fast as it
/// goes: the same blocks, the same chain and the same ring buffer as on the device. Every frame of
/// the file is played, then silence to the end of the block in which delays and filter have run
/// out.
exit_code run_convert(const convert_options& options);
