// The generated filter against the figures it was designed for.

#include <bit>
#include <cmath>
#include <numbers>

#include "test_basics.h"
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
    const double dc = gain_at(0);
    EXPECT_NEAR(dc, 0.95589, 5e-6);
    for (double hz = 0; hz <= 24000; hz += 0.5) {
        const double gain = gain_at(hz);
        if (hz <= 7200) {
            ASSERT_GE(gain, 0.944096) << hz << " Hz";
            ASSERT_LE(gain, 0.9560) << hz << " Hz";
        } else if (hz >= 8000) {
            ASSERT_GE(20 * std::log10(dc / gain), 98.9) << hz << " Hz";
        }
    }
    EXPECT_NEAR(20 * std::log10(gain_at(7396) / dc), -3.01, 0.02);
    EXPECT_NEAR(20 * std::log10(gain_at(7479) / dc), -6.02, 0.03);
}

}  // namespace
