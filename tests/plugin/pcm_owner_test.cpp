// Whose the stream is: after calls that fail, and after starts by handles and reads in any order.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

#include "captured_log.h"
#include "client_params.h"
#include "converter_access.h"
#include "zel_format_converter_pcm_plugin.h"

namespace ops = zel_format_converter_pcm_plugin;
using namespace zel_test;
using namespace std::chrono_literals;

namespace {

class pcm_owner : public testing::Test {
  protected:
    void SetUp() override {
        reset_script();
        allow_reads(-1);
        clear_log();
        for (pcm_plugin*& handle : handles) {
            ASSERT_EQ(ops::open(&handle, 70, 70, PCM_IN), 0);
        }
    }
    void TearDown() override {
        for (pcm_plugin* handle : handles) {
            EXPECT_TRUE(handle == nullptr || ops::close(handle) == 0);
        }
        EXPECT_EQ(open_handles(), 0);
    }
    int set_params(pcm_plugin* handle) {
        snd_pcm_hw_params params = client_params{.rate = 48000}.record();
        return ops::hw_params(handle, &params);
    }
    int read(pcm_plugin* handle) {
        std::uint32_t frames[100];
        snd_xferi xferi{-1, frames, 100};
        return ops::readi_frames(handle, &xferi);
    }

    zel_format_converter& fc = zel_format_converter::getInstance();
    pcm_plugin* handles[3] = {};
    pcm_plugin*& first = handles[0];
    pcm_plugin*& second = handles[1];
    pcm_plugin*& third = handles[2];
};

TEST_F(pcm_owner, a_stream_whose_close_failed_is_closed_with_the_next_handle) {
    ASSERT_EQ(set_params(first), 0);
    const int kept = fc_access::command_pipe(fc)[1];
    fc_access::command_pipe(fc)[1] = 0;
    EXPECT_EQ(ops::close(first), -EIO);
    fc_access::command_pipe(fc)[1] = kept;

    EXPECT_EQ(set_params(second), -EINVAL) << "nobody has closed it";
    EXPECT_EQ(ops::close(second), 0);
    second = nullptr;
    EXPECT_EQ(set_params(third), 0);
    EXPECT_EQ(read(first), -EINVAL) << "the stream is no longer its own";
    EXPECT_EQ(ops::close(first), 0) << "the record that the failed close left";
    first = nullptr;
    EXPECT_EQ(read(third), 0);
}

TEST_F(pcm_owner, only_the_owner_starts_and_only_once) {
    ASSERT_EQ(set_params(first), 0);
    EXPECT_EQ(ops::start(second), -EINVAL);
    EXPECT_TRUE(log_has("the stream belongs to another handle"));
    EXPECT_EQ(ops::start(first), 0);
    EXPECT_EQ(read(first), 0);
    EXPECT_EQ(ops::start(first), -EINVAL);
    EXPECT_TRUE(log_has("error to start fc thread before open"));
    first->state = 2;
    EXPECT_EQ(ops::start(first), 0) << "prepared anew after a stop";
    EXPECT_EQ(read(first), 0);
}

TEST_F(pcm_owner, a_start_that_is_answered_too_late_is_a_start) {
    ASSERT_EQ(set_params(first), 0);
    int elsewhere[2];
    ASSERT_EQ(pipe2(elsewhere, O_NONBLOCK), 0);
    int& answers = fc_access::result_pipe(fc)[0];
    const int kept = std::exchange(answers, elsewhere[0]);
    fc_access::timeout_ms(fc) = 20;
    EXPECT_EQ(read(first), -ETIME);
    answers = kept;
    fc_access::timeout_ms(fc) = 1000;
    EXPECT_EQ(read(first), 0);
    EXPECT_EQ(ops::start(first), 0) << "a read has started it";
    close(elsewhere[0]);
    close(elsewhere[1]);
}

TEST_F(pcm_owner, a_status_without_an_error_number_is_told_as_eio) {
    fail_call(call::mixer_open, 1, 0);
    errno = 0;
    EXPECT_EQ(set_params(first), -1);
    EXPECT_EQ(errno, EIO);
}

// The worker waits in the card's read, so a command would take until its time-out.
TEST_F(pcm_owner, refused_handles_cost_the_owner_nothing) {
    using clock = std::chrono::steady_clock;
    ASSERT_EQ(set_params(first), 0);
    ASSERT_EQ(read(first), 0);
    allow_reads(0);
    const auto held = [] { return reads_waiting() == 1; };
    ASSERT_TRUE(eventually(held));

    std::atomic<bool> over{false};
    std::atomic<int> refusals{0};
    const auto intrude = [&](pcm_plugin* handle) {
        while (!over) {
            EXPECT_EQ(set_params(handle), -EINVAL);
            EXPECT_EQ(ops::start(handle), -EINVAL);
            EXPECT_EQ(read(handle), -EINVAL);
            pcm_plugin* looking = nullptr;
            EXPECT_EQ(ops::open(&looking, 70, 70, PCM_IN), 0);
            EXPECT_EQ(ops::close(looking), 0);
            ++refusals;
        }
    };
    clear_log();
    std::thread intruders[] = {std::thread(intrude, second), std::thread(intrude, third)};
    clock::duration longest{};
    for (const auto end = clock::now() + 500ms; clock::now() < end;) {
        const auto begin = clock::now();
        std::uint8_t data[64];
        EXPECT_GE(fc.read(data, sizeof(data)), 0);
        longest = std::max(longest, clock::now() - begin);
        clear_log();
    }
    over = true;
    for (std::thread& intruder : intruders) {
        intruder.join();
    }
    EXPECT_TRUE(held());
    allow_reads(-1);
    EXPECT_GT(refusals, 100);
    EXPECT_LT(longest, 200ms) << "a copy's time, and what the scheduler takes";
    EXPECT_EQ(set_params(second), -EINVAL);
    EXPECT_TRUE(log_has("hw_params", "the stream belongs to another handle"));
    EXPECT_EQ(read(first), 0);
}

}  // namespace
