// The simulated card, through tinyalsa's public interface.

#include <gtest/gtest.h>
#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <sndfile.hh>
#include <string>
#include <utility>
#include <vector>

#include "test_folder.h"

namespace {

class loopback_card_test : public testing::Test {
  protected:
    void SetUp() override {
        card = mixer_open(0);
        ASSERT_NE(card, nullptr);
        choose("Sim Pacing", "Fast");
    }
    void TearDown() override {
        close();
        choose("Loopback Signal", "Tones");
        mixer_close(card);
    }
    mixer_ctl* control(const char* name) {
        mixer_ctl* found = mixer_get_ctl_by_name(card, name);
        EXPECT_NE(found, nullptr) << name;
        return found;
    }
    int set(const char* name, int value) { return mixer_ctl_set_value(control(name), 0, value); }
    int choose(const char* name, const char* item) {
        return mixer_ctl_set_enum_by_string(control(name), item);
    }
    void set_card(int format, unsigned int channels, unsigned int rate) {
        set("PCM Slave Format", format);
        set("PCM Slave Channels", static_cast<int>(channels));
        set("PCM Slave Rate", static_cast<int>(rate));
    }
    void play(const char* signal, const std::string& path) {
        std::vector<char> name(256);
        path.copy(name.data(), path.size());
        EXPECT_EQ(mixer_ctl_set_array(control("Sim WAV File"), name.data(), name.size()), 0);
        choose("Loopback Signal", signal);
    }
    void close() {
        if (stream != nullptr) {
            pcm_close(stream);
        }
        stream = nullptr;
    }
    bool open(unsigned int channels, unsigned int rate, pcm_format format,
              unsigned int period_size = 480, unsigned int period_count = 4) {
        close();
        pcm_config config{};
        config.channels = channels;
        config.rate = rate;
        config.period_size = period_size;
        config.period_count = period_count;
        config.format = format;
        stream = pcm_open(0, 0, PCM_IN | PCM_MONOTONIC, &config);
        return pcm_is_ready(stream) != 0;
    }
    mixer* card = nullptr;
    pcm* stream = nullptr;
};

TEST_F(loopback_card_test, the_clock_paces_and_stamps) {
    using clock = std::chrono::steady_clock;
    choose("Sim Pacing", "Clock");
    set_card(2, 2, 48000);
    ASSERT_TRUE(open(2, 48000, PCM_FORMAT_S16_LE));
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
}

TEST_F(loopback_card_test, faults_come_as_ordered) {
    set_card(2, 2, 48000);
    set("Sim Fault Open", 1);
    EXPECT_FALSE(open(2, 48000, PCM_FORMAT_S16_LE));
    ASSERT_TRUE(open(2, 48000, PCM_FORMAT_S16_LE));
    std::vector<std::int16_t> block(2000);
    set("Sim Fault Read Error", 1);
    EXPECT_EQ(pcm_readi(stream, block.data(), 100), -1);
    EXPECT_EQ(errno, EIO);
    set("Sim Fault Short Read", 1);
    EXPECT_EQ(pcm_readi(stream, block.data(), 100), 50);
    EXPECT_EQ(pcm_readi(stream, block.data(), 100), 100);
    unsigned int avail = 0;
    timespec before{};
    timespec after{};
    pcm_get_htimestamp(stream, &avail, &before);
    set("Sim Fault Clock Jump", 2000);
    set("Sim Fault Stall", 50);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(pcm_readi(stream, block.data(), 480), 480);
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(50));
    pcm_get_htimestamp(stream, &avail, &after);
    EXPECT_EQ((after.tv_sec - before.tv_sec) * 1000 + (after.tv_nsec - before.tv_nsec) / 1000000,
              2010);
}

}  // namespace
