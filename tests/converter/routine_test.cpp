#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cfenv>
#include <cstdlib>
#include <cstring>

#include "allocation_faults.h"
#include "captured_log.h"
#include "converter_access.h"
#include "footprint.h"
#include "system_faults.h"

using zel_test::call;
using zel_test::fc_access;

namespace {

TEST(routine, blocks_reach_the_client_with_the_newest_time) {
    zel_test::reset_script();
    zel_test::set_timestamps({{10, 0}, {10, 32'000'000}}, 7);
    zel_test::set_source([](void* data, unsigned int frames, const pcm_config&) {
        std::memset(data, 0x11, std::size_t{frames} * 4);
        return static_cast<int>(frames);
    });
    const fc_access::owner fc = fc_access::make();
    ASSERT_EQ(zel_test::start_stream(*fc), 0);
    zel_test::allow_reads(2);
    std::uint8_t data[6144] = {};
    std::uint32_t left = 0;
    ASSERT_TRUE(zel_test::eventually([] { return zel_test::calls_of(call::pcm_readi) == 3; }));
    ASSERT_EQ(fc->read(data, sizeof(data)), 6144);
    EXPECT_EQ(data[6143], 0x11);
    ASSERT_EQ(fc->get(PROP_AVAIL_FRAMES, &left), 0);
    EXPECT_EQ(left, 1536U);
    timespec ts{};
    ASSERT_EQ(fc->get(PROP_TIMESTAMP, &ts), 0);
    EXPECT_EQ(ts.tv_sec, 10);
    EXPECT_EQ(ts.tv_nsec, 32'000'007);
    zel_test::allow_reads(-1);
    EXPECT_EQ(fc->close(), 0);
    EXPECT_EQ(fc->read(data, sizeof(data)), -EINVAL);
    // The next stream has no time and no frames before its first read.
    const pcm_config config = zel_test::client_config();
    ASSERT_EQ(fc->open(&config, PCM_IN), 0);
    ASSERT_EQ(fc->get(PROP_AVAIL_FRAMES, &left), 0);
    EXPECT_EQ(left, 0U);
    ASSERT_EQ(fc->get(PROP_TIMESTAMP, &ts), 0);
    EXPECT_EQ(ts.tv_sec, 0);
    EXPECT_EQ(ts.tv_nsec, 0);
    EXPECT_EQ(fc->close(), 0);
}

TEST(routine, a_stream_that_is_only_opened_leaves_the_worker_asleep) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    const pcm_config config = zel_test::client_config();
    ASSERT_EQ(fc->open(&config, PCM_IN), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const int waits = zel_test::calls_of(zel_test::system_call::epoll_wait);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(zel_test::calls_of(zel_test::system_call::epoll_wait), waits);
    EXPECT_EQ(fc->close(), 0);
}

TEST(routine, takes_neither_rounding_nor_signals_from_the_first_client) {
    zel_test::reset_script();
    std::atomic<int> rounding{-1};
    std::atomic<bool> handles_requests{true}, handles_faults{false};
    zel_test::set_source([&](void*, unsigned int frames, const pcm_config&) {
        sigset_t blocked{};
        pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        handles_requests = !sigismember(&blocked, SIGTERM) || !sigismember(&blocked, SIGALRM);
        handles_faults = !sigismember(&blocked, SIGSEGV) && !sigismember(&blocked, SIGBUS);
        rounding = std::fegetround();
        return static_cast<int>(frames);
    });
    std::fesetround(FE_UPWARD);
    const fc_access::owner fc = fc_access::make();
    std::fesetround(FE_TONEAREST);
    ASSERT_EQ(zel_test::start_stream(*fc), 0);
    zel_test::allow_reads(-1);
    EXPECT_TRUE(zel_test::eventually([&] { return rounding != -1; }));
    EXPECT_EQ(rounding, FE_TONEAREST);
    EXPECT_FALSE(handles_requests);
    EXPECT_TRUE(handles_faults) << "or no crash handler tells of a crash of this thread";
    EXPECT_EQ(fc->close(), 0);
}

TEST(routine, steady_state_allocates_nothing_and_says_nothing) {
    zel_test::reset_script();
    std::atomic<int> blocks{0};
    std::atomic<std::size_t> first{0}, last{0};
    zel_test::set_source([&](void*, unsigned int frames, const pcm_config&) {
        (blocks == 5 ? first : last) = zel_test::thread_allocations();
        blocks += 1;
        return static_cast<int>(frames);
    });
    const fc_access::owner fc = fc_access::make();
    ASSERT_EQ(zel_test::start_stream(*fc, zel_test::client_config(48000, PCM_FORMAT_S32_LE)), 0);
    zel_test::allow_reads(5);
    ASSERT_TRUE(zel_test::eventually([] { return zel_test::calls_of(call::pcm_readi) == 6; }));
    zel_test::clear_log();
    zel_test::allow_reads(150);
    ASSERT_TRUE(zel_test::eventually([] { return zel_test::calls_of(call::pcm_readi) == 156; }));
    EXPECT_EQ(first, last);
    EXPECT_TRUE(zel_test::take_log().empty());
    zel_test::allow_reads(-1);
    EXPECT_EQ(fc->close(), 0);
}

/// ZEL_BLOCKS names another number than the one that suits a test run; the client reads along.
TEST(routine, any_number_of_blocks_leaves_heap_stack_and_descriptors_as_they_are) {
    const char* wanted = std::getenv("ZEL_BLOCKS");
    const int blocks = wanted != nullptr ? std::atoi(wanted) : 5'000;
    constexpr int kWarmUp = 100;
    ASSERT_GT(blocks, 2 * kWarmUp);
    zel_test::reset_script();
    zel_test::skip_waits();
    std::atomic<int> done{0};
    zel_test::footprint before{}, after{};
    const void *highest = nullptr, *lowest = nullptr;
    zel_test::set_source([&](void* data, unsigned int frames, const pcm_config& config) {
        std::memset(data, done & 0x7f, std::size_t{frames} * config.channels * 2);
        const void* stack = __builtin_frame_address(0);
        highest = done == 0 ? stack : std::max(highest, stack);
        lowest = done == 0 ? stack : std::min(lowest, stack);
        if (done == kWarmUp || done == blocks - 1) {
            (done == kWarmUp ? before : after) = zel_test::footprint::now();
        }
        done += 1;
        return static_cast<int>(frames);
    });
    const fc_access::owner fc = fc_access::make();
    zel_test::refuse_rate(16000, "cannot set hw params: Invalid argument");
    ASSERT_EQ(zel_test::start_stream(*fc, zel_test::client_config(16000, PCM_FORMAT_S32_LE)), 0);
    std::uint8_t data[4096];
    zel_test::allow_reads(blocks);
    while (done < blocks) {
        ASSERT_GE(fc->read(data, sizeof(data)), 0);
    }
    EXPECT_EQ(highest, lowest);
    EXPECT_EQ(after.heap_bytes, before.heap_bytes);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.threads, before.threads);
    zel_test::allow_reads(-1);
    EXPECT_EQ(fc->close(), 0);
}

