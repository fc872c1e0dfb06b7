#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>

#include "allocation_faults.h"
#include "converter_access.h"
#include "footprint.h"
#include "system_faults.h"
#include "test_basics.h"

using namespace zel_test;

namespace {

class command_channel : public testing::Test {
  protected:
    void SetUp() override { fc = fc_access::make(); }
    /// Starts a stream whose worker waits at the card.
    void start_held() {
        ASSERT_STATUS(start_stream(*fc), 0);
        ASSERT_TRUE(eventually([] { return calls_of(call::pcm_readi) > 0; }));
        clear_log();
    }

    const int script = (reset_script(), 0);
    fc_access::owner fc;
    const pcm_config config = client_config();
};

TEST_F(command_channel, status_machine) {
    const struct {
        int status;
        std::uint32_t code;
        int next, result;
        const char* message;
    } rows[] = {
        {0, 0, 0, 0, nullptr},
        {0, 2, 0, -EINVAL, "error to start fc thread before open"},
        {0, 4, 0, -EINVAL, "unexpected behavior eFCStatuS 0 received 4"},
        {0, 5, 0, -EINVAL, nullptr},
        {0, 7, 0, -EINVAL, nullptr},
        {0, 3, 3, 0, nullptr},
        {1, 0, 0, 0, nullptr},
        {1, 1, 1, -EINVAL, "unexpected behavior eFCStatuS 1 received 1"},
        {1, 2, 2, 0, "start fc thread"},
        {1, 3, 3, 0, nullptr},
        {1, 4, 1, -EINVAL, "unexpected behavior eFCStatuS 1 received 4"},
        {2, 0, 0, 0, nullptr},
        {2, 1, 2, -EINVAL, "unexpected behavior eFCStatuS 2 received 1"},
        {2, 2, 2, -EINVAL, "error to start fc thread before open"},
        {2, 3, 3, 0, nullptr},
        {2, 7, 2, -EINVAL, nullptr},
    };
    // Without its worker, its status may be set and its commands carried out from here.
    fc_access::end(*fc);
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.status << " <- " << row.code);
        fc_access::status(*fc) = row.status;
        clear_log();
        EXPECT_EQ(fc_access::execute(*fc, row.code), row.result);
        EXPECT_EQ(fc_access::status(*fc), row.next);
        EXPECT_EQ(row.message == nullptr ? log_count("") : 0, 0U);
        EXPECT_TRUE(row.message == nullptr || log_has("process_command", row.message));
    }
    fc_access::status(*fc) = FC_CLOSE;
}

TEST_F(command_channel, without_pipes_fails_every_command) {
    const int kept = std::exchange(fc_access::command_pipe(*fc)[1], 0);
    EXPECT_STATUS(fc->close(), -EIO);
    EXPECT_STATUS(fc->start(), -EIO);
    fc_access::command_pipe(*fc)[1] = kept;
    EXPECT_STATUS(fc->close(), 0);
}

TEST_F(command_channel, a_command_that_cannot_be_written_is_an_error_at_once) {
    const int unwritable = open("/dev/null", O_RDONLY);
    const int kept = std::exchange(fc_access::command_pipe(*fc)[1], unwritable);
    EXPECT_STATUS(fc->close(), -EIO);
    EXPECT_TRUE(log_has("write fc control command fail"));
    fc_access::command_pipe(*fc)[1] = kept;
    close(unwritable);
    EXPECT_STATUS(fc->close(), 0) << "and leaves no result to wait for";
}

TEST_F(command_channel, a_command_of_another_size_is_refused) {
    ASSERT_EQ(write(fc_access::command_pipe(*fc)[1], "abc", 3), 3);
    pollfd answered{fc_access::result_pipe(*fc)[0], POLLIN, 0};
    ASSERT_EQ(poll(&answered, 1, 2000), 1);
    std::int32_t result = 0;
    EXPECT_EQ(read(answered.fd, &result, sizeof(result)), 4);
    EXPECT_STATUS(result, -EIO);
    EXPECT_TRUE(log_has("process_command", "read command size fail"));
}

TEST_F(command_channel, a_result_that_cannot_be_read_is_an_error_at_once) {
    const int unreadable = eventfd(1, EFD_NONBLOCK);  // in four bytes
    const int kept = std::exchange(fc_access::result_pipe(*fc)[0], unreadable);
    EXPECT_STATUS(fc->start(), -EIO);
    EXPECT_TRUE(log_has("read command 2 result size -1 incorrect 4 errno 22"));
    fc_access::result_pipe(*fc)[0] = kept;
    close(unreadable);
    EXPECT_STATUS(fc->close(), 0) << "behind the result that came meanwhile";
}

