#include "level_meter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

namespace {

TEST(level_meter, levels_and_peaks_by_channel) {
    level_meter narrow(2, 16);
    const std::int16_t frames[] = {16384, 0, -16384, 0, 16384, -32768, -16384, 0};
    narrow.add(frames, 2);
    narrow.add(frames + 4, 2);
    EXPECT_NEAR(narrow.rms_dbfs(0), -6.0206, 1e-3);
    EXPECT_NEAR(narrow.peak_dbfs(0), -6.0206, 1e-3);
    EXPECT_NEAR(narrow.rms_dbfs(1), -6.0206, 1e-3) << "one of four at full scale";
    EXPECT_DOUBLE_EQ(narrow.peak_dbfs(1), 0);

    level_meter wide(1, 32);
    EXPECT_EQ(wide.rms_dbfs(0), -INFINITY);
    EXPECT_EQ(wide.peak_dbfs(0), -INFINITY);
    const std::int32_t sample = 1 << 28;
    wide.add(&sample, 1);
    EXPECT_NEAR(wide.rms_dbfs(0), -18.0618, 1e-3);
}

}  // namespace
