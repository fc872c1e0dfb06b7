// The 48 to 16 kHz converter against the filter's definition over the whole stream.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <random>
#include <vector>

#include "captured_log.h"
#include "stream_config.h"
#include "zel_format_converter_src_wrapper.h"
#include "zel_src_48k.h"

namespace {

using samples = std::vector<std::int16_t>;

/// y[k][ch] over an interleaved stream that starts after silence, in the defined order of sums.
samples model(const samples& in, unsigned int channels) {
    const bool folded = channels > 2;
    const std::size_t frames = in.size() / channels;
    const auto x = [&](std::int64_t n, unsigned int ch) {
        return n < 0 ? 0.0F : static_cast<float>(in[static_cast<std::size_t>(n) * channels + ch]);
    };
    samples out;
    for (std::int64_t k = 0; k < static_cast<std::int64_t>(frames / 3); ++k) {
        for (unsigned int ch = 0; ch < channels; ++ch) {
            volatile float sum = 0;
            for (int t = 0; t < (folded ? 119 : 237); ++t) {
                const std::int64_t n = 3 * k - 237 + t;
                const bool pair = folded && t < 118;
                volatile float product =
                    res_coeff[t] * (pair ? x(n, ch) + x(3 * k - 1 - t, ch) : x(n, ch));
                sum = sum + product;
            }
            out.push_back(static_cast<std::int16_t>(std::clamp(+sum, -32768.0F, 32767.0F)));
        }
    }
    return out;
}

samples convert(const samples& in, unsigned int channels, std::size_t block_frames) {
    samples out;
    for (std::size_t at = 0; at < in.size();) {
        const std::size_t size = std::min(block_frames * channels, in.size() - at);
        samples block(in.begin() + static_cast<std::ptrdiff_t>(at),
                      in.begin() + static_cast<std::ptrdiff_t>(at + size));
        auto count = static_cast<unsigned int>(size);
        EXPECT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), 0);
        EXPECT_EQ(count, size / 3);
        out.insert(out.end(), block.data(), block.data() + count);
        at += size;
    }
    return out;
}

class src_48k_test : public testing::Test {
  protected:
    void SetUp() override { zel_test::clear_log(); }
    void TearDown() override { EXPECT_EQ(Ovra_VOC_SrcDeInit48k(), 0); }
};

TEST_F(src_48k_test, equals_the_definition_for_every_channel_count_and_block_size) {
    constexpr unsigned int kSeed = 20261124;
    for (unsigned int channels = 1; channels <= 8; ++channels) {
        for (const std::size_t block : {3U, 27U, 1536U}) {
            SCOPED_TRACE(testing::Message()
                         << channels << " channels, blocks of " << block << ", seed " << kSeed);
            std::mt19937 random(kSeed + channels);
            std::uniform_int_distribution<int> any(-32768, 32767);
            samples in(block * channels * (block < 100 ? 100 : 5));
            std::generate(in.begin(), in.end(),
                          [&] { return static_cast<std::int16_t>(any(random)); });
            ASSERT_EQ(Ovra_VOC_SrcInit48k(static_cast<int>(channels)), 0);
            EXPECT_EQ(convert(in, channels, block), model(in, channels));
            Ovra_VOC_SrcDeInit48k();
        }
    }
}

TEST_F(src_48k_test, constant_and_extreme_input_give_the_known_values) {
    for (const int channels : {1, 2, 3, 6, 8}) {
        for (const auto& [level, settled] : {std::pair{10000, 9558}, std::pair{32767, 31321}}) {
            const auto width = static_cast<unsigned int>(channels);
            ASSERT_EQ(Ovra_VOC_SrcInit48k(channels), 0);
            const samples out =
                convert(samples(600 * width, static_cast<std::int16_t>(level)), width, 600);
            for (std::size_t c = 0; c < width; ++c) {
                EXPECT_EQ(out[c], 0);
                EXPECT_EQ(out[width + c], level == 32767 ? 9 : out[width + c]);
            }
            for (std::size_t i = 79 * width; i < out.size(); ++i) {
                ASSERT_EQ(out[i], settled) << "sample " << i;
            }
            Ovra_VOC_SrcDeInit48k();
        }
    }
    // The signs of the taps: the sum is far above full scale, the output is not wrapped.
    ASSERT_EQ(Ovra_VOC_SrcInit48k(2), 0);
    samples worst;
    for (int n = 0; n < 240; ++n) {
        const std::int16_t s = n < 237 && res_coeff[n] < 0 ? -32768 : 32767;
        worst.insert(worst.end(), {s, static_cast<std::int16_t>(-s - 1)});
    }
    const samples out = convert(worst, 2, 240);
    EXPECT_EQ(out[2 * 79], 32767);
    EXPECT_EQ(out[2 * 79 + 1], -32768);
}

