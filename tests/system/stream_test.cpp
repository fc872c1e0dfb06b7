// Whole streams through the real path: tinyalsa layer, card definition, library, worker, simulated
// card, chain, ring buffer. Every sample is held against the slow model.

#include <pthread.h>
#include <tinyalsa/pcm.h>

#include <csignal>

#include "stream_fixture.h"
#include "test_basics.h"

using namespace std::chrono_literals;
using zel_test::stream_setup;

namespace {

using stream_test = zel_test::stream_fixture;

const stream_setup kUsual{32, 2, 16, 2, 16000};

TEST_F(stream_test, buffers_of_any_size_are_served) {
    const std::vector<std::int32_t> wanted = expected(kUsual, 10);
    using period = std::pair<unsigned int, unsigned int>;
    for (const auto& [size, count] : {period{1, 1}, {128, 2}, {1000, 4}, {1024, 4}, {100000, 1}}) {
        zel_test::clear_log();
        ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual, size, count));
        EXPECT_EQ(zel_test::log_has("is not the multiple of frame 512"), size % 512 != 0);
        EXPECT_EQ(read_blocks(10), wanted) << size << " x " << count;
        close();
    }
}

TEST_F(stream_test, signals_interrupt_no_call) {
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
        zel_test::chain_model model(kUsual, zel_test::matrix_for("1.0", 2, 2));
        EXPECT_EQ(read_blocks(10), expected(model, 10));
        // A read that has to wait for its data.
        const auto later = std::async(std::launch::async, [this] {
            std::this_thread::sleep_for(50ms);
            set("Sim Granted Frames", 1536);
        });
        EXPECT_EQ(read(512), expected(model, 1));
        later.wait();
        close();
    }
    over = true;
    bombard.wait();
    sigaction(SIGUSR1, &before, nullptr);
    EXPECT_FALSE(zel_test::log_has("epoll wait fail"));
}

}  // namespace
