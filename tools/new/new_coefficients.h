#pragma once

#include <string>
#include <vector>

#include "command_end.h"

/// From words to an entry of a coefficient file.
struct new_options {
    std::string layout;              ///< the card's
    unsigned int outputs = 2;        ///< the client's channels
    std::vector<std::string> gains;  ///< "FC=-3dB", "BL,BR=0.5"
    bool normalise = false;          ///< no output's weights add up to more than 1
    std::string table;               ///< CSV file of weights instead
    std::string unit;                ///< factor, db or percent: of the table
    std::vector<double> ms, metres;  ///< of a delay file: delays, or distances of the speakers
    std::string out_file;            ///< empty: standard output
    std::string into_file;           ///< a file that gets one entry more
};

/// Both write an entry that `check` has nothing to say of, and tell how to hear it. EXIT_USAGE with
/// what is wrong, EXIT_PROBLEMS when the file that is to get it has errors, EXIT_WRITE.
exit_code new_mixing(const new_options& options);
exit_code new_delay(const new_options& options);
