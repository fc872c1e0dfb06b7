#pragma once

#include "card_state.h"
#include "command_end.h"
#include "simulated_card.h"
#include "virtual_stream.h"

struct info_options {
    stream_format client;
    card_setup card;
    coefficient_paths coefficients;
    bool json = false;
    bool log = false;  ///< print the library's messages, too
};

/// Opens the virtual card as a client would, closes it again and prints what is in force: limits,
/// coefficient files, the card's settings and the chain for this client. What cannot be told is
/// said and left out; the exit code is that of the first such thing.
exit_code run_info(const info_options& options);
