#pragma once

#include <cstdint>
#include <string>
#include <vector>

// What the delay and mixing stages take from a coefficient file, by their own code. Their messages
// go to the log like any others'.

/// Delay of each of the card's channels in frames; none when the file does not fit.
std::vector<std::uint32_t> delays_of_file(const std::string& path, unsigned int channels,
                                          unsigned int rate);
/// The weights in use with that file, a row by output channel: row o, column i at [o * in + i].
/// Throws std::runtime_error without memory.
std::vector<double> matrix_of_file(const std::string& path, const std::string& layout,
                                   unsigned int in, unsigned int out);
