// How late audio comes: an impulse played by the card is looked for in what a client reads. The
// figures are those of docs/latency.md.

#include <gtest/gtest.h>
#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "stream_fixture.h"
#include "test_folder.h"

using zel_test::stream_setup;

namespace {

constexpr unsigned int kCardBlock = 1536;

/// A mono WAV file at 48 kHz of 16 bits: silence but for one sample of half full scale.
std::string impulse_file(unsigned int frame) {
    constexpr std::uint32_t kFrames = 16 * kCardBlock;
    std::vector<std::int16_t> samples(kFrames);
    samples[frame] = 0x4000;
    const std::uint32_t bytes = kFrames * 2;
    const std::uint32_t header[11] = {0x46464952,   36 + bytes,  0x45564157, 0x20746d66,
                                      16,           1 | 1 << 16, 48000,      96000,
                                      2 | 16 << 16, 0x61746164,  bytes};
    const std::string path = zel_test::test_folder() + "/impulse.wav";
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(header), sizeof(header));
    file.write(reinterpret_cast<const char*>(samples.data()), bytes);
    return path;
}

/// Where an impulse at the card's `card_frame` is largest in the client's channel, worked out by
/// hand from the taps: at 16 kHz frame k holds tap 237 - 3 k + card_frame, which is the centre tap,
/// 118, 119 card frames later. Channel 1 is 40 ms late, 1920 frames of the card.
struct impulse {
    unsigned int client_rate;
    unsigned int card_frame;
    unsigned int channel;
    unsigned int client_frame;
    std::int32_t value;
    unsigned int card_frames_late;  ///< when the client can have it: after a whole block
};

void PrintTo(const impulse& i, std::ostream* out) {
    *out << i.client_rate << " Hz, frame " << i.card_frame << ", channel " << i.channel;
}

class latency_test : public zel_test::stream_fixture,
                     public testing::WithParamInterface<impulse> {};

TEST_P(latency_test, an_impulse_comes_with_the_block_that_holds_it) {
    const impulse& wanted = GetParam();
    set_path_on(card, "Sim WAV File", impulse_file(wanted.card_frame));
    choose("Loopback Signal", "WAV file");
    choose("PCM Channel Layout", "2.0");  // without a matrix: channels pass as they are
    ASSERT_NO_FATAL_FAILURE(open_and_start({32, 2, 16, 2, wanted.client_rate}, 0, 4));
    std::int32_t largest = 0;
    unsigned int at = 0;
    unsigned int late = 0;
    for (unsigned int block = 0; block < 5; ++block) {
        const std::vector<std::int32_t> samples = read_blocks(1);
        ASSERT_EQ(newest().left, 0U) << "more than one block for a block";
        for (unsigned int frame = 0; frame < block_frames(); ++frame) {
            const std::int32_t sample = samples[2 * frame + wanted.channel];
            if (sample > largest) {
                largest = sample;
                at = block * block_frames() + frame;
                late = (block + 1) * kCardBlock - wanted.card_frame;
            }
        }
    }
    EXPECT_EQ(at, wanted.client_frame);
    EXPECT_EQ(largest, wanted.value);
    EXPECT_EQ(late, wanted.card_frames_late);
}

INSTANTIATE_TEST_SUITE_P(at_48_khz, latency_test,
                         testing::Values(impulse{48000, 0, 0, 0, 16384, 1536},
                                         impulse{48000, 1535, 0, 1535, 16384, 1},
                                         impulse{48000, 1536, 0, 1536, 16384, 1536},
                                         impulse{48000, 0, 1, 1920, 16384, 2 * 1536}));
// 16384 x 0.29637963, x 0.25111133: the centre tap and its neighbours.
INSTANTIATE_TEST_SUITE_P(at_16_khz, latency_test,
                         testing::Values(impulse{16000, 0, 0, 40, 4114, 1536},
                                         impulse{16000, 1, 0, 40, 4855, 1535},
                                         impulse{16000, 2, 0, 40, 4114, 1534},
                                         impulse{16000, 1414, 0, 511, 4855, 122},
                                         impulse{16000, 1417, 0, 512, 4855, 1536 + 119},
                                         impulse{16000, 1, 1, 680, 4855, 2 * 1536 - 1}));

/// By the clock, as a client sees it: how old the newest frame of the card is when a blocking read
/// returns. The printed figures are for the documentation; only a gross fault fails.
TEST_F(latency_test, a_blocking_read_returns_within_two_blocks) {
    ASSERT_NO_FATAL_FAILURE(open_and_start({32, 8, 16, 2, 16000}, 512, 4));
    choose("Sim Pacing", "Clock");
    std::vector<std::int64_t> ages_us;
    read(block_frames());
    for (int block = 0; block < 60; ++block) {
        read(block_frames());
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        ages_us.push_back((now.tv_sec * 1'000'000'000LL + now.tv_nsec - newest().time_ns) / 1000);
    }
    std::sort(ages_us.begin(), ages_us.end());
    const std::int64_t median = ages_us[ages_us.size() / 2];
    std::cout << "age of the newest frame at a read's return, us: " << ages_us.front() << " to "
              << ages_us.back() << ", median " << median << '\n';
    EXPECT_GE(ages_us.front(), 0);
    EXPECT_LT(median, 70'000);
}

}  // namespace
