// The generated filter against the figures it was designed for.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <numbers>

#include "zel_src_48k.h"

namespace {

constexpr double kRate = 48000;

/// Magnitude of the response: for symmetric taps a sum of cosines about the centre.
double gain_at(double hz) {
    double sum = res_coeff[118];
    for (int k = 0; k < 118; ++k) {
        sum += 2 * static_cast<double>(res_coeff[k]) *
               std::cos(2 * std::numbers::pi * hz / kRate * (118 - k));
    }
    return std::fabs(sum);
}

double crossing(double gain) {
    double low = 7200;
    double high = 8000;
    while (high - low > 1e-3) {
        const double middle = (low + high) / 2;
        (gain_at(middle) > gain ? low : high) = middle;
    }
    return low;
}

TEST(src_filter, listed_taps_are_exact_and_the_table_is_symmetric) {
    ASSERT_EQ(res_order, 237);
    const struct {
        int tap;
        float value;
    } listed[] = {{118, 0.29637962579727173F}, {117, 0.25111132860183716F},
                  {116, 0.13977713882923126F}, {0, 5.4092165555630345e-06F},
                  {1, 6.670001312159002e-05F}, {2, 0.00021015465608797967F},
                  {3, 0.00044443277874961495F}};
    for (const auto& entry : listed) {
        EXPECT_EQ(std::bit_cast<std::uint32_t>(res_coeff[entry.tap]),
                  std::bit_cast<std::uint32_t>(entry.value))
            << entry.tap;
    }
    for (int t = 0; t < 237; ++t) {
        EXPECT_EQ(res_coeff[t], res_coeff[236 - t]) << t;
    }
}

TEST(src_filter, response_keeps_its_limits) {
    double sum = 0;
    double magnitude = 0;
    for (const float tap : res_coeff) {
        sum += static_cast<double>(tap);
        magnitude += std::fabs(static_cast<double>(tap));
    }
    EXPECT_NEAR(sum, 0.95589, 5e-6);
    EXPECT_NEAR(magnitude, 2.2143, 5e-5);

    double pass_min = 2;
    double pass_max = 0;
    for (double hz = 0; hz <= 7200; hz += 0.5) {
        pass_min = std::min(pass_min, gain_at(hz));
        pass_max = std::max(pass_max, gain_at(hz));
    }
    EXPECT_NEAR(pass_min, 0.944097, 1e-6);
    EXPECT_LE(pass_max, 0.9560);
    double stop_max = 0;
    double stop_hz = 0;
    for (double hz = 8000; hz <= 24000; hz += 0.5) {
        if (gain_at(hz) > stop_max) {
            stop_max = gain_at(hz);
            stop_hz = hz;
        }
    }
    EXPECT_GE(20 * std::log10(sum / stop_max), 98.9);
    EXPECT_NEAR(stop_hz, 8025, 5);
    EXPECT_NEAR(crossing(sum / std::numbers::sqrt2), 7396, 0.5);
    EXPECT_NEAR(crossing(sum / 2), 7479, 0.5);
}

}  // namespace
