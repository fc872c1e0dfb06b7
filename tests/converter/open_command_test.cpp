#include <gtest/gtest.h>

#include <cerrno>

#include "allocation_faults.h"
#include "captured_log.h"
#include "converter_access.h"

using zel_test::call;
using zel_test::fc_access;

namespace {

struct open_fault {
    const char* name;
    void (*script)();
    int result;
    const char* operation;
    const char* message;
};

class failing_open : public testing::TestWithParam<open_fault> {};

TEST_P(failing_open, leaves_nothing_and_the_next_open_works) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    GetParam().script();
    zel_test::clear_log();
    const pcm_config config = zel_test::client_config();
    EXPECT_EQ(fc->open(&config, PCM_IN), GetParam().result);
    EXPECT_TRUE(zel_test::log_has(GetParam().operation, GetParam().message));
    EXPECT_TRUE(zel_test::log_has("open", "open fc fail"));
    EXPECT_TRUE(fc_access::holds_nothing(*fc));
    EXPECT_EQ(zel_test::open_handles(), 0);
    zel_test::reset_script();
    EXPECT_EQ(fc->open(&config, PCM_IN), 0);
    EXPECT_EQ(zel_test::open_handles(), 2);
    EXPECT_EQ(fc->close(), 0);
    EXPECT_EQ(zel_test::open_handles(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    steps, failing_open,
    testing::Values(
        open_fault{"command", [] { zel_test::fail_call(call::mixer_open, 1, 0); }, -1,
                   "process_command", "subscribe mixer device fail"},
        open_fault{"mixer", [] { zel_test::fail_call(call::mixer_open, 1, 0); }, -1,
                   "subscribe_mixer_device", "open mixer fail"},
        open_fault{"subscribe", [] { zel_test::fail_call(call::mixer_subscribe_events, 1, -5); },
                   -1, "subscribe_mixer_device", "subscribe mixer fail\n"},
        open_fault{"no_format", [] { zel_test::remove_control("PCM Slave Format"); }, -ENODEV,
                   "open_pcm_device", "mixer control get fotmat ctl fail"},
        open_fault{"format_3", [] { zel_test::set_control("PCM Slave Format", 3); }, -EINVAL,
                   "open_pcm_device", "unknown format 3\n"},
        open_fault{"no_channels", [] { zel_test::remove_control("PCM Slave Channels"); }, -ENODEV,
                   "open_pcm_device", "mixer control get channel ctl fail"},
        open_fault{"null_stream", [] { zel_test::fail_call(call::pcm_open, 1, 0); }, -1,
                   "open_pcm_device", "open pcm device fail ()"},
        open_fault{"busy", [] { zel_test::refuse_rate(48000, "cannot open device"); }, -1,
                   "open_pcm_device", "open pcm device fail (cannot open device)"},
        open_fault{"same_rate", [] { zel_test::refuse_rate(48000, "cannot set hw params: x"); }, -1,
                   "open_pcm_device", "open pcm device fail (cannot set hw params: x)"},
        open_fault{"no_rate",
                   [] {
                       zel_test::refuse_rate(48000, "cannot set hw params");
                       zel_test::remove_control("PCM Slave Rate");
                   },
                   -1, "open_pcm_device", "mixer control get rate ctl fail"},
        open_fault{"layout", [] { zel_test::set_control("PCM Channel Layout", 9); }, -EINVAL,
                   "open_pcm_device", "get channel layout fail"},
        open_fault{"failing_rate",
                   [] {
                       zel_test::refuse_rate(48000, "cannot set hw params");
                       zel_test::set_control("PCM Slave Rate", -EINVAL);
                   },
                   -ENOMEM, "open_pcm_device", "allocate FC pcm in info fail"},
        open_fault{"src",
                   [] {
                       zel_test::refuse_rate(48000, "cannot set hw params");
                       zel_test::set_control("PCM Slave Rate", 44100);
                   },
                   -EINVAL, "init_fc_submodule", "SRC module init fail"}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(open_command, each_failing_allocation_gives_enomem_and_leaves_nothing) {
    zel_test::reset_script();
    zel_test::set_control("PCM Slave Format", 10);
    const fc_access::owner fc = fc_access::make();
    const pcm_config config = zel_test::client_config(16000);
    bool struck = true;
    int failed = 0;
    for (std::size_t nth = 1; struck && nth < 200; ++nth) {
        zel_test::fail_allocation(nth);
        int result = 0;
        // The stand-ins allocate as well; what escapes from them is not the product's.
        try {
            result = fc_access::open_here(*fc, config, PCM_IN);
        } catch (const std::bad_alloc&) {
            ADD_FAILURE() << "an exception left the open command at allocation " << nth;
        }
        struck = zel_test::stop_failing_allocations();
        EXPECT_TRUE(result == 0 || result == -ENOMEM) << result << " at allocation " << nth;
        failed += result == -ENOMEM ? 1 : 0;
        if (result != 0) {
            EXPECT_TRUE(fc_access::holds_nothing(*fc)) << nth;
            EXPECT_EQ(zel_test::open_handles(), 0) << nth;
        } else {
            EXPECT_EQ(fc_access::execute(*fc, FC_CLOSE), 0);
        }
    }
    EXPECT_FALSE(struck) << "the open never ran to its end";
    EXPECT_GE(failed, 6) << "two records, two stage buffers, the ring and its bytes at least";
}

// Reading no frames takes no time: the worker would never rest.
TEST(open_command, refuses_blocks_without_a_sample) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    for (const ctl_cmd::config& config :
         {ctl_cmd::config{2, 999, 32, 4, PCM_FORMAT_S16_LE, 1, 2, 3},
          ctl_cmd::config{0, 48000, 1536, 4, 0, 1, 2, 3},
          ctl_cmd::config{0xFFFFFFFF, 0, 1536, 4, 0, 1, 2, 3}}) {
        zel_test::clear_log();
        EXPECT_EQ(fc_access::send(*fc, ctl_cmd{FC_OPEN, config, PCM_IN}), -EINVAL);
        EXPECT_TRUE(zel_test::log_has("no sample in a block of the client"));
        EXPECT_TRUE(fc_access::holds_nothing(*fc));
    }
    zel_test::set_control("PCM Slave Channels", 0);
    const pcm_config config = zel_test::client_config();
    EXPECT_EQ(fc->open(&config, PCM_IN), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("no sample in a block of the card"));
    EXPECT_TRUE(fc_access::holds_nothing(*fc));
}

TEST(open_command, opens_with_the_cards_format_and_the_clients_buffer) {
    const struct {
        int code;
        pcm_format format;
    } rows[] = {{2, PCM_FORMAT_S16_LE}, {6, PCM_FORMAT_S24_LE}, {10, PCM_FORMAT_S32_LE}};
    for (const auto& row : rows) {
        zel_test::reset_script();
        zel_test::set_control("PCM Slave Format", row.code);
        zel_test::set_control("PCM Slave Channels", 6);
        const fc_access::owner fc = fc_access::make();
        const pcm_config config = zel_test::client_config(16000);
        zel_test::refuse_rate(16000, "cannot set hw params");
        ASSERT_EQ(fc->open(&config, PCM_IN | PCM_NONBLOCK), 0);
        const auto opened = zel_test::opened_streams();
        ASSERT_EQ(opened.size(), 2U);
        EXPECT_EQ(opened[0].config.rate, 16000U);
        EXPECT_EQ(opened[1].config.rate, 48000U);
        EXPECT_EQ(opened[1].config.format, row.format);
        EXPECT_EQ(opened[1].config.channels, 6U);
        EXPECT_EQ(opened[1].config.period_size, 512U);
        EXPECT_EQ(opened[1].config.period_count, 4U);
        EXPECT_EQ(opened[1].flags, unsigned{PCM_IN}) << "the worker's read must block";
        EXPECT_EQ(opened[1].card, 3U);
        EXPECT_EQ(opened[1].device, 5U);
        EXPECT_EQ(fc->close(), 0);
    }
}

}  // namespace
