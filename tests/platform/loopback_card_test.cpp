// The simulated card, through tinyalsa's public interface.

#include <gtest/gtest.h>
#include <sndfile.h>
#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "test_folder.h"
#include "zel_loopback_signal.h"

namespace {

class loopback_card_test : public testing::Test {
  protected:
    void SetUp() override {
        card = mixer_open(0);
        ASSERT_NE(card, nullptr);
    }
    void TearDown() override {
        close();
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

TEST_F(loopback_card_test, delivers_its_signal_in_every_format) {
    const struct {
        int code;
        pcm_format format;
        int shift;
    } formats[] = {
        {2, PCM_FORMAT_S16_LE, 16}, {6, PCM_FORMAT_S24_LE, 8}, {10, PCM_FORMAT_S32_LE, 0}};
    ASSERT_EQ(choose("Sim Pacing", "Fast"), 0);
    for (const char* signal : {"Ramp", "Tones", "Silence"}) {
        ASSERT_EQ(choose("Loopback Signal", signal), 0);
        for (const auto& f : formats) {
            for (const unsigned int channels : {1U, 8U, 16U}) {
                for (const unsigned int rate : {8000U, 48000U}) {
                    set_card(f.code, channels, rate);
                    ASSERT_TRUE(open(channels, rate, f.format)) << pcm_get_error(stream);
                    std::vector<std::uint8_t> block(pcm_frames_to_bytes(stream, 5000));
                    ASSERT_EQ(pcm_readi(stream, block.data(), 3000), 3000);
                    ASSERT_EQ(
                        pcm_readi(stream, block.data() + pcm_frames_to_bytes(stream, 3000), 2000),
                        2000);
                    for (unsigned int i = 0; i < 5000 * channels; ++i) {
                        std::int32_t got = 0;
                        std::int16_t narrow = 0;
                        if (f.shift == 16) {
                            std::memcpy(&narrow, &block[i * 2], 2);
                            got = narrow;
                        } else {
                            std::memcpy(&got, &block[i * 4], 4);
                        }
                        const std::int32_t full =
                            signal[0] == 'R'   ? zel_loopback_ramp(i / channels, i % channels)
                            : signal[0] == 'T' ? zel_loopback_tone(i / channels, i % channels, rate)
                                               : 0;
                        ASSERT_EQ(got, full >> f.shift) << signal << " sample " << i;
                    }
                }
            }
        }
    }
    EXPECT_FALSE(open(2, 48000, PCM_FORMAT_S32_LE));
    EXPECT_FALSE(open(16, 44100, PCM_FORMAT_S32_LE));
    EXPECT_FALSE(open(16, 48000, PCM_FORMAT_S16_LE));
    // Formats that the card doesn't have, even if its control names them.
    for (const auto& [code, format] : {std::pair{0, PCM_FORMAT_S8}, {3, PCM_FORMAT_S16_BE}}) {
        set("PCM Slave Format", code);
        EXPECT_FALSE(open(16, 48000, format)) << code;
    }
    EXPECT_NE(std::strstr(pcm_get_error(stream), "cannot set hw params"), nullptr);
}

TEST_F(loopback_card_test, a_buffer_beyond_its_memory_is_refused) {
    set_card(10, 8, 48000);
    const struct {
        unsigned int period_size, period_count;
        bool opens;
    } cases[] = {{480, 1024, true},   {480, 1025, false},     {131072, 1, true},
                 {131073, 1, false},  {0xFFFFFFFF, 4, false}, {480, 0xFFFFFFFF, false},
                 {131072, 1024, true}};
    for (const auto& c : cases) {
        EXPECT_EQ(open(8, 48000, PCM_FORMAT_S32_LE, c.period_size, c.period_count), c.opens)
            << c.period_size << " x " << c.period_count;
    }
}

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
    choose("Sim Pacing", "Fast");
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
    EXPECT_EQ(pcm_readi(stream, block.data(), 480), 480);
    pcm_get_htimestamp(stream, &avail, &after);
    EXPECT_EQ((after.tv_sec - before.tv_sec) * 1000 + (after.tv_nsec - before.tv_nsec) / 1000000,
              2010);
}

TEST_F(loopback_card_test, plays_wav_files_over_and_over) {
    const std::string path = zel_test::test_folder() + "/played.wav";
    SF_INFO info{};
    info.samplerate = 24000;
    info.channels = 2;
    info.format = SF_FORMAT_WAV | SF_FORMAT_PCM_16;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    const short frames[] = {100, -100, 300, -300, 500, -500};
    sf_writef_short(file, frames, 3);
    sf_close(file);

    play("WAV file", path);
    choose("Sim Pacing", "Fast");
    set_card(2, 3, 48000);
    ASSERT_TRUE(open(3, 48000, PCM_FORMAT_S16_LE)) << pcm_get_error(stream);
    std::vector<std::int16_t> got(8 * 3);
    ASSERT_EQ(pcm_readi(stream, got.data(), 8), 8);
    const std::int16_t left[] = {100, 200, 300, 400, 500, 300, 100, 200};
    for (std::size_t f = 0; f < 8; ++f) {
        EXPECT_EQ(got[3 * f], left[f]) << f;
        EXPECT_NEAR(got[3 * f + 1], -left[f], 1) << f;
        EXPECT_EQ(got[3 * f + 2], left[f]) << "channels repeat";
    }
    choose("Loopback Signal", "WAV file once");
    ASSERT_TRUE(open(3, 48000, PCM_FORMAT_S16_LE)) << pcm_get_error(stream);
    ASSERT_EQ(pcm_readi(stream, got.data(), 8), 8);
    for (std::size_t f = 0; f < 8; ++f) {
        EXPECT_NEAR(got[3 * f], f < 5 ? left[f] : f == 5 ? 250 : 0, 1) << f;
    }
    play("WAV file once", "/nowhere.wav");
    EXPECT_FALSE(open(3, 48000, PCM_FORMAT_S16_LE));
    choose("Loopback Signal", "Tones");
}

TEST_F(loopback_card_test, long_files_of_floats_play_whole_and_clip) {
    const std::string path = zel_test::test_folder() + "/floats.wav";
    SF_INFO info{};
    info.samplerate = 48000;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    std::vector<float> written(10000);
    for (std::size_t f = 0; f < written.size(); ++f) {
        written[f] = static_cast<float>(f) / 8192 - 0.5F;
    }
    sf_writef_float(file, written.data(), 10000);
    sf_close(file);
    play("WAV file once", path);
    choose("Sim Pacing", "Fast");
    set_card(2, 1, 48000);
    ASSERT_TRUE(open(1, 48000, PCM_FORMAT_S16_LE)) << pcm_get_error(stream);
    std::vector<std::int16_t> got(10500);
    ASSERT_EQ(pcm_readi(stream, got.data(), 10500), 10500);
    for (int f = 0; f < 10500; ++f) {
        ASSERT_EQ(got[static_cast<std::size_t>(f)], f >= 10000 ? 0 : std::min(f * 4 - 16384, 32767))
            << f;
    }
    choose("Loopback Signal", "Tones");
}

TEST_F(loopback_card_test, every_subscriber_hears_of_the_cards_controls) {
    mixer* second = mixer_open(0);
    ASSERT_EQ(mixer_subscribe_events(card, 1), 0);
    ASSERT_EQ(mixer_subscribe_events(second, 1), 0);
    EXPECT_EQ(mixer_wait_event(card, 0), 0);
    set("PCM Slave Active", 0);
    set("PCM Slave Active", 1);
    choose("PCM Channel Layout", "5.1");
    set("Sim Granted Frames", 1);  // the simulator's own: no event
    for (mixer* listener : {card, second}) {
        for (const unsigned int numid : {1U, 6U}) {
            ASSERT_EQ(mixer_wait_event(listener, 100), 1);
            mixer_ctl_event event{};
            ASSERT_EQ(mixer_read_event(listener, &event), 1);
            EXPECT_EQ(event.data.element.id.numid, numid);
            EXPECT_EQ(event.data.element.mask, 1U);
        }
        EXPECT_EQ(mixer_wait_event(listener, 0), 0);
    }
    set("PCM Slave Rate", 44100);  // announced as a change of the loopback source, too
    set("PCM Slave Rate", 48000);
    for (const unsigned int numid : {4U, 1U}) {
        ASSERT_EQ(mixer_wait_event(card, 100), 1);
        mixer_ctl_event event{};
        ASSERT_EQ(mixer_read_event(card, &event), 1);
        EXPECT_EQ(event.data.element.id.numid, numid);
    }
    EXPECT_EQ(mixer_wait_event(card, 0), 0);
    mixer_close(second);
    set("PCM Slave Active", 0);
    EXPECT_EQ(mixer_wait_event(card, 100), 1);
    EXPECT_EQ(mixer_consume_event(card), 1);
    EXPECT_EQ(mixer_subscribe_events(card, 0), 0);
    set("PCM Slave Active", 1);
    EXPECT_EQ(mixer_wait_event(card, 0), 0);
}

TEST_F(loopback_card_test, controls_keep_their_ranges) {
    EXPECT_EQ(mixer_get_num_ctls(card), 18U);
    EXPECT_STREQ(mixer_ctl_get_name(mixer_get_ctl(card, 1)), "PCM Slave Active");
    EXPECT_STREQ(mixer_ctl_get_name(mixer_get_ctl(card, 6)), "PCM Channel Layout");
    EXPECT_EQ(mixer_get_ctl(card, 18), nullptr);
    EXPECT_EQ(set("PCM Slave Channels", 17), -EINVAL);
    EXPECT_EQ(set("PCM Slave Channels", 0), -EINVAL);
    EXPECT_EQ(set("PCM Channel Layout", 9), -EINVAL);
    EXPECT_EQ(choose("PCM Channel Layout", "9.9"), -EINVAL);
    const unsigned char bytes[64] = {1, 2, 3};
    unsigned char back[64] = {};
    for (const auto& [name, size] :
         {std::pair{"Loopback Calibration", 16U}, {"Loopback Tuning", 64U}}) {
        EXPECT_EQ(mixer_ctl_get_num_values(control(name)), size);
        EXPECT_EQ(mixer_ctl_set_array(control(name), bytes, size), 0);
        EXPECT_EQ(mixer_ctl_get_array(control(name), back, size), 0);
        EXPECT_EQ(std::memcmp(bytes, back, size), 0);
        EXPECT_EQ(mixer_ctl_set_array(control(name), bytes, size + 1), -EINVAL);
    }
    EXPECT_TRUE(mixer_ctl_is_access_tlv_rw(control("Loopback Tuning")));
    EXPECT_EQ(mixer_ctl_get_value(control("Loopback Volume"), 1), 100);
    EXPECT_EQ(mixer_ctl_get_value(control("Loopback Volume"), 2), -EINVAL);
}

}  // namespace
