// What comes from outside while a stream runs: signals, clocks that jump, cards and clients that
// stall. Audio stays whole, and nothing takes longer than its bound.

#include <gtest/gtest.h>
#include <pthread.h>
#include <tinyalsa/pcm.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <future>
#include <memory>
#include <thread>

#include "captured_log.h"
#include "stream_fixture.h"

namespace {

using zel_test::stream_setup;
using namespace std::chrono_literals;

using disturbance_test = zel_test::stream_fixture;
const stream_setup kUsual{32, 8, 16, 2, 16000};

TEST_F(disturbance_test, signals_interrupt_no_call) {
    struct sigaction action {};
    struct sigaction before {};
    action.sa_handler = [](int) {};  // without SA_RESTART: blocking calls end with EINTR
    sigaction(SIGUSR1, &action, &before);
    std::atomic<bool> over{false};
    const auto bombard = std::async(std::launch::async, [&over, client = pthread_self()] {
        while (!over) {
            pthread_kill(client, SIGUSR1);
            std::this_thread::sleep_for(200us);
        }
    });
    // A round that fails leaves the test; the signals must end then, too.
    const auto end = [](std::atomic<bool>* flag) { *flag = true; };
    const std::unique_ptr<std::atomic<bool>, decltype(end)> ended(&over, end);
    for (int round = 0; round < 5; ++round) {
        ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
        EXPECT_EQ(read_blocks(10), expected(kUsual, 10));
        // A read that has to wait for its data.
        const auto later = std::async(std::launch::async, [this] {
            std::this_thread::sleep_for(50ms);
            set("Sim Granted Frames", 1536);
        });
        zel_test::chain_model model(kUsual, zel_test::matrix_for("1.0", 8, 2));
        expected(model, 10);
        EXPECT_EQ(read(512), expected(model, 1));
        later.wait();
        close();
    }
    over = true;
    bombard.wait();
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_FALSE(zel_test::log_has("epoll wait fail"));
}

TEST_F(disturbance_test, a_clock_that_jumps_is_told_and_costs_nothing) {
    ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
    zel_test::chain_model model(kUsual, zel_test::matrix_for("1.0", 8, 2));
    EXPECT_EQ(read_blocks(3), expected(model, 3));
    for (const int jump_ms : {500, -700}) {
        set("Sim Fault Clock Jump", jump_ms);  // taken by the read after the one under way
        EXPECT_EQ(read_blocks(4), expected(model, 4));
    }
    EXPECT_EQ(zel_test::log_count("timestamp glitch 500 ms more than 1 ms"), 1U);
    EXPECT_EQ(zel_test::log_count("timestamp glitch"), 1U) << "back in time is no gap";
}

TEST_F(disturbance_test, a_client_that_sleeps_gets_the_newest_audio_and_its_time) {
    ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
    zel_test::chain_model model(kUsual, zel_test::matrix_for("1.0", 8, 2));
    constexpr unsigned int kMinute = 60'000 / 32;
    for (unsigned int b = 0; b < kMinute; ++b) {
        grant_block();
        if (b + 4 < kMinute) {
            model.next_block();
        }
    }
    EXPECT_EQ(read(4 * 512), expected(model, 4));
    const position before = newest();
    EXPECT_EQ(before.left, 0U);
    EXPECT_EQ(read_blocks(1), expected(model, 1));
    EXPECT_EQ(newest().time_ns - before.time_ns, 32'000'000);
    EXPECT_EQ(newest().left, 0U);
}

}  // namespace
