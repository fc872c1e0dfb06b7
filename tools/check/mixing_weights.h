#pragma once

#include <cstddef>
#include <string>

// What a row of weights, one for each input of an output, can do to the level.

/// The gain of an output when all its inputs help each other: the sum of the absolute weights.
double row_gain(const float* weights, std::size_t inputs);
/// True when inputs at full scale can make a sum that a 16-bit sample can't hold.
bool row_can_wrap(const float* weights, std::size_t inputs);
/// A gain in dB, of a negative one its size; not -0.0 where that would be printed.
double decibel_value(double gain);
/// A gain as "-3.0 dB"; "-inf dB" for 0.
std::string decibels(double gain);
