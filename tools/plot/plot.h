#pragma once

#include <string>

#include "command_end.h"
#include "simulated_card.h"

// Pictures as SVG files.

/// The 48 to 16 kHz filter's frequency response, whole and the pass band, against its limits.
exit_code plot_filter(const std::string& out_file);

struct matrix_options {
    std::string in_file;
    std::string out_file;
    card_setup card;  ///< its channels and layout
    unsigned int out_channels = 2;
};
/// The matrix that the mixing stage takes from a file, as a map of gains.
exit_code plot_matrix(const matrix_options& options);
