// What the stages hold between blocks: delay lines, matrix, history ring and padding buffer.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

#include "stage_access.h"
#include "stream_config.h"
#include "test_folder.h"
#include "zel_src_48k_state.h"

namespace {

constexpr unsigned int kSeed = 31;

std::vector<std::int16_t> noise(std::size_t samples, std::mt19937* random) {
    std::vector<std::int16_t> block(samples);
    for (std::int16_t& sample : block) {
        sample = static_cast<std::int16_t>((*random)());
    }
    return block;
}

// Delays of 96, 0 and 48 frames.
TEST(stage_state, delay_lines_hold_the_newest_frames_oldest_first) {
    using access = zel_channel_delay_access;
    constexpr std::size_t kChannels = 3;
    const std::size_t delays[kChannels] = {96, 0, 48};
    const std::string path = zel_test::write_file(
        "delays.json", R"({"DelayCoefficientEnable":true,"ChannelDelayMilliseconds":[
        {"InputChannel":3,"Parameters":[2,0,1]}]})");
    const pcm_config config = zel_test::stream_config(kChannels);
    zel_channel_delay stage;
    ASSERT_EQ(stage.init(path, &config), 0);
    zel_channel_delay_buffer* const lines = access::lines(stage);
    std::int16_t oldest = -1;
    ASSERT_EQ(lines[0].read(reinterpret_cast<unsigned char*>(&oldest), 2), 0);
    EXPECT_EQ(oldest, 0);
    ASSERT_EQ(lines[0].write(reinterpret_cast<const unsigned char*>(&oldest), 2), 0);

    std::mt19937 random(kSeed);
    std::vector<std::int16_t> all;
    std::size_t moved[kChannels] = {1, 0, 0};  // samples through each line
    for (const std::size_t frames : {5U, 43U, 48U, 1U, 300U, 96U, 95U}) {
        const auto in = noise(frames * kChannels, &random);
        auto out = in;
        ASSERT_EQ(stage.process(in.data(), out.data(), static_cast<int>(in.size() * 2)), 0);
        all.insert(all.end(), in.begin(), in.end());
        const std::size_t total = all.size() / kChannels;
        for (std::size_t c = 0; c < kChannels; ++c) {
            SCOPED_TRACE(testing::Message() << "channel " << c << ", " << total << " frames");
            ASSERT_EQ(access::bytes(lines[c]), delays[c] * 2);
            moved[c] += std::min(frames, delays[c]);
            // A position rests at the storage's end before it goes on at its start.
            const auto [read, write] = access::positions(lines[c]);
            EXPECT_EQ(read, write);
            if (delays[c] > 0) {
                EXPECT_EQ(static_cast<std::size_t>(read) % (delays[c] * 2),
                          moved[c] % delays[c] * 2);
                EXPECT_EQ(read == 0, moved[c] == 0);
            }
            for (std::size_t k = 0; k < delays[c]; ++k) {
                std::int16_t held = 0;
                std::memcpy(&held, access::sample(lines[c], 2, k), 2);
                const std::size_t late = delays[c] - k;
                ASSERT_EQ(held, total < late ? 0 : all[(total - late) * kChannels + c]) << k;
            }
        }
    }
}

TEST(stage_state, mixing_applies_the_matrix_as_it_stands) {
    const pcm_config two = zel_test::stream_config(2);
    zel_channel_mixing stage;
    ASSERT_EQ(stage.init("", "2.0", &two, &two), 0);
    float* const matrix = zel_channel_mixing_access::matrix(stage);
    const std::int16_t in[4] = {100, -200, 300, -400};
    const struct {
        std::vector<float> matrix;
        std::vector<std::int16_t> out;
    } loads[] = {
        {{1, 0, 0, 1}, {100, -200, 300, -400}},     {{0, 1, 1, 0}, {-200, 100, -400, 300}},
        {{0.5F, 0.25F, 0, 1}, {0, -200, 50, -400}}, {{0, 0, 0, 0}, {0, 0, 0, 0}},
        {{1e30F, 0, 0, 1}, {-1, -200, -1, -400}},   {{1e-40F, 1, 1, 0}, {-200, 100, -400, 300}},
        {{1, 0, 0, 1}, {100, -200, 300, -400}},
    };
    for (const auto& load : loads) {
        std::copy(load.matrix.begin(), load.matrix.end(), matrix);
        std::vector<std::int16_t> out(4, 77);
        EXPECT_EQ(stage.process(in, sizeof(in), out.data(), sizeof(in)), 0);
        EXPECT_EQ(out, load.out) << "first weight " << load.matrix[0];
        EXPECT_EQ(std::vector<float>(matrix, matrix + 4), load.matrix);
    }
}

// Frame n is stored 237 frames on in the ring of 252; an odd count has a silent channel more.
TEST(stage_state, ring_holds_the_newest_frames_behind_the_window) {
    for (const std::size_t channels : {1U, 2U, 5U, 8U}) {
        const std::size_t working = channels + channels % 2;
        std::mt19937 random(kSeed);
        std::vector<std::int16_t> all;
        ASSERT_EQ(Ovra_VOC_SrcInit48k(static_cast<int>(channels)), 0);
        for (int b = 0; b < 12; ++b) {
            const std::size_t frames = channels % 2 == 1 ? 153 : 3 + 3 * (random() % 200);
            auto block = noise(frames * channels, &random);
            all.insert(all.end(), block.begin(), block.end());
            auto count = static_cast<unsigned int>(block.size());
            ASSERT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), 0);
            SCOPED_TRACE(testing::Message() << channels << " channels, block " << b);
            const std::size_t total = all.size() / channels;
            ASSERT_EQ(g_zel_src.u32RingLen, working * 252);
            ASSERT_EQ(g_zel_src.u32WriteIdx, (237 + total) % 252 * working);
            ASSERT_EQ(g_zel_src.u32ReadIdx, total % 252 * working);
            ASSERT_EQ(g_zel_src.u32PadSamples, frames * working);
            for (std::size_t back = 1; back <= 252; ++back) {
                const std::size_t place = (237 + total + 252 - back) % 252;
                for (std::size_t c = 0; c < working; ++c) {
                    ASSERT_EQ(g_zel_src.as16History[place * working + c],
                              back > total || c == channels
                                  ? 0
                                  : all[(total - back) * channels + c])
                        << back << " frames back";
                }
            }
            ASSERT_EQ(g_zel_src.ps16PadBuf != nullptr, channels % 2 == 1);
            for (std::size_t f = 0; channels % 2 == 1 && f < frames; ++f) {
                ASSERT_EQ(g_zel_src.ps16PadBuf[f * working + channels], 0);
            }
            for (std::size_t i = 0; channels == 1 && i < count; ++i) {
                ASSERT_EQ(g_zel_src.ps16PadBuf[i * 2], block[i]);
            }
        }
        Ovra_VOC_SrcDeInit48k();
        EXPECT_EQ(g_zel_src.ps16PadBuf, nullptr);
    }
}

}  // namespace
