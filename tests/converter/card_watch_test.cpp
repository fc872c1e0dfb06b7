// What the card's change events lead to. Most of it on the test's own thread, step by step.

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include "allocation_faults.h"
#include "captured_log.h"
#include "converter_access.h"
#include "test_folder.h"

using zel_test::call;
using zel_test::fc_access;

namespace {

constexpr unsigned int kActive = 1, kLayout = 6;

class card_watch : public testing::Test {
  protected:
    void SetUp() override {
        zel_test::reset_script();
        fc = fc_access::make();
        ASSERT_EQ(fc->set(PROP_MIXING_JSON_PATH, two_layouts().c_str()), 0);
        ASSERT_EQ(fc_access::open_here(*fc, zel_test::client_config(), PCM_IN), 0);
        zel_test::clear_log();
    }
    void TearDown() override {
        fc_access::execute(*fc, FC_CLOSE);
        EXPECT_EQ(zel_test::open_handles(), 0);
    }

    /// Layout 2.0 passes both channels through, 1.0 swaps them.
    static std::string two_layouts() {
        return zel_test::write_file("two_layouts.json",
                                    R"({"MixingCoefficientEnable":true,"MixingWeighting":[
            {"InputChannel":2,"InputChannelLayout":"2.0","OutputChannel":2,"Parameters":[1,0,0,1]},
            {"InputChannel":2,"InputChannelLayout":"1.0","OutputChannel":2,"Parameters":[0,1,1,0]}]})");
    }
    /// Left and right of the first output frame for an input of 100 and 200.
    std::pair<int, int> mixed() {
        auto* in = reinterpret_cast<std::int16_t*>(fc_access::in(*fc)->pu8Buf.get());
        in[0] = 100;
        in[1] = 200;
        EXPECT_EQ(fc_access::process(*fc), 0);
        const auto* out = reinterpret_cast<const std::int16_t*>(fc_access::out(*fc)->pu8Buf.get());
        return {out[0], out[1]};
    }

    fc_access::owner fc;
};

TEST_F(card_watch, nothing_pending_is_no_news) {
    const std::uint32_t before = zel_format_converter::u32LOG_LEVEL.exchange(FC_LOG_TRACE);
    EXPECT_EQ(fc_access::check_event(*fc), 0);
    EXPECT_TRUE(zel_test::log_has("no event received"));
    zel_format_converter::u32LOG_LEVEL = before;
    // A wake-up without an event is none either.
    zel_test::fail_call(call::mixer_read_event, 1, 0);
    zel_test::push_event(kActive);
    EXPECT_EQ(fc_access::check_event(*fc), 0);
    EXPECT_EQ(zel_test::calls_of(call::pcm_open), 1);
    EXPECT_FALSE(fc_access::pending(*fc));
}

TEST_F(card_watch, a_new_source_restarts_with_the_cards_new_settings) {
    zel_test::set_control("PCM Slave Active", 0);
    zel_test::set_control("PCM Slave Channels", 4);
    zel_test::set_control("PCM Slave Format", 10);
    zel_test::push_event(kActive);
    EXPECT_EQ(fc_access::check_event(*fc), 0);
    EXPECT_TRUE(fc_access::pending(*fc));
    EXPECT_TRUE(zel_test::log_has("I2S loopback"));
    const auto opened = zel_test::opened_streams();
    ASSERT_EQ(opened.size(), 2U);
    EXPECT_EQ(opened[1].config.channels, 4U);
    EXPECT_EQ(opened[1].config.format, PCM_FORMAT_S32_LE);
    EXPECT_EQ(opened[1].config.period_size, opened[0].config.period_size);
    EXPECT_EQ(zel_test::open_handles(), 2) << "one stream, one mixer";
    EXPECT_EQ(fc_access::in(*fc)->u32BufSize, 1536U * 16);
    EXPECT_EQ(zel_test::calls_of(call::mixer_open), 1) << "the subscription stays";
}

TEST_F(card_watch, the_first_block_after_a_restart_has_no_previous_one) {
    zel_test::allow_reads(-1);
    zel_test::set_timestamps({{7, 0}, {9, 0}, {12, 0}}, 0);
    timespec ts{};
    ASSERT_EQ(fc_access::read_device(*fc, &ts), 0);
    zel_test::push_event(kActive);
    ASSERT_EQ(fc_access::check_event(*fc), 0);
    ASSERT_EQ(fc_access::read_device(*fc, &ts), 0);
    EXPECT_FALSE(zel_test::log_has("timestamp glitch"));
    ASSERT_EQ(fc_access::read_device(*fc, &ts), 0);
    EXPECT_TRUE(zel_test::log_has("check_timestamp", "timestamp glitch 2968 ms"));
}

