// Changes of the card while a stream runs, made through the virtual card's mixer as a client would.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <fstream>
#include <numbers>
#include <string>
#include <vector>

#include "captured_log.h"
#include "stream_fixture.h"
#include "test_folder.h"
#include "zel_loopback_signal.h"

using zel_test::chain_model;
using zel_test::matrix_for;
using zel_test::stream_setup;

namespace {

constexpr unsigned int kVirtualCard = 70;

class card_change_test : public zel_test::stream_fixture {
  protected:
    void SetUp() override {
        stream_fixture::SetUp();
        virtual_card = mixer_open(kVirtualCard);
        ASSERT_NE(virtual_card, nullptr);
        ASSERT_EQ(mixer_subscribe_events(virtual_card, 1), 0);
    }
    void TearDown() override {
        mixer_close(virtual_card);
        stream_fixture::TearDown();
    }

    void change(const char* control, int value) { set_on(virtual_card, control, value); }
    void change_path(const char* control, const std::string& path) {
        std::vector<char> bytes(128);
        path.copy(bytes.data(), 127);
        ASSERT_EQ(mixer_ctl_set_array(mixer_get_ctl_by_name(virtual_card, control), bytes.data(),
                                      bytes.size()),
                  0);
    }
    /// Events of the virtual card that are there to be read.
    int events() {
        int count = 0;
        for (mixer_ctl_event event{}; mixer_wait_event(virtual_card, 0) == 1; ++count) {
            EXPECT_EQ(mixer_read_event(virtual_card, &event), 1);
            EXPECT_EQ(event.data.element.id.numid, 0U);
            EXPECT_EQ(event.data.element.id.device, 70U);
        }
        return count;
    }
    /// Capture time of the frame that was read last.
    std::int64_t read_time_ns() {
        timespec newest{};
        unsigned int avail = 0;
        EXPECT_EQ(pcm_get_htimestamp(stream, &avail, &newest), 0);
        return newest.tv_sec * 1'000'000'000LL + newest.tv_nsec -
               std::int64_t{avail} * 1'000'000'000 / current.client_rate;
    }

