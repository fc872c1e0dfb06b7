#pragma once

#include <optional>
#include <string>

#include "check_report.h"

/// Checks one file. The decisions in the report are the device's own: its search and load are
/// called; only the places in the text are found here. Takes over the log meanwhile.
/// `stream`: what to decide about. `all`: findings about every entry, not only the decisive one.
file_report check_file(const std::string& path, const std::optional<stream_request>& stream = {},
                       bool all = true);
