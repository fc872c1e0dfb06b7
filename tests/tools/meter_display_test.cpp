#include "meter_display.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "progress_bar.h"

namespace {

TEST(meter_lines, fit_the_terminal_and_show_levels_on_the_scale) {
    const std::vector<std::string> lines = meter_lines(
        {{-30, -12, -6, false}, {-INFINITY, -INFINITY, -INFINITY, false}, {0, 0, 0, true}}, 79);
    // 50 columns for 60 dB: -30 dB fills 25, -12 dB 40, the hold of -6 dB stands in the 45th.
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[0], "ch         -48       -36       -24       -12         0  level   peak");
    EXPECT_EQ(lines[1], " 0 " + std::string(25, '#') + std::string(15, '-') + "....|....." +
                            "   -30.0   -6.0 dBFS");
    EXPECT_EQ(lines[2], " 1 " + std::string(50, '.') + "    -inf   -inf dBFS");
    EXPECT_EQ(lines[3], " 2 " + std::string(49, '#') + "|     0.0    0.0 dBFS OVER");
    EXPECT_EQ(meter_lines({}, 39)[0], "ch    -30    0  level   peak");
    for (const unsigned int width : {0U, 20U, 39U, 60U, 79U, 200U}) {
        for (const std::string& line : meter_lines({{-3, 0, 0, true}}, width)) {
            EXPECT_LE(line.size(), width) << line;
        }
    }
}

TEST(meter_ballistics, peaks_are_held_then_fall) {
    meter_ballistics meter(1, 16, 1000);
    const std::vector<std::int16_t> loud{16384};
    const std::vector<std::int16_t> silence(500);
    meter.add(loud.data(), 1);
    EXPECT_NEAR(meter.look()[0].hold, -6.02, 0.01);
    for (int k = 0; k < 3; ++k) {
        meter.add(silence.data(), 500);
        const meter_reading reading = meter.look()[0];
        EXPECT_EQ(reading.peak, -INFINITY) << "of the interval only";
        EXPECT_NEAR(reading.hold, -6.02, 0.01) << "for 1.5 s";
    }
    meter.add(silence.data(), 500);
    EXPECT_NEAR(meter.look()[0].hold, -16.02, 0.01) << "20 dB a second";
    EXPECT_FALSE(meter.look()[0].over);
    const std::int16_t full = 32767;
    meter.add(&full, 1);
    EXPECT_TRUE(meter.look()[0].over);
    meter.add(silence.data(), 500);
    EXPECT_TRUE(meter.look()[0].over) << "from then on";
}

TEST(progress_text, fits_any_width) {
    EXPECT_EQ(progress_text(5, 20, 0.5, 60),
              "[####...............]  25 %  5.0 s of 20.0 s, 10 x real time");
    EXPECT_EQ(progress_text(20, 20, 0, 44).substr(0, 6), " 100 %") << "no room for the bar";
    for (unsigned int width = 0; width < 200; ++width) {
        EXPECT_LE(progress_text(1e6, 1e6, 1, width).size(), width);
    }
}

}  // namespace