    mixer* virtual_card = nullptr;
};

const stream_setup kUsual{32, 8, 16, 2, 16000};

TEST_F(card_change_test, the_stream_goes_on_with_the_cards_new_settings) {
    const struct {
        const char* control;
        int value;
        stream_setup setup;
    } changes[] = {
        {"PCM Slave Active", 0, {32, 8, 16, 2, 16000}},
        {"PCM Slave Channels", 6, {32, 6, 16, 2, 16000}},
        {"PCM Slave Format", 2, {16, 6, 16, 2, 16000}},
        {"PCM Slave Channels", 1, {16, 1, 16, 2, 16000}},
        {"PCM Slave Format", 6, {24, 1, 16, 2, 16000}},
        {"PCM Slave Channels", 16, {24, 16, 16, 2, 16000}},
        {"PCM Slave Active", 1, {24, 16, 16, 2, 16000}},
    };
    for (const unsigned int rate : {16000U, 48000U}) {
        stream_setup setup = kUsual;
        setup.client_rate = rate;
        ASSERT_NO_FATAL_FAILURE(open_and_start(setup));
        EXPECT_EQ(read_blocks(3), expected(setup, 3));
        chain_model before(setup, matrix_for("1.0", setup.card_channels, 2));
        expected(before, 3);
        for (const auto& c : changes) {
            SCOPED_TRACE(testing::Message() << c.control << " = " << c.value << " at " << rate);
            change(c.control, c.value);
            // The block that the worker waits for is still of the old stream.
            EXPECT_EQ(read_blocks(1), expected(before, 1));
            EXPECT_EQ(events(), 0);
            setup = c.setup;
            setup.client_rate = rate;
            before = chain_model(setup, matrix_for("1.0", setup.card_channels, 2));
            EXPECT_EQ(read_blocks(1), expected(before, 1));
            EXPECT_EQ(events(), 1);
            EXPECT_EQ(read_blocks(4), expected(before, 4));
            EXPECT_EQ(events(), 0);
        }
        close();
    }
}

TEST_F(card_change_test, a_new_layout_switches_the_matrix_between_two_blocks) {
    ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
    chain_model model(kUsual, matrix_for("1.0", 8, 2));
    for (const char* layout : {"4.0", "5.1", "7.1", "1.0"}) {
        SCOPED_TRACE(layout);
        choose_on(virtual_card, "PCM Channel Layout", layout);
        EXPECT_EQ(read_blocks(1), expected(model, 1));
        // A layout without an entry costs the cycle in which it came, not the stream.
        model.set_matrix(matrix_for(layout, 8, 2));
        EXPECT_EQ(read_blocks(3), expected(model, 3));
    }
    EXPECT_EQ(events(), 0);
    EXPECT_EQ(zel_test::log_count("change channel layout fail"), 1U);
}

TEST_F(card_change_test, new_paths_take_effect_with_the_next_restart_or_open) {
    const std::string swapped = zel_test::test_folder() + "/swapped.json";
    std::ofstream(swapped) << R"({"MixingCoefficientEnable":true,"MixingWeighting":[{"InputChannel":
        2,"InputChannelLayout":"1.0","OutputChannel":2,"Parameters":[0,1,1,0]}]})";
    const std::string folder = zel_test::write_coefficients();
    const stream_setup setup{16, 2, 16, 2, 48000};
    const zel_test::weight_matrix usual = matrix_for("1.0", 2, 2);
    const zel_test::weight_matrix swap{{0, 1}, {1, 0}};

    ASSERT_NO_FATAL_FAILURE(open_and_start(setup));
    chain_model model(setup, usual);
    change_path("FC mixing coef file", swapped);
    EXPECT_EQ(read_blocks(3), expected(model, 3));
    change("PCM Slave Active", 1);
    EXPECT_EQ(read_blocks(1), expected(model, 1));
    model = chain_model(setup, swap);
    EXPECT_EQ(read_blocks(4), expected(model, 4));
    close();

    change_path("FC mixing coef file", folder + "/voice_channel_mixing_coef.json");
    change_path("FC delay coef file", "/nowhere.json");
    ASSERT_NO_FATAL_FAILURE(open_and_start(setup));
    model = chain_model(setup, usual, {0, 0});
    EXPECT_EQ(read_blocks(4), expected(model, 4));
    EXPECT_TRUE(zel_test::log_has("open delay coefficient file /nowhere.json fail"));
    change_path("FC delay coef file", folder + "/voice_channel_delay_coef.json");
}