TEST_F(card_watch, a_restart_that_a_close_follows_is_not_announced_in_the_next_stream) {
    int told = 0;
    fc->register_cb([&told](void*) { ++told; }, nullptr);
    zel_test::push_event(kActive);
    ASSERT_EQ(fc_access::check_event(*fc), 0);
    ASSERT_EQ(fc_access::execute(*fc, FC_CLOSE), 0);
    ASSERT_EQ(fc_access::open_here(*fc, zel_test::client_config(), PCM_IN), 0);
    fc_access::notify(*fc);
    EXPECT_EQ(told, 0);
}

TEST_F(card_watch, a_new_layout_switches_the_matrix_without_a_restart) {
    EXPECT_EQ(mixed(), (std::pair{100, 200}));
    zel_test::set_control("PCM Channel Layout", 0);
    zel_test::push_event(kLayout);
    EXPECT_EQ(fc_access::check_event(*fc), 0);
    EXPECT_EQ(mixed(), (std::pair{200, 100}));
    EXPECT_EQ(fc_access::layout(*fc), "1.0");
    EXPECT_EQ(zel_test::calls_of(call::pcm_open), 1);
    EXPECT_FALSE(fc_access::pending(*fc));
    // No entry for this one: the identity matrix, told by the result.
    zel_test::set_control("PCM Channel Layout", 3);
    zel_test::push_event(kLayout);
    EXPECT_EQ(fc_access::check_event(*fc), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("change channel layout fail"));
    EXPECT_EQ(mixed(), (std::pair{100, 200}));
}

TEST_F(card_watch, failures_are_told_and_passed_on) {
    const struct {
        void (*script)();
        unsigned int numid;
        int result;
        const char* operation;
        const char* message;
    } rows[] = {
        {[] { zel_test::fail_call(call::mixer_wait_event, 1, -ENODEV); }, kActive, -ENODEV,
         "check_mixer_event", "mixer wait event fail (-19)"},
        {[] { zel_test::fail_call(call::mixer_read_event, 1, -EIO); }, kActive, -EIO,
         "check_mixer_event", "mixer consume event fail(-5)"},
        {[] {}, 2, -EINVAL, "check_mixer_event", "unexpected event 2"},
        {[] {}, 0, -EINVAL, "check_mixer_event", "unexpected event 0"},
        {[] { zel_test::remove_control("PCM Channel Layout"); }, kLayout, -EINVAL,
         "check_mixer_event", "get channel layout fail"},
        {[] { zel_test::fail_call(call::mixer_ctl_get_enum_string, 1, 0); }, kLayout, -EINVAL,
         "get_channel_layout", "get channel layout name fail"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        TearDown();
        SetUp();
        row.script();
        zel_test::push_event(row.numid);
        EXPECT_EQ(fc_access::check_event(*fc), row.result);
        EXPECT_TRUE(zel_test::log_has(row.operation, row.message));
        EXPECT_EQ(zel_test::calls_of(call::pcm_open), 1);
        EXPECT_FALSE(fc_access::pending(*fc));
    }
}

TEST_F(card_watch, one_event_is_taken_at_a_time) {
    zel_test::push_event(kActive);
    zel_test::push_event(3);
    zel_test::push_event(kActive);
    EXPECT_EQ(fc_access::check_event(*fc), 0);
    EXPECT_EQ(zel_test::calls_of(call::pcm_open), 2);
    EXPECT_EQ(fc_access::check_event(*fc), -EINVAL);
    EXPECT_EQ(fc_access::check_event(*fc), 0);
    EXPECT_EQ(zel_test::calls_of(call::pcm_open), 3);
}

TEST_F(card_watch, a_restart_is_tried_ten_times_and_a_later_event_brings_the_stream_back) {
    zel_test::refuse_rate(48000, "no such device");
    zel_test::push_event(kActive);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(fc_access::check_event(*fc), -1);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(9 * 32));
    std::vector<std::string> told;
    for (const zel_test::log_entry& entry : zel_test::take_log()) {
        const auto at = entry.text.find("restart fc fail count ");
        if (at != std::string::npos) {
            told.push_back(entry.text.substr(at));
        } else if (entry.text.find("fatal error") != std::string::npos) {
            told.push_back(entry.text.substr(entry.text.find("fatal error")));
        }
    }
    ASSERT_EQ(told.size(), 11U);
    for (int i = 0; i < 10; ++i) {
        EXPECT_EQ(told[static_cast<std::size_t>(i)], "restart fc fail count " + std::to_string(i));
    }
    EXPECT_EQ(told[10], "fatal error can't open DD more than 10 times");
    EXPECT_FALSE(fc_access::pending(*fc));
    EXPECT_EQ(zel_test::open_handles(), 1) << "the mixer";

    timespec ts{};
    EXPECT_EQ(fc_access::read_device(*fc, &ts), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("pcm not open yet"));
    EXPECT_EQ(fc_access::check_event(*fc), 0) << "nothing is tried without a new event";
    EXPECT_FALSE(fc_access::pending(*fc));

    zel_test::reset_script();
    zel_test::push_event(kActive);
    EXPECT_EQ(fc_access::check_event(*fc), 0);
    EXPECT_TRUE(fc_access::pending(*fc));
    EXPECT_EQ(mixed(), (std::pair{100, 200}));
}

