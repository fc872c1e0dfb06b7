// Whole streams through the real path: tinyalsa layer, card definition, library, worker, simulated
// card, chain, ring buffer. Every sample is held against the slow models.

#include <gtest/gtest.h>
#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "captured_log.h"
#include "stream_model.h"
#include "zel_loopback_signal.h"

namespace {

using zel_test::stream_samples;

constexpr unsigned int kBlocks = 40;

std::vector<int> delays_for(unsigned int channels) {
    std::vector<int> delays(channels);
    for (unsigned int c = 0; c < channels; ++c) {
        delays[c] = static_cast<int>(c % 3 * 40);  // up to more than two blocks
    }
    return delays;
}

/// Output o takes input o at half and the next one at a quarter: no sum leaves the 16 bits.
std::vector<std::vector<float>> matrix_for(unsigned int in, unsigned int out) {
    std::vector<std::vector<float>> matrix(out, std::vector<float>(in));
    for (unsigned int o = 0; o < out; ++o) {
        matrix[o][o % in] += 0.5F;
        matrix[o][(o + 1) % in] += 0.25F;
    }
    return matrix;
}

/// Coefficient files for every pair of channel counts that the tests use.
std::string write_coefficients() {
    const std::string folder = testing::TempDir();
    std::ofstream delay(folder + "/voice_channel_delay_coef.json");
    std::ofstream mixing(folder + "/voice_channel_mixing_coef.json");
    std::ostringstream delays;
    std::ostringstream weights;
    for (unsigned int in = 1; in <= 12; ++in) {
        delays << (in > 1 ? "," : "") << "{\"InputChannel\":" << in << ",\"Parameters\":[";
        for (unsigned int c = 0; c < in; ++c) {
            delays << (c > 0 ? "," : "") << delays_for(in)[c];
        }
        delays << "]}";
        for (unsigned int out = 1; out <= 8; ++out) {
            weights << (in + out > 2 ? "," : "") << "{\"InputChannel\":" << in
                    << ",\"InputChannelLayout\":\"1.0\",\"OutputChannel\":" << out
                    << ",\"Parameters\":[";
            for (unsigned int k = 0; k < in * out; ++k) {
                weights << (k > 0 ? "," : "") << matrix_for(in, out)[k / in][k % in];
            }
            weights << "]}";
        }
    }
    delay << "{\"DelayCoefficientEnable\":true,\"ChannelDelayMilliseconds\":[" << delays.str()
          << "]}";
    mixing << "{\"MixingCoefficientEnable\":true,\"MixingWeighting\":[" << weights.str() << "]}";
    return folder;
}

struct row {
    int card_bits;
    unsigned int card_channels;
    unsigned int client_bits;
    unsigned int client_channels;
    unsigned int client_rate;
};

void PrintTo(const row& r, std::ostream* out) {
    *out << r.card_bits << " bits x " << r.card_channels << " -> " << r.client_bits << " bits x "
         << r.client_channels << " at " << r.client_rate;
}

class stream_test : public testing::TestWithParam<row> {
  protected:
    static void SetUpTestSuite() {
        setenv("ZEL_VOICE_CONFIG_DIR", write_coefficients().c_str(), 1);
    }
    void SetUp() override {
        card = mixer_open(0);
        ASSERT_NE(card, nullptr);
        choose("Sim Pacing", "Step");
        choose("Loopback Signal", "Ramp");
        choose("PCM Channel Layout", "1.0");
        set("PCM Slave Rate", 48000);
        zel_test::clear_log();
    }
    void TearDown() override {
        close();
        mixer_close(card);
    }