TEST_F(card_change_test, a_card_that_cannot_be_followed_ends_the_sound_until_it_can) {
    ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
    EXPECT_EQ(read_blocks(2), expected(kUsual, 2));
    change("PCM Slave Rate", 44100);  // no way from there to 16000 Hz
    const int reads = value("Sim Reads");
    set("Sim Granted Frames", 1536);
    read(512);
    for (int i = 0; i < 300 && !zel_test::log_has("fatal error"); ++i) {
        usleep(10'000);
    }
    EXPECT_TRUE(zel_test::log_has("fatal error can't open DD more than 10 times"));
    EXPECT_EQ(zel_test::log_count("restart fc fail count"), 10U);
    EXPECT_EQ(value("Sim Reads"), reads);
    change("PCM Slave Rate", 48000);
    ASSERT_TRUE(wait_for_read_after(reads));
    EXPECT_EQ(read_blocks(3), expected(kUsual, 3));
    EXPECT_EQ(events(), 1);
}

TEST_F(card_change_test, a_card_that_fails_for_a_while_is_followed_later) {
    ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
    set("Sim Fault Open", 6);  // three attempts: each at the client's rate and at the card's
    change("PCM Slave Active", 1);
    grant_block();
    read(512);
    EXPECT_EQ(zel_test::log_count("restart fc fail count"), 3U);
    EXPECT_EQ(read_blocks(3), expected(kUsual, 3));
    EXPECT_EQ(events(), 1);
}

TEST_F(card_change_test, the_log_level_acts_at_once) {
    ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
    zel_test::clear_log();
    change("PCM Slave Active", 1);
    choose_on(virtual_card, "FC log level", "None");
    read_blocks(2);
    for (const zel_test::log_entry& entry : zel_test::take_log()) {
        EXPECT_NE(entry.tag, "zel_tinyalsa_format_converter") << entry.text;
    }
    choose_on(virtual_card, "FC log level", "Trace");
    read_blocks(2);
    EXPECT_TRUE(zel_test::log_has("no event received"));
    choose_on(virtual_card, "FC log level", "Info");
}

/// Power of a tone in one channel of interleaved samples, relative to the channel's whole power.
double share_of_tone(const std::vector<std::int32_t>& samples, std::size_t channels,
                     std::size_t channel, double cycles_per_frame) {
    double re = 0, im = 0, power = 0;
    const std::size_t frames = samples.size() / channels;
    for (std::size_t f = 0; f < frames; ++f) {
        const double x = samples[f * channels + channel];
        const double phase = 2 * std::numbers::pi * cycles_per_frame * static_cast<double>(f);
        re += x * std::cos(phase);
        im += x * std::sin(phase);
        power += x * x;
    }
    return 2 * (re * re + im * im) / (static_cast<double>(frames) * power);
}

TEST_F(card_change_test, every_channel_keeps_its_tone_restart_after_restart) {
    choose("Loopback Signal", "Tones");
    choose("PCM Channel Layout", "7.1");  // no entry: every channel passes through
    for (const unsigned int rate : {16000U, 48000U}) {
        const stream_setup setup{32, 8, 32, 8, rate};
        ASSERT_NO_FATAL_FAILURE(open_and_start(setup));
        for (int restart = 0; restart < 10; ++restart) {
            change("PCM Slave Active", restart % 2);
            grant_block();
            read(block_frames());
            read_blocks(4);  // delays and filter fill up
            const std::vector<std::int32_t> samples = read_blocks(25);
            for (unsigned int c = 0; c < 8; ++c) {
                ASSERT_GT(share_of_tone(samples, 8, c, zel_loopback_tone_hz(c) / rate), 0.999)
                    << "channel " << c << " after restart " << restart << " at " << rate;
            }
        }
        close();
    }
}

TEST_F(card_change_test, times_and_positions_agree_across_restarts) {
    for (const unsigned int rate : {16000U, 48000U}) {
        stream_setup setup = kUsual;
        setup.client_rate = rate;
        ASSERT_NO_FATAL_FAILURE(open_and_start(setup));
        read_blocks(1);
        std::int64_t before = read_time_ns();
        for (int b = 1; b < 59; ++b) {
            const bool restarts = b % 10 == 0;
            if (b % 10 == 9) {
                change("PCM Slave Active", 1);
            }
            timespec wall{};
            read_blocks(1);
            clock_gettime(CLOCK_MONOTONIC, &wall);
            const std::int64_t now = read_time_ns();
            if (restarts) {
                // The card's stream began after its last block was asked for, and before now.
                EXPECT_GT(now, wall.tv_sec * 1'000'000'000LL + wall.tv_nsec - 5'000'000'000LL);
                EXPECT_LE(now - 32'000'000, wall.tv_sec * 1'000'000'000LL + wall.tv_nsec);
            } else {
                EXPECT_EQ(now - before, 32'000'000) << "block " << b << " at " << rate;
            }
            before = now;
        }
        EXPECT_EQ(events(), 5);
        EXPECT_FALSE(zel_test::log_has("no update"));
        close();
    }
}

TEST_F(card_change_test, real_time_goes_on_across_restarts) {
    set_card(kUsual);
    choose("Sim Pacing", "Clock");
    ASSERT_TRUE(open(kUsual, 512, 8));
    read(512);
    std::int64_t before = read_time_ns();
    std::int64_t lost = 0;
    constexpr int kBlocks = 60;
    for (int b = 1; b <= kBlocks; ++b) {
        if (b % 20 == 10) {
            change("PCM Slave Active", 1);
        }
        read(512);
        const std::int64_t now = read_time_ns();
        EXPECT_GE(now - before, 31'000'000) << "time stands still or goes back at block " << b;
        lost += now - before - 32'000'000;
        before = now;
    }
    // What a restart loses is the time it takes, and no more than a few blocks.
    EXPECT_GE(lost, -1'000'000);
    EXPECT_LT(lost, 3 * 3 * 32'000'000LL);
    EXPECT_EQ(events(), 3);
}

}  // namespace
