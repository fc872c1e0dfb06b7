#pragma once

#include <string>
#include <vector>

#include "exit_code.h"

/// EXIT_USAGE with a message when writing `out` would overwrite one of the inputs, or a coefficient
/// file that card 70 uses.
exit_code keep_inputs(const std::string& out, std::vector<std::string> inputs);