    void set(const char* control, int value) {
        ASSERT_EQ(mixer_ctl_set_value(mixer_get_ctl_by_name(card, control), 0, value), 0)
            << control;
    }
    void choose(const char* control, const char* item) {
        ASSERT_EQ(mixer_ctl_set_enum_by_string(mixer_get_ctl_by_name(card, control), item), 0)
            << control;
    }
    void set_card(const row& r) {
        set("PCM Slave Format", r.card_bits == 16 ? 2 : r.card_bits == 24 ? 6 : 10);
        set("PCM Slave Channels", static_cast<int>(r.card_channels));
    }
    bool open(const row& r, unsigned int period_size, unsigned int period_count,
              unsigned int flags = 0) {
        pcm_config config{};
        config.channels = r.client_channels;
        config.rate = r.client_rate;
        config.period_size = period_size;
        config.period_count = period_count;
        config.format = r.client_bits == 32 ? PCM_FORMAT_S32_LE : PCM_FORMAT_S16_LE;
        stream = pcm_open(70, 70, PCM_IN | PCM_MONOTONIC | flags, &config);
        return pcm_is_ready(stream) != 0;
    }
    void close() {
        choose("Sim Pacing", "Fast");
        pcm_close(stream);
        stream = nullptr;
    }
    /// Lets the card deliver `blocks` blocks and reads what becomes of them.
    stream_samples read_blocks(const row& r, unsigned int blocks) {
        const unsigned int block = r.client_rate / 1000 * 32;
        stream_samples out(r.client_channels);
        std::vector<std::uint8_t> buffer(pcm_frames_to_bytes(stream, block));
        for (unsigned int b = 0; b < blocks; ++b) {
            set("Sim Granted Frames", 1536);
            EXPECT_EQ(pcm_readi(stream, buffer.data(), block), static_cast<int>(block))
                << pcm_get_error(stream);
            const std::uint8_t* from = buffer.data();
            for (unsigned int s = 0; s < block * r.client_channels; ++s) {
                std::int32_t wide = 0;
                std::int16_t narrow = 0;
                if (r.client_bits == 32) {
                    std::memcpy(&wide, from, 4);
                    from += 4;
                } else {
                    std::memcpy(&narrow, from, 2);
                    wide = narrow;
                    from += 2;
                }
                out[s % r.client_channels].push_back(wide);
            }
        }
        return out;
    }
    static stream_samples expected(const row& r, unsigned int blocks) {
        stream_samples samples(r.card_channels);
        for (unsigned int c = 0; c < r.card_channels; ++c) {
            for (unsigned int f = 0; f < blocks * 1536; ++f) {
                samples[c].push_back(zel_loopback_ramp(f, c) >> (32 - r.card_bits));
            }
        }
        const bool convert = r.client_rate != 48000;
        const bool wide_card = r.card_bits > 16;
        const bool truncate = wide_card && (r.client_bits == 16 || convert);
        if (truncate) {
            samples = zel_test::shifted_right(samples, 16);
        }
        samples = zel_test::delayed(samples, delays_for(r.card_channels), 48000);
        samples = zel_test::mixed(samples, matrix_for(r.card_channels, r.client_channels));
        if (convert) {
            samples = zel_test::decimated(samples);
        }
        if (r.client_bits == 32 && (truncate || !wide_card)) {
            samples = zel_test::shifted_left(samples, 16);
        }
        return samples;
    }

