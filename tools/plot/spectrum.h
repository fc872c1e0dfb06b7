#pragma once

#include <vector>

/// Gain of the filter `taps` at a frequency, in dB over 1; `rate` in the same unit.
double filter_gain_db(const float* taps, int count, double frequency, double rate);

/// Power spectrum of `samples` (full scale 1) through a Hann window, in dB below a full-scale sine:
/// size / 2 values from 0 Hz on. The size is a power of 2.
std::vector<double> spectrum_dbfs(const std::vector<double>& samples);
