#include "spectrum.h"

#include <cmath>
#include <complex>
#include <numbers>
#include <utility>

namespace {

/// In place, radix 2.
void fourier_transform(std::vector<std::complex<double>>* values) {
    std::vector<std::complex<double>>& v = *values;
    const std::size_t size = v.size();
    for (std::size_t i = 1, j = 0; i < size; ++i) {
        std::size_t bit = size >> 1;
        for (; (j & bit) != 0; bit >>= 1) {
            j ^= bit;
        }
        j ^= bit;
        if (i < j) {
            std::swap(v[i], v[j]);
        }
    }
    for (std::size_t length = 2; length <= size; length *= 2) {
        const std::complex<double> step =
            std::polar(1.0, -2 * std::numbers::pi / static_cast<double>(length));
        for (std::size_t begin = 0; begin < size; begin += length) {
            std::complex<double> turn = 1;
            for (std::size_t k = begin; k < begin + length / 2; ++k, turn *= step) {
                const std::complex<double> odd = v[k + length / 2] * turn;
                v[k + length / 2] = v[k] - odd;
                v[k] += odd;
            }
        }
    }
}

}  // namespace

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
    std::vector<std::complex<double>> values(samples.size());
    for (std::size_t k = 0; k < samples.size(); ++k) {
        values[k] = samples[k] *
                    (0.5 - 0.5 * std::cos(2 * std::numbers::pi * static_cast<double>(k) / size));
    }
    fourier_transform(&values);
    std::vector<double> levels(samples.size() / 2);
    for (std::size_t k = 0; k < levels.size(); ++k) {
        // A sine of amplitude 1 makes size / 2 times the window's mean of 1 / 2.
        levels[k] = 20 * std::log10(std::abs(values[k]) / (size / 4) + 1e-12);
    }
    return levels;
}
