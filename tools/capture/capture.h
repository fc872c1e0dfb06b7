#pragma once

#include <string>
#include <vector>

#include "card_controls.h"
#include "card_state.h"
#include "command_end.h"
#include "simulated_card.h"
#include "virtual_stream.h"

struct capture_options {
    std::string out_file = "capture.wav";
    stream_format client;
    double seconds = 5;
    card_setup card;
    coefficient_paths coefficients;
    bool fast = false;
    std::vector<card_change> changes;  ///< while it records
    bool json = false;
    bool quiet = false;  ///< without the library's messages
};

/// Records from the virtual card into a WAV file, with a level meter and a summary on the standard
/// output. An interrupt ends the recording early and cleanly.
exit_code run_capture(const capture_options& options);