TEST_F(src_48k_test, refused_blocks_stay_as_they_are) {
    samples block(600, 5);
    unsigned int count = 600;
    EXPECT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("Ovra_VOC_SrcProcess48k: init failed\n"));
    ASSERT_EQ(Ovra_VOC_SrcInit48k(2), 0);
    EXPECT_EQ(Ovra_VOC_SrcInit48k(9), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("SRC channel num 10 out of spec"));
    EXPECT_EQ(Ovra_VOC_SrcInit48k(0), -EINVAL);
    EXPECT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), -EINVAL) << "a failed init releases";
    EXPECT_EQ(Ovra_VOC_SrcProcess48k(nullptr, &count), -EINVAL);
    EXPECT_EQ(Ovra_VOC_SrcProcess48k(block.data(), nullptr), -EINVAL);

    const struct {
        int channels;
        unsigned int samples;
    } uneven[] = {{2, 500}, {3, 300}, {3, 30}, {6, 60}, {2, 3}};
    for (const auto& c : uneven) {
        zel_test::clear_log();
        ASSERT_EQ(Ovra_VOC_SrcInit48k(c.channels), 0);
        count = c.samples;
        EXPECT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), -EINVAL) << c.channels;
        EXPECT_EQ(count, c.samples);
        EXPECT_EQ(block, samples(600, 5));
        EXPECT_TRUE(zel_test::log_has("input sample count is not match the spec (multiple of 3)"));
        Ovra_VOC_SrcDeInit48k();
    }

    ASSERT_EQ(Ovra_VOC_SrcInit48k(1), 0);
    count = 300;
    EXPECT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), 0);
    EXPECT_EQ(count, 100U);
    count = 303;
    EXPECT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("buf size in inconsistent 600 606"));
    for (const auto& [channels, size] : {std::pair{2, 300U}, std::pair{1, 600U}}) {
        ASSERT_EQ(Ovra_VOC_SrcInit48k(channels), 0) << "without a release before it";
        count = size;
        EXPECT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), 0);
    }
}

TEST_F(src_48k_test, entry_points_check_the_streams) {
    const auto config = zel_test::stream_config;
    const pcm_config good = config(2, 48000, PCM_FORMAT_S16_LE);
    const pcm_config out = config(2, 16000, PCM_FORMAT_S16_LE);
    const struct {
        pcm_config in, out;
        int status;
        const char* message;
    } cases[] = {
        {good, config(3, 16000, PCM_FORMAT_S16_LE), -EINVAL, "channel num is not match (2,3)"},
        {config(2, 48000, PCM_FORMAT_S32_LE), out, -EINVAL, "input channel format is not 16 bit"},
        {good, config(2, 16000, PCM_FORMAT_S32_LE), -EINVAL,
         "input format mismatch with output (0,1)"},
        {config(2, 44100, PCM_FORMAT_S16_LE), out, -EINVAL, "sample rate is not 16 48Khz"},
        {config(9, 48000, PCM_FORMAT_S16_LE), config(9, 16000, PCM_FORMAT_S16_LE), -1,
         "SRC module init fail"},
        {good, config(2, 44100, PCM_FORMAT_S16_LE), 0, "init SRC with 2 channel"},
    };
    for (const auto& c : cases) {
        zel_test::clear_log();
        EXPECT_EQ(zel_fc_lib_src_init(0, &c.in, &c.out), c.status) << c.message;
        EXPECT_TRUE(zel_test::log_has(c.message)) << c.message;
        EXPECT_EQ(zel_fc_lib_src_deinit(), 0);
    }
    EXPECT_EQ(zel_fc_lib_src_init(0, nullptr, &out), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("pcm config is invalid (nil) 0x"));

    ASSERT_EQ(zel_fc_lib_src_init(0, &good, &out), 0);
    samples block(500, 7);
    unsigned int size = 1000;
    EXPECT_EQ(zel_fc_lib_src_process(block.data(), &size), 0);
    EXPECT_EQ(size, 1000U);
    EXPECT_EQ(block, samples(500, 7));
    size = 960;
    EXPECT_EQ(zel_fc_lib_src_process(block.data(), &size), 0);
    EXPECT_EQ(size, 320U);
}

}  // namespace