TEST(routine, a_dead_card_is_tried_once_a_block_and_commands_are_answered_at_once) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    zel_test::fail_call(call::pcm_readi, 1, -1, 1'000'000);
    ASSERT_EQ(zel_test::start_stream(*fc), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(320));
    const int tries = zel_test::calls_of(call::pcm_readi);
    EXPECT_GE(tries, 3);
    EXPECT_LE(tries, 13) << "one at once, then at most one per 32 ms";
    EXPECT_TRUE(zel_test::log_has("read size incorrect u32ReadFrame -1 request 1536"));
    EXPECT_EQ(fc->close(), 0);
    EXPECT_EQ(zel_test::open_handles(), 0);
}

TEST(routine, a_card_whose_events_fail_is_tried_once_a_block) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    zel_test::allow_reads(-1);
    zel_test::fail_call(call::mixer_wait_event, 1, -ENODEV, 1'000'000);
    ASSERT_EQ(zel_test::start_stream(*fc), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(320));
    EXPECT_LE(zel_test::calls_of(call::mixer_wait_event), 13);
    EXPECT_EQ(zel_test::calls_of(call::pcm_readi), 0) << "the cycle ends where it failed";
    EXPECT_TRUE(zel_test::log_has("mixer wait event fail (-19)"));
    EXPECT_TRUE(zel_test::log_has("check mixer event fail"));
    zel_test::fail_call(call::mixer_wait_event, 1, 0, 0);
    EXPECT_TRUE(zel_test::eventually([] { return zel_test::calls_of(call::pcm_readi) > 5; }));
    EXPECT_EQ(fc->close(), 0);
}

}  // namespace
