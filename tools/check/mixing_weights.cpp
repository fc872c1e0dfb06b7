#include "mixing_weights.h"

#include <cmath>
#include <cstdio>

double row_gain(const float* weights, std::size_t inputs) {
    double sum = 0;
    for (std::size_t i = 0; i < inputs; ++i) {
        sum += std::fabs(static_cast<double>(weights[i]));
    }
    return sum;
}

/// A sample goes from -32768 to 32767, and the mix drops fractions.
bool row_can_wrap(const float* weights, std::size_t inputs) {
    double highest = 0;
    double lowest = 0;
    for (std::size_t i = 0; i < inputs; ++i) {
        const double weight = weights[i];
        highest += weight * (weight > 0 ? 32767 : -32768);
        lowest += weight * (weight > 0 ? -32768 : 32767);
    }
    return highest >= 32768 || lowest <= -32769;
}

double decibel_value(double gain) {
    const double db = 20 * std::log10(std::fabs(gain));
    return std::fabs(db) < 0.05 ? 0 : db;
}

std::string decibels(double gain) {
    char text[40];
    std::snprintf(text, sizeof(text), "%.1f dB", decibel_value(gain));
    return text;
}
