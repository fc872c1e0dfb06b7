#pragma once

#include <string>
#include <vector>

#include "card_changes.h"
#include "exit_code.h"

struct capture_options {
    std::string out_file = "capture.wav";
    unsigned int rate = 16000;
    unsigned int channels = 2;
    unsigned int bits = 16;
    double seconds = 5;
    unsigned int period_size = 0;  ///< frames; 0 stands for one block of 32 ms
    unsigned int period_count = 8;
    std::string wav_file;  ///< played by the simulated card when not empty
    std::string signal;
    bool fast = false;
    int card_channels = 0;  ///< these three and the layout are left alone when 0 or empty
    int card_rate = 0;
    int card_bits = 0;
    std::string card_layout;
    std::vector<card_change> changes;  ///< while it records
};

/// Records from the virtual card into a WAV file, with progress and a summary on the standard
/// output. An interrupt ends the recording early and cleanly.
exit_code run_capture(const capture_options& options);
