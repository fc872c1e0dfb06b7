#pragma once

#include <optional>
#include <string>

#include "check_report.h"

struct check_request {
    file_kind kind = file_kind::unknown;   ///< unknown: told by the file's members or name
    std::optional<stream_request> stream;  ///< what to decide about
    bool all = true;  ///< findings about every entry, not only the decisive one
};

/// Checks one file. The decisions in the report are the device's own: its search and load are
/// called; only the places in the text are found here. Takes over the log meanwhile.
file_report check_file(const std::string& path, const check_request& request);
