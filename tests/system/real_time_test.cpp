// A stream at the pace of a clock.

#include "stream_fixture.h"
#include "test_basics.h"

namespace {

using real_time_test = zel_test::virtual_card_fixture;

TEST_F(real_time_test, goes_on_across_restarts) {
    const zel_test::stream_setup usual{32, 8, 16, 2, 16000};
    set_card(usual);
    choose("Sim Pacing", "Clock");
    ASSERT_TRUE(open(usual, 512, 8));
    int late_reads = 0;  // whose newest frame is older than two blocks
    std::int64_t before = 0;
    std::int64_t lost = 0;
    for (int b = 0; b <= 60; ++b) {
        if (b % 20 == 10) {
            change("PCM Slave Active", 1);
        }
        read(512);
        timespec clock{};
        clock_gettime(CLOCK_MONOTONIC, &clock);
        const auto [newest_ns, left] = newest();
        const std::int64_t age = clock.tv_sec * 1'000'000'000LL + clock.tv_nsec - newest_ns;
        EXPECT_GE(age, 0);
        late_reads += age > 70'000'000 ? 1 : 0;
        // Capture time of the frame that was read last.
        const std::int64_t now = newest_ns - std::int64_t{left} * 1'000'000'000 / 16000;
        if (b > 0) {
            EXPECT_GE(now - before, 31'000'000) << "time stands still or goes back at block " << b;
            lost += now - before - 32'000'000;
        }
        before = now;
    }
    // What a restart loses is the time it takes, and no more than a few blocks.
    EXPECT_GE(lost, -1'000'000);
    EXPECT_LT(lost, 3 * 3 * 32'000'000LL);
    EXPECT_EQ(take_events(), 3);
    EXPECT_LT(late_reads, 30);
}

}  // namespace
