#pragma once

#include <cstdint>
#include <string>
#include <vector>

// What the delay and mixing stages do with a coefficient file, found out by running the library's
// own stages on impulses. Their messages go to the log like any others'.

/// Delay of each of the card's channels in frames.
std::vector<std::uint32_t> probe_delays(const std::string& path, unsigned int channels,
                                        unsigned int rate);
/// The weights, a row by output channel: row o, column i at [o * in + i]. Exact to 2^-24; those
/// beyond +-128 are cut there.
std::vector<double> probe_matrix(const std::string& path, const std::string& layout,
                                 unsigned int in, unsigned int out);
