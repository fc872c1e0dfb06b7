#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>

#include "captured_log.h"
#include "converter_access.h"

using zel_test::fc_access;

namespace {

TEST(command_channel, record_layout) {
    EXPECT_EQ(sizeof(ctl_cmd), 40U);
    EXPECT_EQ(offsetof(ctl_cmd, stConfig), 4U);
    EXPECT_EQ(offsetof(ctl_cmd, stConfig.format), 20U);
    EXPECT_EQ(offsetof(ctl_cmd, stConfig.silence_threshold), 32U);
    EXPECT_EQ(offsetof(ctl_cmd, u32Flags), 36U);
}

TEST(command_channel, status_machine) {
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
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.status << " <- " << row.code);
        zel_test::reset_script();
        zel_test::clear_log();  // of other workers' words
        const fc_access::owner fc = fc_access::make();
        // The worker sleeps: its status may be set and its commands carried out from here.
        ASSERT_TRUE(zel_test::eventually([] { return zel_test::log_has("+"); }));
        fc_access::status(*fc) = row.status;
        zel_test::clear_log();
        EXPECT_EQ(fc_access::execute(*fc, row.code), row.result);
        EXPECT_EQ(fc_access::status(*fc), row.next);
        if (row.message != nullptr) {
            EXPECT_TRUE(zel_test::log_has("process_command", row.message));
        } else {
            EXPECT_TRUE(zel_test::take_log().empty());
        }
        fc_access::status(*fc) = FC_CLOSE;
    }
}

TEST(command_channel, a_channel_without_pipes_fails_every_command) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    int& write_end = fc_access::command_pipe(*fc)[1];
    const int kept = write_end;
    write_end = 0;
    EXPECT_EQ(fc->close(), -EIO);
    EXPECT_EQ(fc->start(), -EIO);
    write_end = kept;
    EXPECT_EQ(fc->close(), 0);
}

TEST(command_channel, works_in_a_process_without_standard_input) {
    zel_test::reset_script();
    const int kept = dup(0);
    close(0);
    fc_access::owner fc = fc_access::make();
    for (const int* ends : {fc_access::command_pipe(*fc), fc_access::result_pipe(*fc)}) {
        EXPECT_GT(ends[0], 0);
        EXPECT_GT(ends[1], 0);
    }
    EXPECT_EQ(fc->close(), 0);
    fc.reset();
    EXPECT_EQ(fcntl(0, F_GETFD), -1) << "descriptor 0 is not ours";
    dup2(kept, 0);
    close(kept);
}

TEST(command_channel, a_forked_child_leaves_its_parents_stream_alone) {
    zel_test::reset_script();
    fc_access::owner fc = fc_access::make();
    const pcm_config config = zel_test::client_config();
    ASSERT_EQ(fc->open(&config, PCM_IN), 0);
    const pid_t child = fork();
    if (child == 0) {
        const bool refused =
            fc->close() == -EIO &&
            zel_test::log_has("send_command", "from a forked child, which has no worker");
        fc.reset();
        _exit(refused ? zel_test::calls_of(zel_test::call::pcm_close) : -1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(fc->close(), 0);
}

TEST(command_channel, skips_exactly_the_results_that_came_too_late) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    const pcm_config config = zel_test::client_config();
    ASSERT_EQ(fc->open(&config, PCM_IN), 0);
    ASSERT_EQ(fc->start(), 0);
    ASSERT_TRUE(
        zel_test::eventually([] { return zel_test::calls_of(zel_test::call::pcm_readi) > 0; }));
    fc_access::timeout_ms(*fc) = 20;
    zel_test::clear_log();
    EXPECT_EQ(fc->start(), -ETIME);              // its late result is -22
    EXPECT_EQ(fc_access::send(*fc, 7), -ETIME);  // and so is this one's
    EXPECT_TRUE(zel_test::log_has("wait command 2 result timeout"));
    EXPECT_TRUE(zel_test::log_has("wait command 7 result timeout"));
    fc_access::timeout_ms(*fc) = 1000;
    zel_test::allow_reads(-1);
    EXPECT_EQ(fc->close(), 0);
    EXPECT_EQ(fc->start(), -EINVAL);
    EXPECT_EQ(fc->open(&config, PCM_IN), 0);
    EXPECT_EQ(fc->close(), 0);
    EXPECT_EQ(zel_test::open_handles(), 0);
}

TEST(command_channel, the_four_bytes_in_the_pipe_are_the_result) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    ASSERT_EQ(fc_access::send(*fc, FC_EXIT), 0);  // from here on the test is the worker
    const auto answer = [&fc](std::uint32_t code, std::int32_t result) {
        ctl_cmd cmd{};
        pollfd sent{fc_access::command_pipe(*fc)[0], POLLIN, 0};
        ASSERT_EQ(poll(&sent, 1, 2000), 1);
        EXPECT_EQ(read(sent.fd, &cmd, sizeof(cmd)), 40);
        EXPECT_EQ(cmd.u32Cmd, code);
        EXPECT_EQ(write(fc_access::result_pipe(*fc)[1], &result, sizeof(result)), 4);
    };
    for (const std::int32_t result : {-77, 5, 0}) {
        std::thread worker(answer, FC_START, result);
        EXPECT_EQ(fc->start(), result);
        worker.join();
    }
    std::thread worker(answer, FC_EXIT, 0);
    fc_access::end(*fc);
    worker.join();
}

TEST(command_channel, an_exit_that_nobody_answers_leaves_the_worker_behind) {
    zel_test::reset_script();
    fc_access::owner fc = fc_access::make();
    ASSERT_EQ(zel_test::start_stream(*fc), 0);
    ASSERT_TRUE(
        zel_test::eventually([] { return zel_test::calls_of(zel_test::call::pcm_readi) > 0; }));
    zel_test::clear_log();
    const auto begin = std::chrono::steady_clock::now();
    fc.reset();  // while the card holds the worker
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1500));
    EXPECT_TRUE(zel_test::log_has("fc routine does not end"));
    EXPECT_EQ(zel_test::open_handles(), 2) << "what it uses stays";
    zel_test::allow_reads(-1);
    EXPECT_TRUE(zel_test::eventually([] { return zel_test::open_handles() == 0; }));
    EXPECT_TRUE(zel_test::eventually([] { return zel_test::log_has("fc routine terminate"); }));
}

}  // namespace