    mixer* card = nullptr;
    pcm* stream = nullptr;
};

TEST_P(stream_test, every_sample_is_the_models) {
    const row r = GetParam();
    set_card(r);
    ASSERT_TRUE(open(r, r.client_rate / 1000 * 32, 4)) << pcm_get_error(stream);
    const stream_samples got = read_blocks(r, kBlocks);
    const stream_samples wanted = expected(r, kBlocks);
    for (unsigned int c = 0; c < r.client_channels; ++c) {
        ASSERT_EQ(got[c].size(), wanted[c].size());
        for (std::size_t f = 0; f < wanted[c].size(); ++f) {
            ASSERT_EQ(got[c][f], wanted[c][f]) << "channel " << c << ", frame " << f;
        }
    }
    unsigned int avail = 1;
    timespec time{};
    EXPECT_EQ(pcm_get_htimestamp(stream, &avail, &time), 0);
    EXPECT_EQ(avail, 0U);
    EXPECT_EQ(zel_test::log_count("fail"), 0U);
}

INSTANTIATE_TEST_SUITE_P(widths_and_rates, stream_test,
                         testing::Values(row{16, 2, 16, 2, 48000}, row{16, 2, 16, 2, 16000},
                                         row{16, 2, 32, 2, 48000}, row{16, 2, 32, 2, 16000},
                                         row{32, 2, 16, 2, 48000}, row{32, 2, 16, 2, 16000},
                                         row{32, 2, 32, 2, 48000}, row{32, 2, 32, 2, 16000},
                                         row{24, 2, 16, 2, 48000}, row{24, 2, 32, 2, 48000}));
INSTANTIATE_TEST_SUITE_P(channel_counts, stream_test,
                         testing::Values(row{32, 8, 16, 1, 16000}, row{32, 8, 16, 3, 16000},
                                         row{32, 8, 16, 4, 16000}, row{32, 6, 16, 5, 16000},
                                         row{32, 12, 16, 6, 16000}, row{32, 8, 16, 7, 16000},
                                         row{32, 8, 32, 8, 16000}, row{16, 1, 16, 8, 48000}));

using stream_life_test = stream_test;
const row kUsual{32, 2, 16, 2, 16000};

TEST_F(stream_life_test, a_stream_can_be_opened_again_and_starts_anew) {
    set_card(kUsual);
    const stream_samples wanted = expected(kUsual, 5);
    for (int round = 0; round < 20; ++round) {
        choose("Sim Pacing", "Step");
        ASSERT_TRUE(open(kUsual, 512, 4));
        ASSERT_EQ(read_blocks(kUsual, 5), wanted) << "round " << round;
        close();
    }
}

TEST_F(stream_life_test, buffers_of_any_size_are_served) {
    set_card(kUsual);
    const stream_samples wanted = expected(kUsual, 10);
    const struct {
        unsigned int size, count;
    } periods[] = {{1, 1}, {128, 2}, {1000, 4}, {1024, 4}, {1536, 4}, {100000, 1}};
    for (const auto& period : periods) {
        choose("Sim Pacing", "Step");
        ASSERT_TRUE(open(kUsual, period.size, period.count)) << period.size;
        EXPECT_EQ(read_blocks(kUsual, 10), wanted) << period.size << " x " << period.count;
        close();
    }
}

TEST_F(stream_life_test, timestamps_advance_with_the_frames_read) {
    set_card(kUsual);
    ASSERT_TRUE(open(kUsual, 512, 8));
    timespec before{};
    for (int b = 0; b < 30; ++b) {
        read_blocks(kUsual, 1);
        timespec now{};
        unsigned int avail = 0;
        ASSERT_EQ(pcm_get_htimestamp(stream, &avail, &now), 0);
        EXPECT_EQ(avail, 0U);
        if (b > 0) {
            EXPECT_EQ((now.tv_sec - before.tv_sec) * 1'000'000'000LL + now.tv_nsec - before.tv_nsec,
                      32'000'000);
        }
        before = now;
    }
}

TEST_F(stream_life_test, unusable_clients_are_refused_and_the_next_good_one_works) {
    const struct {
        row client;
        const char* message;
    } cases[] = {
        {{32, 2, 16, 9, 16000}, "channel num 9 out of limit 8"},
        {{32, 2, 16, 0, 16000}, nullptr},  // raised to one channel by tinyalsa
    };
    for (const auto& c : cases) {
        set_card(c.client);
        const bool opened = open(c.client, 512, 4);
        EXPECT_EQ(opened, c.message == nullptr);
        if (c.message != nullptr) {
            EXPECT_NE(std::string(pcm_get_error(stream)).find("cannot set hw params"),
                      std::string::npos);
            EXPECT_TRUE(zel_test::log_has(c.message));
        }
        close();
    }
    choose("Sim Pacing", "Step");
    ASSERT_TRUE(open(kUsual, 512, 4));
    EXPECT_EQ(read_blocks(kUsual, 3), expected(kUsual, 3));
}

TEST_F(stream_life_test, rates_that_the_chain_cannot_make_come_out_silent) {
    for (const unsigned int rate : {44100U, 96000U}) {
        row r = kUsual;
        r.client_rate = rate;
        set_card(r);
        choose("Sim Pacing", "Step");
        ASSERT_TRUE(open(r, rate / 1000 * 32, 4));
        const stream_samples silence(2, zel_test::channel_samples(rate / 1000 * 32 * 3, 0));
        EXPECT_EQ(read_blocks(r, 3), silence);
        EXPECT_TRUE(zel_test::log_has("fc process size incorrect u32DataSize 2048"));
        close();
    }
}

TEST_F(stream_life_test, a_card_that_fails_is_told_and_can_be_opened_later) {
    set_card(kUsual);
    set("Sim Fault Open", 2);  // at the client's rate and at the card's
    EXPECT_FALSE(open(kUsual, 512, 4));
    EXPECT_TRUE(zel_test::log_has("open pcm device fail ("));
    close();
    choose("Sim Pacing", "Step");
    set("PCM Slave Format", 3);
    EXPECT_FALSE(open(kUsual, 512, 4));
    EXPECT_TRUE(zel_test::log_has("unknown format 3\n"));
    close();
    choose("Sim Pacing", "Step");
    set("PCM Slave Rate", 44100);
    set_card(kUsual);
    EXPECT_FALSE(open(kUsual, 512, 4));
    EXPECT_TRUE(zel_test::log_has("sample rate is not 16 48Khz"));
    EXPECT_TRUE(zel_test::log_has("SRC module init fail"));
    close();
    set("PCM Slave Rate", 48000);
    choose("Sim Pacing", "Step");
    ASSERT_TRUE(open(kUsual, 512, 4));
    EXPECT_EQ(read_blocks(kUsual, 3), expected(kUsual, 3));
}

TEST_F(stream_life_test, short_and_failed_reads_cost_their_block_only) {
    set_card(kUsual);
    ASSERT_TRUE(open(kUsual, 512, 4));
    read_blocks(kUsual, 2);
    set("Sim Fault Read Error", 3);
    set("Sim Fault Short Read", 1);
    // The worker is in a read already; the short one that follows takes 768 frames of the grant.
    set("Sim Granted Frames", 1536 + 768);
    std::vector<std::int16_t> buffer(1024);
    EXPECT_EQ(pcm_readi(stream, buffer.data(), 512), 512);
    set("Sim Granted Frames", 1536);
    EXPECT_EQ(pcm_readi(stream, buffer.data(), 512), 512);
    EXPECT_EQ(zel_test::log_count("read size incorrect u32ReadFrame 768 request 1536"), 1U);
    EXPECT_EQ(zel_test::log_count("read size incorrect u32ReadFrame -1 request 1536"), 3U);
}

TEST_F(stream_life_test, a_late_client_gets_the_newest_audio) {
    set_card(kUsual);
    ASSERT_TRUE(open(kUsual, 512, 4, PCM_NONBLOCK));
    std::vector<std::int16_t> buffer(512 * 2 * 8);
    EXPECT_EQ(pcm_readi(stream, buffer.data(), 1), 0);
    set("Sim Granted Frames", 10 * 1536);
    mixer_ctl* granted = mixer_get_ctl_by_name(card, "Sim Granted Frames");
    for (int i = 0; i < 1000 && mixer_ctl_get_value(granted, 0) > 0; ++i) {
        usleep(1000);
    }
    usleep(100'000);  // the tenth block's conversion
    const int frames = pcm_readi(stream, buffer.data(), 512 * 8);
    ASSERT_EQ(frames, 4 * 512);
    const stream_samples wanted = expected(kUsual, 10);
    for (std::size_t f = 0; f < 4 * 512; ++f) {
        ASSERT_EQ(buffer[2 * f], wanted[0][6 * 512 + f]) << f;
    }
}

TEST_F(stream_life_test, a_blocking_read_ends_when_the_card_delivers_nothing) {
    set_card(kUsual);
    ASSERT_TRUE(open(kUsual, 512, 4));
    std::vector<std::int16_t> buffer(1024);
    errno = 0;
    const auto begin = time(nullptr);
    EXPECT_EQ(pcm_readi(stream, buffer.data(), 512), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_NEAR(static_cast<double>(time(nullptr) - begin), 10.0, 2.0);
    EXPECT_TRUE(zel_test::log_has("read timeout, no data for 10 s"));
}

}  // namespace
