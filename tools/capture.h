#pragma once

#include <string>

/// Exit codes of the tool.
enum exit_code { EXIT_OK = 0, EXIT_USAGE = 1, EXIT_OPEN = 2, EXIT_READ = 3, EXIT_WRITE = 4 };

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
};

/// Records from the virtual card into a WAV file, with progress and a summary on the standard
/// output. An interrupt ends the recording early and cleanly.
exit_code run_capture(const capture_options& options);
