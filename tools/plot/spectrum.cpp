#include "spectrum.h"

#include <cmath>
#include <complex>
#include <kissfft/kissfft.hh>
#include <numbers>

double filter_gain_db(const float* taps, int count, double frequency, double rate) {
    std::complex<double> sum = 0;
    for (int t = 0; t < count; ++t) {
        sum +=
            std::polar(static_cast<double>(taps[t]), -2 * std::numbers::pi * frequency / rate * t);
    }
    return 20 * std::log10(std::abs(sum));
}

std::vector<double> spectrum_dbfs(const std::vector<double>& samples) {
    const auto size = static_cast<double>(samples.size());
    std::vector<std::complex<double>> windowed(samples.size());
    for (std::size_t k = 0; k < samples.size(); ++k) {
        windowed[k] = samples[k] *
                      (0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(k) / size));
    }
    std::vector<std::complex<double>> bins(samples.size());
    kissfft<double>(samples.size(), false).transform(windowed.data(), bins.data());
    std::vector<double> levels(samples.size() / 2);
    for (std::size_t k = 0; k < levels.size(); ++k) {
        // A sine of amplitude 1 makes size / 2 times the window's mean of 1 / 2.
        levels[k] = 20 * std::log10(std::abs(bins[k]) / (size / 4) + 1e-12);
    }
    return levels;
}