TEST_F(card_watch, a_restart_that_succeeds_late_counts_as_one) {
    zel_test::fail_call(call::pcm_open, 1, 0, 3);
    zel_test::push_event(kActive);
    EXPECT_EQ(fc_access::check_event(*fc), 0);
    EXPECT_EQ(zel_test::log_count("restart fc fail count"), 3U);
    EXPECT_TRUE(fc_access::pending(*fc));
    // The count starts anew with every event.
    zel_test::fail_call(call::pcm_open, 1, 0, 9);
    zel_test::push_event(kActive);
    EXPECT_EQ(fc_access::check_event(*fc), 0);
    EXPECT_FALSE(zel_test::log_has("fatal error"));
}

TEST_F(card_watch, newer_events_come_first_while_a_restart_is_pending) {
    // Further source changes are further attempts in the same count, without a wait.
    zel_test::fail_call(call::pcm_open, 1, 0, 10);
    for (int i = 0; i < 12; ++i) {
        zel_test::push_event(kActive);
    }
    EXPECT_EQ(fc_access::check_event(*fc), -1);
    EXPECT_EQ(zel_test::log_count("restart fc fail count"), 10U);
    EXPECT_EQ(fc_access::check_event(*fc), 0) << "two events were left";
    EXPECT_EQ(fc_access::check_event(*fc), 0);

    // Other events end the call, and the pending restart with it.
    for (const auto& [numid, result] : {std::pair{kLayout, -EINVAL}, {9U, -EINVAL}}) {
        zel_test::clear_log();
        zel_test::fail_call(call::pcm_open, 1, 0, 10);
        zel_test::push_event(kActive);
        zel_test::push_event(numid);
        EXPECT_EQ(fc_access::check_event(*fc), result);
        EXPECT_EQ(zel_test::log_count("restart fc fail count"), 1U);
        EXPECT_EQ(fc_access::check_event(*fc), 0);
        zel_test::fail_call(call::pcm_open, 1, 0, 0);
        zel_test::push_event(kActive);
        EXPECT_EQ(fc_access::check_event(*fc), 0);
    }
}

TEST_F(card_watch, memory_that_runs_out_in_a_restart_costs_one_attempt) {
    std::size_t nth = 0;
    for (bool struck = true; struck;) {
        zel_test::push_event(kActive);
        zel_test::fail_allocation(++nth);
        const int result = fc_access::check_event(*fc);
        struck = zel_test::stop_failing_allocations();
        EXPECT_EQ(result, 0) << "allocation " << nth;
        EXPECT_EQ(zel_test::open_handles(), 2);
        EXPECT_EQ(mixed().first + mixed().second, 300);
        EXPECT_FALSE(zel_test::log_has("restart fc fail count 1"));
    }
    EXPECT_GT(nth, 5U);
}

TEST_F(card_watch, a_chain_that_cannot_be_rebuilt_leaves_nothing_open) {
    // 44100 Hz cannot be made from the card's new 96000 Hz.
    zel_test::reset_script();
    zel_test::refuse_rate(48000, "cannot set hw params");
    zel_test::set_control("PCM Slave Rate", 96000);
    zel_test::fail_call(call::pcm_open, 11, 0, 0);
    zel_test::push_event(kActive);
    EXPECT_EQ(fc_access::check_event(*fc), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("init format converter sub module fail"));
    EXPECT_EQ(zel_test::open_handles(), 1);
    EXPECT_EQ(fc_access::in(*fc), nullptr);
}

TEST(card_watch_running, a_restart_is_reported_once_after_its_first_block) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    std::atomic<int> told{0};
    fc->register_cb([](void* arg) { *static_cast<std::atomic<int>*>(arg) += 1; }, &told);
    const auto reads = [](int wanted) {
        return zel_test::eventually(
            [wanted] { return zel_test::calls_of(call::pcm_readi) == wanted; });
    };
    ASSERT_EQ(zel_test::start_stream(*fc), 0);
    ASSERT_TRUE(reads(1));
    zel_test::push_event(kActive);
    zel_test::allow_reads(1);
    ASSERT_TRUE(reads(2));  // restarted, and waiting for the first block
    EXPECT_EQ(zel_test::calls_of(call::pcm_open), 2);
    EXPECT_EQ(told, 0);
    zel_test::allow_reads(3);
    ASSERT_TRUE(reads(5));
    EXPECT_EQ(told, 1);
    std::vector<std::uint8_t> data(6144 * 5);
    EXPECT_EQ(fc->read(data.data(), static_cast<unsigned int>(data.size())), 6144 * 4)
        << "what was captured before the restart is still there";
    zel_test::allow_reads(-1);
    EXPECT_EQ(fc->close(), 0);
}

}  // namespace
