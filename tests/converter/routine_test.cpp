#include <signal.h>

#include <cfenv>

#include "allocation_faults.h"
#include "converter_access.h"
#include "footprint.h"
#include "system_faults.h"
#include "test_basics.h"

using zel_test::call;
using zel_test::fc_access;

namespace {

TEST(routine, reads_find_the_newest_time_and_an_open_forgets_them) {
    zel_test::reset_script();
    zel_test::refuse_rate(16000, "cannot set hw params");
    zel_test::set_timestamps({{10, 0}, {10, 32'000'000}}, 7);
    const fc_access::owner fc = fc_access::make();
    const auto expect_found = [&fc](time_t sec, long nsec, std::uint32_t frames) {
        std::uint32_t left = 1;
        timespec ts{1, 1};
        EXPECT_STATUS(fc->get(PROP_AVAIL_FRAMES, &left), 0);
        EXPECT_STATUS(fc->get(PROP_TIMESTAMP, &ts), 0);
        EXPECT_EQ(ts.tv_sec, sec);
        EXPECT_EQ(ts.tv_nsec, nsec);
        EXPECT_EQ(left, frames);
    };
    ASSERT_STATUS(zel_test::start_stream(*fc, zel_test::client_config(16000)), 0);
    zel_test::allow_reads(2);
    ASSERT_TRUE(zel_test::eventually([] { return zel_test::calls_of(call::pcm_readi) == 3; }));
    std::uint8_t data[2048];
    ASSERT_EQ(fc->read(data, sizeof(data)), 2048);
    expect_found(10, 32'000'000 + 7 * 48, 512);  // adjusted at the card's rate, not at the client's
    zel_test::allow_reads(-1);
    EXPECT_STATUS(fc->close(), 0);
    EXPECT_STATUS(fc->read(data, sizeof(data)), -EINVAL);
    const pcm_config config = zel_test::client_config();
    ASSERT_STATUS(fc->open(&config, PCM_IN), 0);
    expect_found(0, 0, 0);
    EXPECT_STATUS(fc->close(), 0);
}

/// How long the worker has waited between its capture cycles so far, in milliseconds. Without a
/// stream it waits for ever, and a client for its answer longer.
std::vector<int> cycle_waits() {
    std::vector<int> waits = zel_test::take_poll_timeouts();
    std::erase_if(waits, [](int ms) { return ms < 0 || ms > 100; });
    return waits;
}

TEST(routine, waits_one_block_from_a_cards_second_failure_in_a_row_on) {
    const struct {
        call failing;
        const char* message;
        const char* cycle;
    } rows[] = {
        {call::pcm_readi, "read size incorrect u32ReadFrame -19 request 1536",
         "read pcm device fail"},
        {call::mixer_wait_event, "mixer wait event fail (-19)", "check mixer event fail"},
        {call::mixer_read_event, "mixer consume event fail(-19)", "check mixer event fail"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        zel_test::reset_script();
        cycle_waits();
        const fc_access::owner fc = fc_access::make();
        const auto fail = [&](int times) {
            zel_test::fail_call(row.failing, 1, -ENODEV, times);
            zel_test::push_event(1);  // for the read of one
        };
        ASSERT_STATUS(zel_test::start_stream(*fc), 0);
        zel_test::allow_reads(1);
        ASSERT_TRUE(zel_test::eventually(zel_test::card_is_idle));
        fail(3);
        zel_test::allow_reads(2);
        ASSERT_TRUE(zel_test::eventually(zel_test::card_is_idle));
        // Behind two good cycles, three bad ones and a good one.
        EXPECT_EQ(cycle_waits(), (std::vector<int>{0, 0, 0, 32, 32, 0}));
        EXPECT_TRUE(zel_test::log_has(row.message));
        EXPECT_TRUE(zel_test::log_has("routine", row.cycle));

        fail(1'000'000);
        zel_test::allow_reads(1);
        ASSERT_TRUE(zel_test::eventually([&] { return zel_test::calls_of(row.failing) > 8; }));
        EXPECT_STATUS(fc->close(), 0);
        zel_test::reset_script();
        cycle_waits();
        fail(1);
        ASSERT_STATUS(zel_test::start_stream(*fc), 0);
        ASSERT_TRUE(zel_test::eventually(zel_test::card_is_idle));
        EXPECT_EQ(cycle_waits(), std::vector<int>{0}) << "a new stream's first failure";
        zel_test::allow_reads(-1);
    }
}

TEST(routine, a_stream_that_is_only_opened_leaves_the_worker_asleep) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    const pcm_config config = zel_test::client_config();
    ASSERT_STATUS(fc->open(&config, PCM_IN), 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    const int waits = zel_test::calls_of(zel_test::system_call::epoll_wait);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(zel_test::calls_of(zel_test::system_call::epoll_wait), waits);
    EXPECT_STATUS(fc->close(), 0);
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
    ASSERT_STATUS(zel_test::start_stream(*fc), 0);
    zel_test::allow_reads(-1);
    EXPECT_TRUE(zel_test::eventually([&] { return rounding != -1; }));
    EXPECT_EQ(rounding, FE_TONEAREST);
    EXPECT_FALSE(handles_requests);
    EXPECT_TRUE(handles_faults) << "or no crash handler tells of a crash of this thread";
    EXPECT_STATUS(fc->close(), 0);
}

/// ZEL_BLOCKS names another number than the one that suits a test run; the client reads along.
TEST(routine, any_number_of_blocks_allocates_nothing_says_nothing_and_leaves_all_as_it_is) {
    const char* wanted = std::getenv("ZEL_BLOCKS");
    const int blocks = wanted != nullptr ? std::atoi(wanted) : 5'000;
    constexpr int kWarmUp = 100;
    ASSERT_GT(blocks, 2 * kWarmUp);
    zel_test::reset_script();
    zel_test::skip_waits();
    std::atomic<int> done{0};
    zel_test::footprint before{}, after{};
    std::size_t allocations = 0;
    const void *highest = nullptr, *lowest = nullptr;
    zel_test::set_source([&](void* data, unsigned int frames, const pcm_config& config) {
        std::memset(data, done & 0x7f, std::size_t{frames} * config.channels * 2);
        const void* stack = __builtin_frame_address(0);
        highest = done == 0 ? stack : std::max(highest, stack);
        lowest = done == 0 ? stack : std::min(lowest, stack);
        if (done == kWarmUp) {
            zel_test::clear_log();
            before = zel_test::footprint::now();
            allocations = zel_test::thread_allocations();
        } else if (done == blocks - 1) {
            allocations -= zel_test::thread_allocations();
            after = zel_test::footprint::now();
        }
        done += 1;
        return static_cast<int>(frames);
    });
    const fc_access::owner fc = fc_access::make();
    zel_test::refuse_rate(16000, "cannot set hw params: Invalid argument");
    ASSERT_STATUS(zel_test::start_stream(*fc, zel_test::client_config(16000, PCM_FORMAT_S32_LE)),
                  0);
    std::uint8_t data[4096];
    zel_test::allow_reads(blocks);
    while (done < blocks) {
        ASSERT_GE(fc->read(data, sizeof(data)), 0);
    }
    EXPECT_EQ(zel_test::log_count(""), 0U);
    EXPECT_EQ(allocations, 0U);
    EXPECT_EQ(highest, lowest);
    EXPECT_EQ(after.heap_bytes, before.heap_bytes);
    EXPECT_EQ(after.descriptors, before.descriptors);
    EXPECT_EQ(after.threads, before.threads);
    zel_test::allow_reads(-1);
    EXPECT_STATUS(fc->close(), 0);
}

}  // namespace
