// Reading the card's stream on the calling thread: blocks, their times, and what fails.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <limits>

#include "captured_log.h"
#include "converter_access.h"

using zel_test::call;
using zel_test::fc_access;

namespace {

class capture_device : public testing::Test {
  protected:
    void SetUp() override {
        zel_test::reset_script();
        fc = fc_access::make();
        zel_test::allow_reads(-1);
        zel_test::clear_log();
    }
    void open() {
        ASSERT_EQ(fc_access::open_here(*fc, zel_test::client_config(), PCM_IN), 0);
        zel_test::clear_log();
    }
    fc_access::owner fc;
};

TEST_F(capture_device, gaps_between_blocks_are_told_from_one_millisecond_on) {
    const timespec before{10, 990'000'000};
    const struct {
        timespec now;
        const char* message;
    } cases[] = {
        {{11, 22'000'000}, nullptr},
        {{11, 23'000'000}, nullptr},
        {{11, 23'000'001},
         "timestamp glitch 1 ms more than 1 ms;current (11,23000001), previous (10,990000000)"},
        {{13, 0}, "timestamp glitch 1978 ms more than 1 ms;current (13,0)"},
        {{10, 990'000'000}, "timestamp (10,990000000) no update"},
        {{9, 1'990'000'000}, nullptr},
        {{5, 0}, nullptr},
        {{std::numeric_limits<time_t>::max(), 0},
         sizeof(time_t) < 8 ? "timestamp glitch" : nullptr},
        {{0, 0}, nullptr},
    };
    for (const auto& c : cases) {
        zel_test::clear_log();
        fc_access::check_time(*fc, before, c.now);
        EXPECT_EQ(zel_test::log_count("timestamp"), c.message == nullptr ? 0U : 1U);
        EXPECT_TRUE(c.message == nullptr || zel_test::log_has(c.message)) << c.message;
    }
    zel_test::clear_log();
    fc_access::check_time(*fc, {0, 0}, {20, 0});
    EXPECT_EQ(zel_test::log_count("timestamp glitch"), 0U) << "the first block has no previous one";
}

TEST_F(capture_device, blocks_carry_their_time_and_failures_keep_the_last_one) {
    timespec ts{};
    EXPECT_EQ(fc_access::read_device(*fc, &ts), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("pcm not open yet"));

    open();
    zel_test::set_timestamps({{7, 100}, {7, 32'000'100}, {9, 0}}, 0);
    EXPECT_EQ(fc_access::read_device(*fc, &ts), 0);
    EXPECT_EQ(fc_access::previous(*fc).tv_nsec, 100);
    zel_test::fail_call(call::pcm_get_htimestamp, 1, -1);
    EXPECT_EQ(fc_access::read_device(*fc, &ts), 0) << "a missing time costs no audio";
    EXPECT_TRUE(zel_test::log_has("pcm_get_htimestamp get timstamp error : "));
    EXPECT_EQ(fc_access::previous(*fc).tv_sec, 7);
    EXPECT_EQ(fc_access::previous(*fc).tv_nsec, 100);

    for (const int got : {-1, 0, 1535}) {
        zel_test::clear_log();
        zel_test::fail_call(call::pcm_readi, 1, got);
        EXPECT_EQ(fc_access::read_device(*fc, &ts), -EIO);
        EXPECT_TRUE(zel_test::log_has("read size incorrect u32ReadFrame " + std::to_string(got) +
                                      " request 1536"));
        EXPECT_EQ(fc_access::previous(*fc).tv_nsec, 100);
    }
}

TEST_F(capture_device, an_input_record_that_is_still_there_fails_the_open) {
    open();
    EXPECT_EQ(fc_access::open_device(*fc), -1);
    EXPECT_TRUE(zel_test::log_has("pmInPcmInfo already exist"));
    EXPECT_EQ(fc_access::in(*fc), nullptr) << "that record is released";
}

}  // namespace
