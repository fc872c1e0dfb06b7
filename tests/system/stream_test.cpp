// Whole streams through the real path: tinyalsa layer, card definition, library, worker, simulated
// card, chain, ring buffer. Every sample is held against the slow model.

#include <gtest/gtest.h>
#include <tinyalsa/pcm.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "captured_log.h"
#include "stream_fixture.h"

using zel_test::stream_setup;

namespace zel_test {

void PrintTo(const stream_setup& s, std::ostream* out) {
    *out << s.card_bits << " bits x " << s.card_channels << " -> " << s.client_bits << " bits x "
         << s.client_channels << " at " << s.client_rate;
}

}  // namespace zel_test

namespace {

class stream_test : public zel_test::stream_fixture,
                    public testing::WithParamInterface<stream_setup> {};

TEST_P(stream_test, every_sample_is_the_models) {
    constexpr unsigned int kBlocks = 40;
    ASSERT_NO_FATAL_FAILURE(open_and_start(GetParam()));
    const std::vector<std::int32_t> got = read_blocks(kBlocks);
    const std::vector<std::int32_t> wanted = expected(GetParam(), kBlocks);
    ASSERT_EQ(got.size(), wanted.size());
    for (std::size_t s = 0; s < wanted.size(); ++s) {
        ASSERT_EQ(got[s], wanted[s]) << "channel " << s % GetParam().client_channels << ", frame "
                                     << s / GetParam().client_channels;
    }
    unsigned int avail = 1;
    timespec time{};
    EXPECT_EQ(pcm_get_htimestamp(stream, &avail, &time), 0);
    EXPECT_EQ(avail, 0U);
    EXPECT_EQ(zel_test::log_count("fail"), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    widths_and_rates, stream_test,
    testing::Values(stream_setup{16, 2, 16, 2, 48000}, stream_setup{16, 2, 16, 2, 16000},
                    stream_setup{16, 2, 32, 2, 48000}, stream_setup{16, 2, 32, 2, 16000},
                    stream_setup{32, 2, 16, 2, 48000}, stream_setup{32, 2, 16, 2, 16000},
                    stream_setup{32, 2, 32, 2, 48000}, stream_setup{32, 2, 32, 2, 16000},
                    stream_setup{24, 2, 16, 2, 48000}, stream_setup{24, 2, 32, 2, 48000}));
INSTANTIATE_TEST_SUITE_P(
    channel_counts, stream_test,
    testing::Values(stream_setup{32, 8, 16, 1, 16000}, stream_setup{32, 8, 16, 3, 16000},
                    stream_setup{32, 8, 16, 4, 16000}, stream_setup{32, 6, 16, 5, 16000},
                    stream_setup{32, 12, 16, 6, 16000}, stream_setup{32, 8, 16, 7, 16000},
                    stream_setup{32, 8, 32, 8, 16000}, stream_setup{16, 1, 16, 8, 48000}));

using stream_life_test = zel_test::stream_fixture;
const stream_setup kUsual{32, 2, 16, 2, 16000};

TEST_F(stream_life_test, a_stream_can_be_opened_again_and_starts_anew) {
    const std::vector<std::int32_t> wanted = expected(kUsual, 5);
    for (int round = 0; round < 20; ++round) {
        ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
        ASSERT_EQ(read_blocks(5), wanted) << "round " << round;
        close();
    }
}

TEST_F(stream_life_test, the_first_read_starts_the_stream) {
    set_card(kUsual);
    ASSERT_TRUE(open(kUsual, 512, 4));
    set("Sim Granted Frames", 3 * 1536);
    EXPECT_EQ(read(3 * 512), expected(kUsual, 3));
}

TEST_F(stream_life_test, buffers_of_any_size_are_served) {
    const std::vector<std::int32_t> wanted = expected(kUsual, 10);
    const struct {
        unsigned int size, count;
    } periods[] = {{1, 1}, {128, 2}, {1000, 4}, {1024, 4}, {1536, 4}, {100000, 1}};
    for (const auto& period : periods) {
        ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual, period.size, period.count));
        EXPECT_EQ(read_blocks(10), wanted) << period.size << " x " << period.count;
        close();
    }
}

TEST_F(stream_life_test, timestamps_advance_with_the_frames_read) {
    ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
    timespec before{};
    for (int b = 0; b < 30; ++b) {
        read_blocks(1);
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
        stream_setup client;
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
    ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
    EXPECT_EQ(read_blocks(3), expected(kUsual, 3));
}

TEST_F(stream_life_test, rates_that_the_chain_cannot_make_come_out_silent) {
    for (const unsigned int rate : {44100U, 96000U}) {
        stream_setup setup = kUsual;
        setup.client_rate = rate;
        ASSERT_NO_FATAL_FAILURE(open_and_start(setup));
        EXPECT_EQ(read_blocks(3), std::vector<std::int32_t>(2 * 3 * block_frames()));
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
    ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
    EXPECT_EQ(read_blocks(3), expected(kUsual, 3));
}

TEST_F(stream_life_test, short_and_failed_reads_cost_their_block_only) {
    ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
    read_blocks(2);
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
    ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
    for (int b = 0; b < 10; ++b) {
        grant_block();
    }
    const std::vector<std::int32_t> wanted = expected(kUsual, 10);
    EXPECT_EQ(read(4 * 512), std::vector<std::int32_t>(wanted.begin() + 6 * 512 * 2, wanted.end()));
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
