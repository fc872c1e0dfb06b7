#pragma once

#include <string>

#include "coefficient_check.h"

// Holds what `zel-fc check` says against what the stages do to audio.

namespace zel_test {

/// Checks the file for the stream, sends impulses through the device's stage with the same file and
/// compares: what differs, or empty.
std::string mixing_disagreement(const std::string& path, const stream_request& stream);
std::string delay_disagreement(const std::string& path, const stream_request& stream);

}  // namespace zel_test
