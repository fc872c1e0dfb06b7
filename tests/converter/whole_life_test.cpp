// What a stream's whole life says when all is well: these messages and no others, at every level.

#include <sys/ioctl.h>

#include <map>

#include "converter_access.h"
#include "test_basics.h"

using namespace zel_test;

namespace {

constexpr int kBlocks = 100;

/// Opens, starts, reads once, sees a restart and a new layout in so many blocks, closes and ends.
void live(const std::string& mixing, const std::string& delay) {
    const fc_access::owner fc = fc_access::make();
    EXPECT_STATUS(fc->set(PROP_MIXING_JSON_PATH, mixing.c_str()), 0);
    EXPECT_STATUS(fc->set(PROP_DELAY_JSON_PATH, delay.c_str()), 0);
    EXPECT_STATUS(start_stream(*fc, client_config(16000, PCM_FORMAT_S32_LE)), 0);
    push_event(1);
    push_event(6);
    allow_reads(kBlocks - 1);
    ASSERT_TRUE(eventually([] { return calls_of(call::pcm_readi) == kBlocks && card_is_idle(); }));
    std::uint8_t block[512 * 8];
    EXPECT_EQ(fc->read(block, sizeof(block)), static_cast<int>(sizeof(block)));
    // The close waits when the last block comes.
    auto closed = std::async(std::launch::async, [&fc] { return fc->close(); });
    int sent = 0;
    EXPECT_TRUE(eventually(
        [&] { return ioctl(fc_access::command_pipe(*fc)[0], FIONREAD, &sent) == 0 && sent > 0; }));
    allow_reads(1);
    EXPECT_EQ(closed.get(), 0);
}

TEST(whole_life, says_what_it_should_at_each_level) {
    const std::string mixing = write_file("mixing.json", R"({"MixingCoefficientEnable":true,
        "MixingWeighting":[{"InputChannel":2,"InputChannelLayout":"2.0","OutputChannel":2,
                            "Parameters":[0,1,1,0]}]})");
    const std::string delay = write_file("delay.json", R"({"DelayCoefficientEnable":true,
        "ChannelDelayMilliseconds":[{"InputChannel":2,"Parameters":[1,0]}]})");
    const struct {
        int count;
        unsigned int level;  ///< from which it is said
        std::string entry;
    } rows[] = {
        {1, 64, "D routine: +"},
        {2, 80, "D set: +"},
        {2, 80, "D set: -"},
        {1, 80, "D open: +"},
        {1, 64, "D open: open FC with 2 channel 32 bits 16000k flags 0x10000000"},
        {1, 64, "D process_command: process 1"},
        {2, 64, "D get_loopback_source: SW loopback"},
        {2, 64,
         "D open_pcm_device: open zel-allop with 2 channel 32 bits 48000k 0x10000000 flags period "
         "size 512 period count 4"},
        {2, 0, "D load_coefficient: load coefficient " + delay},
        {3, 0, "D load_coefficient: load coefficient " + mixing},
        {3, 0, "D search_coefficient: use mixing coefficient 2(2.0) => 2"},
        {2, 0, "D Ovra_VOC_SrcInit48k: init SRC with 2 channel"},
        {2, 64,
         "D init_fc_submodule: FC operation status:\n        bit_truncate   1\n"
         "        channel_delay  1\n        channel_mixing 1\n        channel_src    1\n"
         "        bit_padding    1\n"},
        {1, 80, "D open: -"},
        {1, 80, "D start: +"},
        {1, 64, "D process_command: process 2"},
        {1, 64, "D process_command: start fc thread"},
        {1, 80, "D start: -"},
        {kBlocks - 2, 80, "D check_mixer_event: no event received"},
        {kBlocks, 80, "D check_timestamp: +"},
        {kBlocks, 80, "D check_timestamp: -"},
        {1, 80, "D read: +"},
        {1, 80, "D read: -"},
        {1, 80, "D close: +"},
        {1, 64, "D close: close"},
        {1, 64, "D process_command: process 0"},
        {1, 80, "D close: -"},
        {1, 64, "D process_command: process 3"},
        {1, 64, "D routine: fc routine terminate"},
        {1, 64, "D routine: -"},
    };
    for (const unsigned int level : {0U, 16U, 32U, 48U, 63U, 64U, 79U, 80U, 240U}) {
        reset_script();
        set_control("PCM Slave Format", 10);
        refuse_rate(16000, "cannot set hw params");
        zel_format_converter::u32LOG_LEVEL = level;
        clear_log();
        live(mixing, delay);
        std::map<std::string, int> said;
        for (const std::string& entry : log_entries()) {
            ++said[entry];
        }
        // Not when the exit comes before the worker has looked at the closed status.
        said.erase("D routine: fc routine idle");
        std::map<std::string, int> wanted;
        for (const auto& [count, from, entry] : rows) {
            if (level >= from) {
                wanted[entry] = count;
            }
        }
        EXPECT_EQ(said, wanted) << "at level " << level;
    }
    zel_format_converter::u32LOG_LEVEL = FC_LOG_INFO;
}

}  // namespace
