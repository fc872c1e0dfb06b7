// Our tinyalsa layer: what it refuses and how it says so.

#include <gtest/gtest.h>
#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>

#include <cstring>

namespace {

TEST(tinyalsa, devices_that_are_not_there_are_named) {
    pcm_config config{};
    config.channels = 2;
    config.rate = 48000;
    const struct {
        unsigned int card, device, flags;
        const pcm_config* config;
        const char* error;
    } cases[] = {
        {5, 0, PCM_IN, &config, "no device (hw/plugin) for card(5), device(0)"},
        {0, 9, PCM_IN, &config, "no device (hw/plugin) for card(0), device(9)"},
        {0, 0, PCM_OUT, &config, "no playback"},
        {0, 0, PCM_IN, nullptr, "no configuration"},
        {0, 0, PCM_IN, &config, "cannot set hw params: Invalid argument"},
    };
    for (const auto& c : cases) {
        pcm* stream = pcm_open(c.card, c.device, c.flags, c.config);
        ASSERT_NE(stream, nullptr);
        EXPECT_FALSE(pcm_is_ready(stream));
        EXPECT_NE(std::strstr(pcm_get_error(stream), c.error), nullptr) << pcm_get_error(stream);
        char frame[64];
        EXPECT_EQ(pcm_readi(stream, frame, 1), -1);
        EXPECT_EQ(pcm_start(stream), -1);
        EXPECT_EQ(pcm_close(stream), 0);
    }
    EXPECT_FALSE(pcm_is_ready(nullptr));
    EXPECT_EQ(pcm_close(nullptr), 0);
    EXPECT_EQ(mixer_open(5), nullptr);
    mixer_close(nullptr);
    EXPECT_EQ(mixer_get_num_ctls(nullptr), 0U);
    EXPECT_EQ(pcm_params_get(1, 0, PCM_IN), nullptr);
}

}  // namespace
