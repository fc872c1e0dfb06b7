// The 48 to 16 kHz converter's blocks in each width against frame after frame: output, history ring
// and both positions.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "zel_src_48k_state.h"

namespace {

using samples = std::vector<std::int16_t>;
constexpr unsigned int kSeed = 20261125;

/// Noise, and stretches that drive the sums far over full scale, near to zero, or hold still.
samples awkward_stream(std::size_t channels, std::size_t frames) {
    std::mt19937 random(kSeed);
    samples in(frames * channels);
    for (std::size_t f = 0; f < frames; ++f) {
        for (std::size_t c = 0; c < channels; ++c) {
            const std::size_t stretch = f / 711 % 5;
            const bool positive = res_coeff[f % 237] >= 0;
            auto sample = static_cast<std::int16_t>(random());
            if (stretch == 1) {
                sample = positive == (c % 2 == 0) ? 32767 : -32768;
            } else if (stretch == 2) {
                sample = static_cast<std::int16_t>(static_cast<int>(random() % 3) - 1);
            } else if (stretch == 3) {
                sample = static_cast<std::int16_t>(c % 2 == 0 ? -32768 : 32767);
            }
            in[f * channels + c] = sample;
        }
    }
    return in;
}

/// What is left by a block.
struct result {
    samples out;
    samples ring;
    std::uint32_t read, write;

    bool operator==(const result&) const = default;
};

std::vector<result> convert(std::size_t channels, const std::vector<std::size_t>& block_frames,
                            std::uint32_t lanes) {
    std::size_t frames = 0;
    for (const std::size_t block : block_frames) {
        frames += block;
    }
    const samples in = awkward_stream(channels, frames);
    EXPECT_EQ(Ovra_VOC_SrcInit48k(static_cast<int>(channels)), 0);
    g_zel_src.u32Lanes = lanes;
    std::vector<result> results;
    auto at = in.begin();
    for (const std::size_t length : block_frames) {
        const auto end = at + static_cast<std::ptrdiff_t>(length * channels);
        samples block(at, end);
        block.push_back(4711);
        auto count = static_cast<unsigned int>(length * channels);
        EXPECT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), 0);
        EXPECT_EQ(count, length * channels / 3);
        EXPECT_EQ(block.back(), 4711) << "writes stay within the block";
        block.resize(count);
        results.push_back({block,
                           {std::begin(g_zel_src.as16History), std::end(g_zel_src.as16History)},
                           g_zel_src.u32ReadIdx,
                           g_zel_src.u32WriteIdx});
        at = end;
    }
    EXPECT_EQ(Ovra_VOC_SrcDeInit48k(), 0);
    return results;
}

/// Channels and lanes.
class src_block_test : public testing::TestWithParam<std::pair<std::size_t, std::uint32_t>> {
  protected:
    void expect_same(const std::vector<std::size_t>& block_frames) {
        const auto [channels, lanes] = GetParam();
        const std::vector<result> frame_by_frame = convert(channels, block_frames, 0);
        const std::vector<result> got = convert(channels, block_frames, lanes);
        ASSERT_EQ(got.size(), frame_by_frame.size());
        for (std::size_t b = 0; b < got.size(); ++b) {
            ASSERT_EQ(got[b].out, frame_by_frame[b].out) << "block " << b << ", seed " << kSeed;
            ASSERT_TRUE(got[b] == frame_by_frame[b])
                << "ring or positions after block " << b << ", seed " << kSeed;
        }
    }
};

TEST_P(src_block_test, equals_frame_after_frame) {
    for (const std::size_t length : {3U, 12U, 27U, 159U, 753U, 756U, 759U, 1536U, 24576U}) {
        expect_same(std::vector<std::size_t>(5, length));
    }
    if (GetParam().first % 2 == 0) {  // an odd count fixes the length
        std::mt19937 random(kSeed);
        std::vector<std::size_t> lengths;
        for (int i = 0; i < 300; ++i) {
            lengths.push_back(3 * (random() % 4 == 0 ? random() % 900 : random() % 60));
        }
        expect_same(lengths);
    }
}

std::vector<std::pair<std::size_t, std::uint32_t>> every_width() {
    std::vector<std::pair<std::size_t, std::uint32_t>> all;
    for (std::size_t channels = 1; channels <= 8; ++channels) {
        for (std::uint32_t lanes = 4; lanes <= zel_src_widest_lanes(); lanes *= 2) {
            all.emplace_back(channels, lanes);
        }
    }
    return all;
}
INSTANTIATE_TEST_SUITE_P(channels_and_lanes, src_block_test, testing::ValuesIn(every_width()));

// 32-bit ARM's vectors flush denormals: no tap may be so small that a sum could become one.
TEST(src_block, no_tap_leads_to_a_denormal) {
    for (const float tap : res_coeff) {
        EXPECT_GE(tap < 0 ? -tap : tap, 0x1p-80F);
    }
}

}  // namespace
