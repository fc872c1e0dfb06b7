#pragma once

#include <string>
#include <vector>

#include "command_end.h"

struct controls_options {
    unsigned int card = 70;
    std::string control;              ///< name or number
    std::vector<std::string> values;  ///< to set
    bool json = false;                ///< list and get print JSON
};

// Each writes to the standard output, errors to the standard error stream.

/// A line for each control: number, type, count, name, value, range.
exit_code list_controls(const controls_options& options);
/// The value alone, so that a script can read it.
exit_code get_control(const controls_options& options);
exit_code set_control(const controls_options& options);
