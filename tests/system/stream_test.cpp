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
    EXPECT_EQ(newest().left, 0U);
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

TEST_F(stream_life_test, an_unusable_client_is_refused_and_the_next_good_one_works) {
    stream_setup nine_channels = kUsual;
    nine_channels.client_channels = 9;
    set_card(nine_channels);
    EXPECT_FALSE(open(nine_channels, 512, 4));
    EXPECT_NE(std::string(pcm_get_error(stream)).find("cannot set hw params"), std::string::npos);
    EXPECT_TRUE(zel_test::log_has("channel num 9 out of limit 8"));
    close();
    stream_setup no_channel = kUsual;
    no_channel.client_channels = 0;
    EXPECT_TRUE(open(no_channel, 512, 4)) << "tinyalsa raises it to one";
    close();
    ASSERT_NO_FATAL_FAILURE(open_and_start(kUsual));
    EXPECT_EQ(read_blocks(3), expected(kUsual, 3));
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
