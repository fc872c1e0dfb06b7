// The card's stream and what its change events lead to, step by step on the test's own thread.

#include "allocation_faults.h"
#include "converter_access.h"
#include "test_basics.h"
#include "zel_format_converter_mixing_wrapper.h"

using namespace zel_test;

namespace {

constexpr unsigned int kActive = 1, kLayout = 6;

class card_test : public testing::Test {
  protected:
    void SetUp() override {
        reset_script();
        allow_reads(-1);
        fc = fc_access::make();
        ASSERT_STATUS(fc_access::open_here(*fc, client_config(), PCM_IN), 0);
        clear_log();
    }
    void TearDown() override {
        fc_access::execute(*fc, FC_CLOSE);
        EXPECT_EQ(open_handles(), 0);
        zel_format_converter::u32LOG_LEVEL = FC_LOG_INFO;
    }
    int after_event(unsigned int numid) {
        push_event(numid);
        return fc_access::check_event(*fc);
    }
    int read() {
        timespec ts{};
        return fc_access::read_device(*fc, &ts);
    }

    fc_access::owner fc;
};

TEST_F(card_test, gaps_between_blocks_are_told_from_one_millisecond_on) {
    const timespec before{10, 990'000'000};
    const struct {
        timespec before, now;
        const char* message;
    } cases[] = {
        {before, {11, 23'000'000}, nullptr},
        {before,
         {11, 23'000'001},
         "timestamp glitch 1 ms more than 1 ms;current (11,23000001), previous (10,990000000)"},
        {before, {13, 0}, "timestamp glitch 1978 ms more than 1 ms;current (13,0)"},
        {before, before, "timestamp (10,990000000) no update"},
        {before, {11, 990'000'000}, "timestamp glitch 968 ms"},
        {before, {10, 990'000'001}, nullptr},
        {before, {9, 1'990'000'000}, nullptr},
        {before, {5, 0}, nullptr},
        {before,
         {std::numeric_limits<time_t>::max(), 0},
         sizeof(time_t) < 8 ? "timestamp glitch" : nullptr},
        {before, {0, 0}, nullptr},
        {{0, 0}, {20, 0}, nullptr},  // the first block has no previous one
    };
    zel_format_converter::u32LOG_LEVEL = FC_LOG_WARN;
    for (const auto& c : cases) {
        clear_log();
        fc_access::check_time(*fc, c.before, c.now);
        EXPECT_EQ(log_count("timestamp"), c.message == nullptr ? 0U : 1U);
        EXPECT_TRUE(c.message == nullptr || log_has(c.message)) << c.message;
    }
}

TEST_F(card_test, blocks_carry_their_time_and_failures_keep_the_last_one) {
    const auto previous_ns = [this] {
        const timespec previous = fc_access::previous(*fc);
        return previous.tv_sec * 1'000'000'000LL + previous.tv_nsec;
    };
    set_timestamps({{7, 100}, {9, 0}, {12, 0}}, 0);
    EXPECT_STATUS(read(), 0);
    EXPECT_EQ(previous_ns(), 7'000'000'100);
    fail_call(call::pcm_get_htimestamp, 1, -1);
    EXPECT_STATUS(read(), 0) << "a missing time costs no audio";
    EXPECT_TRUE(log_has("pcm_get_htimestamp get timstamp error : "));
    EXPECT_EQ(previous_ns(), 7'000'000'100);
    for (const int got : {-1, 0, 1535}) {
        fail_call(call::pcm_readi, 1, got);
        EXPECT_STATUS(read(), -EIO);
        EXPECT_TRUE(
            log_has("read size incorrect u32ReadFrame " + std::to_string(got) + " request 1536"));
        EXPECT_EQ(previous_ns(), 7'000'000'100);
    }
    // The first block after a restart has no previous one.
    EXPECT_STATUS(after_event(kActive), 0);
    EXPECT_STATUS(read(), 0);
    EXPECT_FALSE(log_has("timestamp glitch"));
    EXPECT_STATUS(read(), 0) << "a gap costs no audio";
    EXPECT_TRUE(log_has("check_timestamp", "timestamp glitch 2968 ms"));
}

TEST_F(card_test, a_stage_that_refuses_the_block_ends_its_way) {
    const struct {
        void (*script)(fc_access::block&);
        const char* message;
    } rows[] = {
        {[](fc_access::block&) { zel_fc_lib_mixing_deinit(); },
         "mixing module process_fc fail(-22)"},
        {[](fc_access::block& in) { in.u32BufSize = 6; }, "delay module process_fc fail(-22)"},
        {[](fc_access::block& in) { in.stPcmConfig.format = PCM_FORMAT_S16_LE; },
         "Only support 32 bit to 16 bit trunction."},
    };
    const std::string delay = write_file("delay.json", R"({"DelayCoefficientEnable":true,
        "ChannelDelayMilliseconds":[{"InputChannel":2,"Parameters":[1,0]}]})");
    for (const auto& row : rows) {
        fc_access::execute(*fc, FC_CLOSE);
        set_control("PCM Slave Format", 10);
        ASSERT_STATUS(fc->set(PROP_DELAY_JSON_PATH, delay.c_str()), 0);
        ASSERT_STATUS(fc_access::open_here(*fc, client_config(), PCM_IN), 0);
        EXPECT_STATUS(fc_access::process(*fc), 0);
        row.script(*fc_access::in(*fc));
        clear_log();
        EXPECT_STATUS(fc_access::process(*fc), -EINVAL);
        EXPECT_TRUE(log_has(row.message));
        EXPECT_LE(log_count("process_fc fail"), log_count(row.message)) << "it goes no further";
    }
}

TEST_F(card_test, what_is_still_there_serves_on_but_an_input_record_fails_the_open) {
    EXPECT_EQ(fc_access::delay_bytes(*fc), fc_access::in(*fc)->u32BufSize);
    EXPECT_STATUS(fc_access::init_chain(*fc), 0);
    EXPECT_TRUE(log_has("init_fc_submodule", "pstZelFC->pu8DelayBuf already exist"));
    EXPECT_TRUE(log_has("init_fc_submodule", "pstZelFC->pu8MixingBuf already exist"));
    EXPECT_STATUS(fc_access::process(*fc), 0);
    EXPECT_EQ(fc_access::open_device(*fc), -1);
    EXPECT_TRUE(log_has("pmInPcmInfo already exist"));
    EXPECT_EQ(fc_access::in(*fc), nullptr) << "that record is released";
}

struct look {
    void (*script)();
    int result;
    const char* operation;
    const char* message;
    int restarts;
};
const look kLooks[] = {
    {[] {}, 0, "check_mixer_event", "no event received", 0},
    {[] {
         push_event(kActive);  // a wake-up without an event
         fail_call(call::mixer_read_event, 1, 0);
     },
     0, "check_mixer_event", "no event received", 0},
    {[] { fail_call(call::mixer_wait_event, 1, -ENODEV); }, -ENODEV, "check_mixer_event",
     "mixer wait event fail (-19)", 0},
    {[] {
         push_event(kActive);
         fail_call(call::mixer_read_event, 1, -EIO);
     },
     -EIO, "check_mixer_event", "mixer consume event fail(-5)", 0},
    {[] { push_event(2); }, -EINVAL, "check_mixer_event", "unexpected event 2", 0},
    {[] { push_event(0); }, -EINVAL, "check_mixer_event", "unexpected event 0", 0},
    {[] {
         push_event(kLayout);
         remove_control("PCM Channel Layout");
     },
     -EINVAL, "check_mixer_event", "get channel layout fail", 0},
    {[] {
         push_event(kLayout);
         fail_call(call::mixer_ctl_get_enum_string, 1, 0);
     },
     -EINVAL, "get_channel_layout", "get channel layout name fail", 0},
    {[] { push_event(kLayout); }, -EINVAL, "check_mixer_event", "change channel layout fail", 0},
    {[] {
         push_event(kActive);
         set_control("PCM Slave Active", 0);
     },
     0, "get_loopback_source", "I2S loopback", 1},
};
class card_events : public card_test, public testing::WithParamInterface<look> {};
INSTANTIATE_TEST_SUITE_P(each, card_events, testing::ValuesIn(kLooks));

TEST_P(card_events, one_look) {
    const look& row = GetParam();
    SCOPED_TRACE(row.message);
    zel_format_converter::u32LOG_LEVEL = FC_LOG_TRACE;
    row.script();
    EXPECT_STATUS(fc_access::check_event(*fc), row.result);
    EXPECT_TRUE(log_has(row.operation, row.message));
    EXPECT_EQ(calls_of(call::pcm_open), 1 + row.restarts);
    EXPECT_EQ(fc_access::pending(*fc), row.restarts == 1);
    EXPECT_EQ(last_mixer_wait_ms(), 0) << "the stream must go on";
}

TEST_F(card_test, the_loopback_source_is_told_or_missing) {
    EXPECT_STATUS(fc_access::loopback_source(*fc), 0);
    remove_control("PCM Slave Active");
    EXPECT_STATUS(fc_access::loopback_source(*fc), -1);
    EXPECT_TRUE(log_has("get_loopback_source", "mixer control get active ID fail"));
}

TEST_F(card_test, a_restart_is_tried_ten_times_and_a_later_event_brings_the_stream_back) {
    const struct {
        const char* error;
        int card_rate, result;
        const char* message;
    } causes[] = {
        {"no such device", 48000, -1, "open pcm device fail"},
        // 48000 Hz cannot be made from 96000 Hz.
        {"cannot set hw params", 96000, -EINVAL, "init format converter sub module fail"},
    };
    for (const auto& cause : causes) {
        clear_log();
        refuse_rate(48000, cause.error);
        set_control("PCM Slave Rate", cause.card_rate);
        const auto begin = std::chrono::steady_clock::now();
        EXPECT_EQ(after_event(kActive), cause.result);
        EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(9 * 32));
        EXPECT_TRUE(log_has("restart_fc", cause.message));
        for (int i = 0; i < 10; ++i) {
            EXPECT_EQ(log_count("restart fc fail count " + std::to_string(i)), 1U);
        }
        EXPECT_EQ(log_count("restart fc fail count "), 10U);
        EXPECT_EQ(log_count("fatal error can't open DD more than 10 times"), 1U);
        EXPECT_FALSE(fc_access::pending(*fc));
        EXPECT_EQ(fc_access::in(*fc), nullptr);
        EXPECT_EQ(open_handles(), 1) << "the mixer";
        EXPECT_STATUS(read(), -EINVAL);
        EXPECT_TRUE(log_has("pcm not open yet"));
        EXPECT_STATUS(fc_access::check_event(*fc), 0) << "nothing is tried without a new event";
        EXPECT_FALSE(fc_access::pending(*fc));

        reset_script();
        EXPECT_STATUS(after_event(kActive), 0);
        EXPECT_EQ(calls_of(call::mixer_open), 0) << "the subscription stays";
        EXPECT_EQ(opened_streams().at(0).config.period_size, 1536U);
        EXPECT_EQ(open_handles(), 2);
        EXPECT_STATUS(fc_access::process(*fc), 0);
        fc_access::notify(*fc);  // nobody has registered
        EXPECT_FALSE(fc_access::pending(*fc));
    }
}

TEST_F(card_test, what_is_missing_is_told_as_minus_one) {
    remove_control("PCM Slave Active");
    EXPECT_EQ(fc_access::loopback_source(*fc), -1);
    fc_access::execute(*fc, FC_CLOSE);
    fail_call(call::mixer_open, 1, 0);
    EXPECT_EQ(fc_access::subscribe(*fc), -1);
    fail_call(call::mixer_subscribe_events, 1, -5);
    EXPECT_EQ(fc_access::subscribe(*fc), -1);
}

TEST_F(card_test, a_restart_that_a_close_follows_is_not_announced_in_the_next_stream) {
    ASSERT_STATUS(after_event(kActive), 0);
    ASSERT_STATUS(fc_access::execute(*fc, FC_CLOSE), 0);
    ASSERT_STATUS(fc_access::open_here(*fc, client_config(), PCM_IN), 0);
    EXPECT_FALSE(fc_access::pending(*fc));
}

TEST_F(card_test, newer_events_come_first_while_a_restart_is_pending) {
    for (const int failures : {3, 9}) {  // the count starts anew with every event
        fail_call(call::pcm_open, 1, 0, failures);
        EXPECT_STATUS(after_event(kActive), 0);
        EXPECT_FALSE(log_has("fatal error"));
    }
    // Further source changes are further attempts in the same count, without a wait.
    clear_log();
    fail_call(call::pcm_open, 1, 0, 10);
    for (int i = 0; i < 11; ++i) {
        push_event(kActive);
    }
    EXPECT_EQ(after_event(kActive), -1);
    EXPECT_EQ(log_count("restart fc fail count"), 10U);
    EXPECT_STATUS(fc_access::check_event(*fc), 0) << "two events were left";
    EXPECT_STATUS(fc_access::check_event(*fc), 0);
    EXPECT_EQ(calls_of(call::pcm_open), 1 + 4 + 10 + 10 + 2);

    // Other events end the call, and the pending restart with it.
    for (const unsigned int numid : {kLayout, 9U}) {
        clear_log();
        fail_call(call::pcm_open, 1, 0, 10);
        push_event(kActive);
        EXPECT_STATUS(after_event(numid), -EINVAL);
        EXPECT_EQ(log_count("restart fc fail count"), 1U);
        EXPECT_STATUS(fc_access::check_event(*fc), 0);
        fail_call(call::pcm_open, 1, 0, 0);
        EXPECT_STATUS(after_event(kActive), 0);
    }
}

// Refused, or right: not silent, not unmixed, not undelayed.
TEST_F(card_test, memory_that_runs_out_costs_an_open_or_one_attempt_of_a_restart) {
    fail_allocations_of_cjson();
    skip_waits();
    const std::string mixing = write_file("mixing.json", R"({"MixingCoefficientEnable":true,
        "MixingWeighting":[{"InputChannel":2,"InputChannelLayout":"2.0","OutputChannel":2,
                            "Parameters":[0,1,1,0]}]})");
    const std::string delay = write_file("delay.json", R"({"DelayCoefficientEnable":true,
        "ChannelDelayMilliseconds":[{"InputChannel":2,"Parameters":[1,0]}]})");
    ASSERT_STATUS(fc->set(PROP_MIXING_JSON_PATH, mixing.c_str()), 0);
    ASSERT_STATUS(fc->set(PROP_DELAY_JSON_PATH, delay.c_str()), 0);
    // An open; a restart; one that a layout change ends at its first failure.
    for (const int events : {0, 1, 2}) {
        const bool restarts = events > 0;
        std::size_t refused = 0;
        std::size_t nth = 0;
        for (bool struck = true; struck;) {
            SCOPED_TRACE(testing::Message() << events << " events, allocation " << ++nth);
            fc_access::execute(*fc, FC_CLOSE);
            if (restarts) {
                ASSERT_STATUS(fc_access::open_here(*fc, client_config(), PCM_IN), 0);
                push_event(kActive);
            }
            if (events == 2) {
                push_event(kLayout);
            }
            clear_log();
            fail_allocation(nth);
            const int status = restarts ? fc_access::check_event(*fc)
                                        : fc_access::open_here(*fc, client_config(), PCM_IN);
            struck = stop_failing_allocations();
            const std::size_t failures = log_count("restart fc fail count");
            ASSERT_LE(failures, 1U);
            if (status != 0 && !restarts) {
                EXPECT_STATUS(status, -ENOMEM);
                EXPECT_TRUE(fc_access::holds_nothing(*fc));
                EXPECT_EQ(open_handles(), 0);
                ++refused;
                continue;
            }
            refused += failures;
            if (events == 2 && failures == 1) {
                EXPECT_EQ(open_handles(), 1) << "the mixer; the stream is closed";
                EXPECT_EQ(fc_access::in(*fc), nullptr);
                EXPECT_TRUE(fc_access::has_no_chain(*fc));
                continue;
            }
            ASSERT_STATUS(status, 0);
            EXPECT_EQ(events == 2 ? fc_access::check_event(*fc) : 0, 0) << "the layout's turn";
            EXPECT_EQ(open_handles(), 2);
            const std::int16_t frame[] = {11, 22};
            std::memcpy(fc_access::in(*fc)->pu8Buf.get(), frame, sizeof(frame));
            EXPECT_STATUS(fc_access::process(*fc), 0);
            const auto* out = reinterpret_cast<std::int16_t*>(fc_access::out(*fc)->pu8Buf.get());
            EXPECT_EQ(out[0], 22) << "channel 1, not delayed";
            EXPECT_EQ(out[48 * 2 + 1], 11) << "channel 0, by 1 ms";
        }
        // Records, buffers and ring; of each file the FILE, the text and what it says.
        EXPECT_GE(refused, 50U);
    }
}

}  // namespace