TEST_F(command_channel, works_in_a_process_without_standard_input) {
    fc.reset();
    const int kept = dup(0);
    const int kept_output = dup(1);
    for (const auto& [input, output] : {std::pair{false, true}, {true, false}, {false, false}}) {
        input ? dup2(kept, 0) : close(0);
        output ? dup2(kept_output, 1) : close(1);  // 1 may well be ours
        fc = fc_access::make();
        for (const int* ends : {fc_access::command_pipe(*fc), fc_access::result_pipe(*fc)}) {
            EXPECT_GT(ends[0], 0);
            EXPECT_GT(ends[1], 0);
        }
        EXPECT_STATUS(fc->close(), 0);
        fc.reset();
        EXPECT_EQ(fcntl(0, F_GETFD) != -1, input) << "descriptor 0 is not ours";
        EXPECT_EQ(fcntl(1, F_GETFD) != -1, output) << "1 is given back";
    }
    dup2(kept_output, 1);
    close(kept_output);
    // Nor is it kept when there is no other number to be had.
    rlimit before{};
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit few{64, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
    std::vector<int> taken;
    for (int fd = dup(kept); fd >= 0; fd = dup(kept)) {
        taken.push_back(fd);
    }
    close(0);
    close(taken.back());
    clear_log();
    fc = fc_access::make();
    ASSERT_TRUE(eventually([this] { return fc_access::has_ended(*fc).load(); }))
        << "its poller too";
    EXPECT_TRUE(log_has("create command pipe error"));
    EXPECT_EQ(fcntl(0, F_GETFD), -1);
    EXPECT_EQ(fcntl(taken.back(), F_GETFD), -1);
    EXPECT_STATUS(fc->close(), -EIO);
    std::for_each(taken.begin(), taken.end(), ::close);
    setrlimit(RLIMIT_NOFILE, &before);
    dup2(kept, 0);
    close(kept);
}

TEST_F(command_channel, a_forked_child_leaves_its_parents_stream_alone) {
    ASSERT_STATUS(fc->open(&config, PCM_IN), 0);
    const pid_t child = fork();
    if (child == 0) {
        char area[zel_format_converter::kMaxPathBytes] = {};
        const bool refused =
            fc->close() == -EIO && fc->start() == -EIO && fc->open(&config, PCM_IN) == -EIO &&
            fc->read(area, 1) == -EIO && fc->get(PROP_LOG_LEVEL, area) == -EIO &&
            fc->set(PROP_LOG_LEVEL, area) == -EIO && fc->register_cb({}, nullptr) == -EIO &&
            log_count("a forked child has no worker") == 6;
        fc.reset();
        _exit(refused ? calls_of(call::pcm_close) : -1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_STATUS(status, 0);
    EXPECT_STATUS(fc->close(), 0);
}

TEST_F(command_channel, skips_exactly_the_results_that_came_too_late) {
    start_held();
    fail_system_call(system_call::epoll_wait, 1, EBADF);
    EXPECT_STATUS(fc->start(), -EIO);  // its result comes too late, too
    EXPECT_TRUE(log_has("send_command", "epoll wait fail -9"));
    fc_access::timeout_ms(*fc) = 20;
    EXPECT_STATUS(fc->start(), -ETIME);              // its late result is -22
    EXPECT_STATUS(fc_access::send(*fc, 7), -ETIME);  // and so is this one's
    EXPECT_TRUE(log_has("wait command 2 result timeout"));
    EXPECT_TRUE(log_has("wait command 7 result timeout"));
    fc_access::timeout_ms(*fc) = 1000;
    allow_reads(-1);
    EXPECT_STATUS(fc->close(), 0);
    EXPECT_STATUS(fc->start(), -EINVAL);
    EXPECT_STATUS(fc->open(&config, PCM_IN), 0);
    EXPECT_STATUS(fc->close(), 0);
    EXPECT_EQ(open_handles(), 0);
}

TEST_F(command_channel, forty_bytes_go_through_the_pipe_and_four_are_the_result) {
    ASSERT_STATUS(fc_access::send(*fc, FC_EXIT), 0);  // from here on the test is the worker
    ASSERT_TRUE(eventually([this] { return fc_access::has_ended(*fc).load(); }));
    fc_access::has_ended(*fc) = false;
    using words = std::vector<std::uint32_t>;
    words record;
    const auto tell = [&](std::int32_t result) {
        EXPECT_EQ(write(fc_access::result_pipe(*fc)[1], &result, sizeof(result)), 4);
    };
    const auto answer = [&](std::int32_t result) {
        record.resize(11);
        pollfd sent{fc_access::command_pipe(*fc)[0], POLLIN, 0};
        ASSERT_EQ(poll(&sent, 1, 2000), 1);
        EXPECT_EQ(read(sent.fd, record.data(), 44), 40);
        record.resize(10);
        tell(result);
    };
    for (const std::int32_t result : {-77, 5, 0}) {
        std::thread worker(answer, result);
        EXPECT_EQ(fc->start(), result);
        worker.join();
        EXPECT_EQ(record, (words{FC_START, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    }
    // A stale result in between costs a sender the time that it took to come, and no more.
    fc_access::timeout_ms(*fc) = 20;
    EXPECT_STATUS(fc->start(), -ETIME);
    fc_access::timeout_ms(*fc) = 5000;
    take_poll_timeouts();
    std::vector<int> waits;
    std::thread late([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        tell(-1);
        eventually([&waits] {
            const std::vector<int> more = take_poll_timeouts();
            waits.insert(waits.end(), more.begin(), more.end());
            return waits.size() >= 2;
        });
        tell(-2);
    });
    EXPECT_EQ(fc->start(), -2);
    late.join();
    EXPECT_EQ(read(fc_access::command_pipe(*fc)[0], std::vector<char>(99).data(), 99), 80);
    ASSERT_GE(waits.size(), 2U);
    EXPECT_EQ(waits[0], 5000);
    EXPECT_LE(waits[1], 4900) << "less what has passed";
    pcm_config numbered = config;
    numbered.start_threshold = 7;
    numbered.stop_threshold = 8;
    numbered.silence_threshold = 9;
    std::thread worker(answer, -1);
    EXPECT_EQ(fc->open(&numbered, PCM_IN), -1);
    worker.join();
    EXPECT_EQ(record,
              (words{FC_OPEN, 2, 48000, 1536, 4, PCM_FORMAT_S16_LE, 7, 8, 9, unsigned{PCM_IN}}));
    worker = std::thread(answer, 0);
    fc_access::end(*fc);
    worker.join();
}

TEST_F(command_channel, an_exit_that_nobody_answers_leaves_the_worker_behind) {
    start_held();
    const auto begin = std::chrono::steady_clock::now();
    fc.reset();  // while the card holds the worker
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - begin;
    EXPECT_NEAR(taken.count(), 1.25, 0.26) << "a command's second";
    EXPECT_TRUE(log_has("wait command 3 result timeout"));
    EXPECT_TRUE(log_has("fc routine does not end"));
    EXPECT_EQ(open_handles(), 2) << "what it uses stays";
    allow_reads(-1);
    EXPECT_TRUE(eventually([] { return open_handles() == 0; }));
    EXPECT_TRUE(eventually([] { return log_has("fc routine terminate"); }));
    fc_access::join(*fc_access::left_behind.back());  // or a thread sanitizer calls it a leak
}

TEST_F(command_channel, the_end_gives_up_its_turn_when_a_client_keeps_its_own) {
    fc_access::timeout_ms(*fc) = 50;
    {
        const std::lock_guard client(fc_access::client_lock(*fc));
        std::thread([this] { fc_access::end(*fc); }).join();
    }
    EXPECT_TRUE(log_has("shut_down", "a client's operation does not end"));
    EXPECT_FALSE(fc_access::has_ended(*fc)) << "the worker is left alone";
    fc_access::timeout_ms(*fc) = 1000;
    std::unique_lock client(fc_access::client_lock(*fc));
    auto ended = std::async(std::launch::async, [this] { fc_access::end(*fc); });
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    client.unlock();
    ended.get();
    EXPECT_TRUE(fc_access::has_ended(*fc));
}

TEST_F(command_channel, nothing_is_asked_after_the_end) {
    char area[zel_format_converter::kMaxPathBytes] = {};
    ASSERT_STATUS(start_stream(*fc), 0);
    allow_reads(-1);
    fc_access::end(*fc);
    EXPECT_EQ(open_handles(), 0);
    clear_log();
    EXPECT_STATUS(fc->open(&config, PCM_IN), -EIO);
    EXPECT_STATUS(fc->start(), -EIO);
    EXPECT_STATUS(fc->read(area, 1), -EIO);
    EXPECT_STATUS(fc->get(PROP_LOG_LEVEL, area), -EIO);
    EXPECT_STATUS(fc->close(), 0) << "there is nothing left to do";
    EXPECT_EQ(log_count("the process ends"), 5U);
    EXPECT_EQ(log_count("command channel is not open"), 0U);
}

TEST_F(command_channel, a_worker_can_be_ended_and_made_anew) {
    EXPECT_STATUS(fc_access::destroy_task(*fc), 0);
    EXPECT_STATUS(fc_access::create_task(*fc), 0);
    EXPECT_STATUS(fc_access::send(*fc, FC_CLOSE), 0);
}

TEST_F(command_channel, a_worker_that_has_ended_is_not_waited_for) {
    fc.reset();
    fail_system_call(system_call::epoll_create1, 1, EMFILE);
    fc = fc_access::make();
    ASSERT_TRUE(eventually([this] { return fc_access::has_ended(*fc).load(); }));
    ASSERT_TRUE(stop_failing_system_calls());
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_STATUS(fc->open(&config, PCM_IN), -ETIME);
    EXPECT_TRUE(log_has("send_command", "command 1 finds no worker, it has ended"));
    EXPECT_STATUS(fc->close(), -ETIME);
    fc.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(900));
}

TEST_F(command_channel, memory_that_runs_out_while_the_converter_is_built_leaves_nothing) {
    fc.reset();
    const footprint before = footprint::now();
    std::size_t failed = 0;
    for (bool struck = true; struck; failed += struck ? 1 : 0) {
        SCOPED_TRACE(failed);
        fail_allocation(failed + 1);
        try {
            fc = fc_access::make();
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(footprint::now().descriptors, before.descriptors);
        }
        struck = stop_failing_allocations();
        EXPECT_EQ(fc == nullptr, struck);
        sigset_t blocked{};
        pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
        EXPECT_EQ(sigismember(&blocked, SIGTERM), 0);
    }
    EXPECT_TRUE(log_has("create_fc_task", "create routine thread fail std::bad_alloc"));
    EXPECT_STATUS(fc->close(), 0);
}

TEST_F(command_channel, properties_refuse_what_is_none_and_areas_that_are_missing) {
    char area[zel_format_converter::kMaxPathBytes] = {};
    for (const property_e none : {PROP_COUNT, static_cast<property_e>(PROP_COUNT + 1)}) {
        EXPECT_STATUS(fc->get(none, area), -EINVAL);
        EXPECT_STATUS(fc->set(none, area), -EINVAL);
    }
    for (unsigned int property = 0; property < static_cast<unsigned int>(PROP_COUNT); ++property) {
        clear_log();
        EXPECT_STATUS(fc->get(static_cast<property_e>(property), nullptr), -EINVAL);
        EXPECT_STATUS(fc->set(static_cast<property_e>(property), nullptr), -EINVAL);
        EXPECT_EQ(log_count("invalid data"), 2U);
    }
    EXPECT_STATUS(fc->set(PROP_TIMESTAMP, area), 0);
    EXPECT_TRUE(log_has("undefine 2 property"));
    fc_access::delay_path(*fc).assign(127, 'x');  // the platform's paths may be of any length
    EXPECT_STATUS(fc->get(PROP_DELAY_JSON_PATH, area), 0);
    EXPECT_EQ(std::string(area), fc_access::delay_path(*fc));
    fc_access::delay_path(*fc) += 'y';
    EXPECT_STATUS(fc->get(PROP_DELAY_JSON_PATH, area), -EINVAL);
    EXPECT_TRUE(log_has("get", "path of 128 characters does not fit"));
}

// Before anything else in this program asks for the one converter.
TEST(first_call, tries_again_after_a_failure_and_lets_other_threads_wait_but_no_forked_child) {
    reset_script();
    fail_allocation(1);
    EXPECT_THROW(zel_format_converter::getInstance(), std::bad_alloc);
    stop_failing_allocations();
    reset_script();

    std::promise<void> building, go_on;
    on_get_json_path([&] {
        if (calls_of(call::get_json_path) == 0) {
            building.set_value();
            go_on.get_future().wait();
        }
    });
    const auto ask = [] { return &zel_format_converter::getInstance(); };
    auto first = std::async(std::launch::async, ask);
    building.get_future().wait();
    auto second = std::async(std::launch::async, ask);
    const pid_t child = fork();
    if (child == 0) {
        alarm(5);
        try {
            zel_format_converter::getInstance();
        } catch (const std::runtime_error&) {
            _exit(42);
        }
        _exit(0);
    }
    int status = 0;
    EXPECT_TRUE(eventually([&] {
        waitpid(child, &status, WNOHANG);
        return WEXITSTATUS(status) == 42;
    })) << "the builder is not in the child";
    EXPECT_EQ(second.wait_for(std::chrono::milliseconds(10)), std::future_status::timeout);
    go_on.set_value();
    EXPECT_EQ(first.get(), second.get());
    on_get_json_path({});
    EXPECT_STATUS(ask()->close(), 0);
}

}  // namespace
