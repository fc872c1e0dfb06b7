#include "spectrum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace {

TEST(spectrum, a_sine_stands_at_its_level_and_place) {
    std::vector<double> sine(512);
    for (std::size_t k = 0; k < sine.size(); ++k) {
        sine[k] = 0.5 * std::sin(2 * std::numbers::pi * 40 * static_cast<double>(k) / 512);
    }
    const std::vector<double> levels = spectrum_dbfs(sine);
    ASSERT_EQ(levels.size(), 256U);
    EXPECT_NEAR(levels[40], -6.02, 0.01);
    EXPECT_NEAR(levels[41], -12.04, 0.01) << "the Hann window's neighbours are 6 dB down";
    EXPECT_LT(levels[43], -200);
    EXPECT_LT(spectrum_dbfs(std::vector<double>(512))[10], -200) << "silence has a floor";
}

TEST(filter_gain, of_a_mean_of_two_samples) {
    const float taps[] = {0.5F, 0.5F};
    EXPECT_NEAR(filter_gain_db(taps, 2, 0, 48000), 0, 1e-9);
    EXPECT_NEAR(filter_gain_db(taps, 2, 12000, 48000), -3.01, 0.01);
    EXPECT_LT(filter_gain_db(taps, 2, 24000, 48000), -300);
}

}  // namespace
