// The simulated card's clock, through tinyalsa's public interface; its faults, files and signals
// are in use in the tests of whole streams and of the tool.

#include <gtest/gtest.h>
#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <vector>

namespace {

TEST(loopback_card, the_clock_paces_and_stamps) {
    using clock = std::chrono::steady_clock;
    mixer* card = mixer_open(0);
    ASSERT_NE(card, nullptr);
    mixer_ctl_set_enum_by_string(mixer_get_ctl_by_name(card, "Sim Pacing"), "Clock");
    mixer_ctl_set_value(mixer_get_ctl_by_name(card, "PCM Slave Format"), 0, 2);
    mixer_ctl_set_value(mixer_get_ctl_by_name(card, "PCM Slave Channels"), 0, 2);
    mixer_close(card);
    pcm_config config{};
    config.channels = 2;
    config.rate = 48000;
    config.period_size = 480;
    config.period_count = 4;
    config.format = PCM_FORMAT_S16_LE;
    pcm* stream = pcm_open(0, 0, PCM_IN | PCM_MONOTONIC, &config);
    ASSERT_TRUE(pcm_is_ready(stream)) << pcm_get_error(stream);
    std::vector<std::int16_t> block(480 * 2 * 10);
    const auto begin = clock::now();
    for (int i = 0; i < 10; ++i) {
        ASSERT_EQ(pcm_readi(stream, block.data(), 1440), 1440);
    }
    const auto passed =
        std::chrono::duration_cast<std::chrono::milliseconds>(clock::now() - begin).count();
    EXPECT_GE(passed, 299);
    EXPECT_LE(passed, 600);
    unsigned int avail = 0;
    timespec now{};
    ASSERT_EQ(pcm_get_htimestamp(stream, &avail, &now), 0);
    EXPECT_EQ(avail % 480, 0U) << "positions move by periods";
    usleep(100'000);  // the buffer holds 40 ms
    EXPECT_EQ(pcm_readi(stream, block.data(), 480), -1);
    EXPECT_EQ(errno, EPIPE);
    EXPECT_EQ(pcm_readi(stream, block.data(), 480), 480) << "the stream goes on";
    pcm_close(stream);
}

}  // namespace
