#pragma once

#include <string>

#include "exit_code.h"
#include "simulated_card.h"
#include "svg_picture.h"

// Pictures as SVG files.

inline constexpr const char* kPlotCurve = "#1f4e9c";
exit_code save_picture(const svg_picture& picture, const std::string& path);

/// The 48 to 16 kHz filter's frequency response, whole and the pass band, against its limits.
exit_code plot_filter(const std::string& out_file);
/// A recording's waveform and spectrogram, channel by channel.
exit_code plot_recording(const std::string& in_file, const std::string& out_file);

struct matrix_options {
    std::string in_file;
    std::string out_file;
    card_setup card;  ///< its channels and layout
    unsigned int out_channels = 2;
};
/// The matrix that the mixing stage takes from a file, as a map of gains.
exit_code plot_matrix(const matrix_options& options);
