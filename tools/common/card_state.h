#pragma once

#include <string>

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

/// Files that the stages are to use instead of the platform's: empty stands for the platform's,
/// kNoFile for a stage that changes nothing.
struct coefficient_paths {
    std::string mixing;
    std::string delay;
};
inline constexpr const char* kNoFile = "none";

/// A file with that text and without a name, for as long as the program runs; its path, or empty.
std::string memory_file(const std::string& text);

/// Hands the files to the library by card 70's controls, for the next stream; throws.
void use_coefficient_paths(const coefficient_paths& files);
/// Whether a path in card 70's controls stands for kNoFile.
bool is_no_file(const std::string& path);
