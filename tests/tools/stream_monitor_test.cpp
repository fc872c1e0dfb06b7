// What the tool tells of lost audio.

#include "stream_monitor.h"

#include <gtest/gtest.h>

namespace {

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
