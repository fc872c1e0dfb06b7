#include "converter_access.h"
#include "test_basics.h"

using namespace zel_test;

namespace {

/// The card refuses the client's rate and tells that as its own.
void tell_rate(int rate) {
    refuse_rate(48000, "cannot set hw params");
    set_control("PCM Slave Rate", rate);
}

TEST(open_command, that_fails_leaves_nothing_and_the_next_one_works) {
    const char* const kMixer = "subscribe mixer device fail";
    const char* const kStream = "open pcm device fail";
    const char* const kChain = "init format converter sub module fail";
    const struct {
        void (*script)();
        int result;
        const char* step;
        const char* operation;
        const char* message;
    } rows[] = {
        {[] { fail_call(call::mixer_open, 1, 0); }, -1, kMixer, "subscribe_mixer_device",
         "open mixer fail"},
        {[] { fail_call(call::mixer_subscribe_events, 1, -5); }, -1, kMixer,
         "subscribe_mixer_device", "subscribe mixer fail\n"},
        {[] { remove_control("PCM Slave Format"); }, -ENODEV, kStream, "open_pcm_device",
         "mixer control get fotmat ctl fail"},
        {[] { set_control("PCM Slave Format", 3); }, -EINVAL, kStream, "open_pcm_device",
         "unknown format 3\n"},
        {[] { remove_control("PCM Slave Channels"); }, -ENODEV, kStream, "open_pcm_device",
         "mixer control get channel ctl fail"},
        {[] { fail_call(call::pcm_open, 1, 0); }, -1, kStream, "open_pcm_device",
         "open pcm device fail ()"},
        {[] { refuse_rate(48000, "cannot open device"); }, -1, kStream, "open_pcm_device",
         "open pcm device fail (cannot open device)"},
        {[] { refuse_rate(48000, "cannot set hw params: x"); }, -1, kStream, "open_pcm_device",
         "open pcm device fail (cannot set hw params: x)"},
        {[] {
             refuse_rate(48000, "cannot set hw params");
             remove_control("PCM Slave Rate");
         },
         -1, kStream, "open_pcm_device", "mixer control get rate ctl fail"},
        {[] { set_control("PCM Channel Layout", 9); }, -EINVAL, kStream, "open_pcm_device",
         "get channel layout fail"},
        {[] { tell_rate(-EINVAL); }, -ENOMEM, kStream, "open_pcm_device",
         "allocate FC pcm in info fail"},
        {[] { set_control("PCM Slave Channels", 0); }, -EINVAL, kStream, "open_pcm_device",
         "no sample in a block of the card"},
        {[] { tell_rate(44100); }, -EINVAL, kChain, "init_fc_submodule", "SRC module init fail"},
    };
    const fc_access::owner fc = fc_access::make();
    const pcm_config config = client_config();
    for (const auto& row : rows) {
        SCOPED_TRACE(row.message);
        reset_script();
        row.script();
        clear_log();
        EXPECT_EQ(fc->open(&config, PCM_IN), row.result);
        EXPECT_TRUE(log_has(row.operation, row.message));
        EXPECT_TRUE(log_has("process_command", row.step));
        EXPECT_TRUE(log_has("open", "open fc fail"));
        EXPECT_TRUE(fc_access::holds_nothing(*fc));
        EXPECT_EQ(open_handles(), 0);
        reset_script();
        EXPECT_STATUS(fc->open(&config, PCM_IN), 0);
        EXPECT_EQ(open_handles(), 2);
        EXPECT_STATUS(fc->close(), 0);
        EXPECT_EQ(open_handles(), 0);
    }
}

// Reading no frames takes no time: the worker would never rest.
TEST(open_command, refuses_blocks_without_a_sample) {
    reset_script();
    const fc_access::owner fc = fc_access::make();
    for (const ctl_cmd::config& config :
         {ctl_cmd::config{2, 999, 32, 4, PCM_FORMAT_S16_LE, 1, 2, 3},
          ctl_cmd::config{0, 48000, 1536, 4, 0, 1, 2, 3},
          ctl_cmd::config{0xFFFFFFFF, 0, 1536, 4, 0, 1, 2, 3}}) {
        clear_log();
        EXPECT_STATUS(fc_access::send(*fc, ctl_cmd{FC_OPEN, config, PCM_IN}), -EINVAL);
        EXPECT_TRUE(log_has("no sample in a block of the client"));
        EXPECT_TRUE(fc_access::holds_nothing(*fc));
    }
}

TEST(open_command, what_the_platform_does_not_tell_has_a_default) {
    const std::pair<std::string, property_e> files[] = {{"delay", PROP_DELAY_JSON_PATH},
                                                        {"mixing", PROP_MIXING_JSON_PATH}};
    for (int nth = 1; nth <= 2; ++nth) {
        const auto& [kind, property] = files[nth - 1];
        reset_script();
        clear_log();
        fail_call(call::get_json_path, nth, -1);
        fail_call(call::search_snd_device, 1, -ENODEV);
        const fc_access::owner fc = fc_access::make();
        EXPECT_EQ(fc->card(), 0xFFFFFFFF);
        const pcm_config config = client_config();
        EXPECT_STATUS(fc->open(&config, PCM_IN), 0);
        EXPECT_EQ(opened_streams().back().device, 0xFFFFFFFF);
        EXPECT_STATUS(fc->close(), 0);
        EXPECT_TRUE(log_has("search snd device fail"));
        EXPECT_TRUE(log_has("can't get " + kind + " json path use default path"));
        EXPECT_EQ(log_count("json path use default path"), 1U);
        char path[512] = {};
        EXPECT_STATUS(fc->get(property, path), 0);
        EXPECT_EQ(path, "/vendor/tvconfig/config/voc/voice_channel_" + kind + "_coef.json");
    }
}

TEST(open_command, opens_with_the_cards_format_and_the_clients_buffer) {
    const std::pair<int, pcm_format> formats[] = {
        {2, PCM_FORMAT_S16_LE}, {6, PCM_FORMAT_S24_LE}, {10, PCM_FORMAT_S32_LE}};
    for (const auto& [code, format] : formats) {
        reset_script();
        set_control("PCM Slave Format", code);
        set_control("PCM Slave Channels", 6);
        refuse_rate(16000, "cannot set hw params");
        const fc_access::owner fc = fc_access::make();
        pcm_config config = client_config(16000);
        config.start_threshold = 7;
        config.stop_threshold = 8;
        config.silence_threshold = 9;
        ASSERT_STATUS(fc->open(&config, PCM_IN | PCM_NONBLOCK), 0);
        const auto opened = opened_streams();
        ASSERT_EQ(opened.size(), 2U);
        EXPECT_EQ(opened[0].config.rate, 16000U);
        const auto& [card, device, flags, used] = opened[1];
        EXPECT_EQ(used.rate, 48000U);
        EXPECT_EQ(used.format, format);
        EXPECT_EQ(used.channels, 6U);
        EXPECT_EQ(used.period_size, 512U);
        EXPECT_EQ(used.period_count, 4U);
        EXPECT_EQ(used.start_threshold, 7U);
        EXPECT_EQ(used.stop_threshold, 8U);
        EXPECT_EQ(used.silence_threshold, 9U);
        EXPECT_EQ(flags, unsigned{PCM_IN}) << "the worker's read must block";
        EXPECT_EQ(card, 3U);
        EXPECT_EQ(device, 5U);
        EXPECT_STATUS(fc->close(), 0);
    }
}

}  // namespace
