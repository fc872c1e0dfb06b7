// What the tool shows of a recording: levels, lost audio.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "level_meter.h"
#include "meter_display.h"
#include "stream_monitor.h"

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

/// A stream of 16000 Hz in blocks of 512 frames: block n ends at n * 32 ms after 100.99 s.
timespec block_time(int n) {
    const long long ns = 100'990'000'000LL + n * 32'000'000LL;
    return {static_cast<time_t>(ns / 1'000'000'000), static_cast<long>(ns % 1'000'000'000)};
}

TEST(stream_monitor, an_even_stream_loses_nothing) {
    stream_monitor monitor(16000, 4096, 512);
    for (int n = 1; n < 200; ++n) {
        monitor.add(512, 0, block_time(n));
    }
    monitor.add(0, 1024, block_time(201));  // a late reader, the audio still there
    monitor.add(100, 924, block_time(201));
    EXPECT_EQ(monitor.gaps() + monitor.overruns() + monitor.lost_frames(), 0U);
}

TEST(stream_monitor, lost_audio_is_a_gap_or_with_a_full_buffer_an_overrun) {
    stream_monitor monitor(16000, 2048, 512);
    monitor.add(512, 0, block_time(1));
    monitor.add(512, 0, block_time(4));  // two blocks never came
    monitor.add(512, 0, block_time(5));
    EXPECT_EQ(monitor.gaps(), 1U);
    EXPECT_EQ(monitor.overruns(), 0U);
    EXPECT_EQ(monitor.lost_frames(), 1024U);
    monitor.add(512, 1536, block_time(12));  // seven blocks, the buffer holds four
    EXPECT_EQ(monitor.gaps(), 1U);
    EXPECT_EQ(monitor.overruns(), 1U);
    EXPECT_EQ(monitor.lost_frames(), 1024U + 3 * 512U);
}

}  // namespace
