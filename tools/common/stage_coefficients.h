#pragma once

#include <string>
#include <vector>

#include "library_log.h"

// What the mixing and delay stages take from a coefficient file, by their own code.

struct taken_coefficients {
    int status = 0;                    ///< of building the stage, 0 or a negative error number
    bool used = false;                 ///< the stage goes by the file, not by a fallback
    int entry = -1;                    ///< of the file that decided, -1: none
    std::vector<library_message> log;  ///< what the stage said meanwhile

    /// The first warning or error, in the library's words; empty when there is none.
    std::string reason() const;
};

struct taken_weights : taken_coefficients {
    /// A row by output channel: row o, column i at [o * in + i]. Empty without a stage.
    std::vector<float> weights;

    bool silent() const;
};

struct taken_delays : taken_coefficients {
    std::vector<unsigned int> ms;  ///< one for each channel
};

taken_weights take_weights(const std::string& path, const std::string& layout, unsigned int in,
                           unsigned int out);
taken_delays take_delays(const std::string& path, unsigned int channels, unsigned int rate);
