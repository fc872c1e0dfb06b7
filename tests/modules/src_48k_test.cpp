// The 48 to 16 kHz converter: its plain loop against the filter's definition over the whole stream,
// and each width of vectors against the plain loop: output, history ring and both positions.

#include "allocation_faults.h"
#include "test_basics.h"
#include "zel_format_converter_src_wrapper.h"
#include "zel_src_48k_state.h"

namespace {

using samples = std::vector<std::int16_t>;
constexpr unsigned int kSeed = 20261125;

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
    EXPECT_STATUS(Ovra_VOC_SrcInit48k(static_cast<int>(channels)), 0);
    EXPECT_EQ(g_zel_src.u32Lanes, zel_src_widest_lanes());
    g_zel_src.u32Lanes = lanes;
    std::vector<result> results;
    auto at = in.begin();
    for (const std::size_t length : block_frames) {
        const auto end = at + static_cast<std::ptrdiff_t>(length * channels);
        samples block(at, end);
        block.push_back(4711);
        auto count = static_cast<unsigned int>(length * channels);
        EXPECT_STATUS(Ovra_VOC_SrcProcess48k(block.data(), &count), 0);
        EXPECT_EQ(count, length * channels / 3);
        EXPECT_EQ(block.back(), 4711) << "writes stay within the block";
        block.resize(count);
        results.push_back({block,
                           {std::begin(g_zel_src.as16History), std::end(g_zel_src.as16History)},
                           g_zel_src.u32ReadIdx,
                           g_zel_src.u32WriteIdx});
        for (std::size_t k = channels; channels % 2 == 1 && k < 252 * (channels + 1);
             k += channels + 1) {
            EXPECT_EQ(g_zel_src.as16History[k], 0) << "the channel that makes the count even";
        }
        at = end;
    }
    EXPECT_STATUS(Ovra_VOC_SrcDeInit48k(), 0);
    return results;
}

/// The number of channels.
class src_48k_channels : public testing::TestWithParam<std::size_t> {};

TEST_P(src_48k_channels, equal_the_definition_in_every_width) {
    const std::size_t channels = GetParam();
    std::vector<std::vector<std::size_t>> streams;
    for (const std::size_t length : {3U, 12U, 27U, 159U, 753U, 756U, 759U, 1536U, 24576U}) {
        streams.emplace_back(5, length);
    }
    if (channels % 2 == 0) {  // an odd count fixes the length
        std::mt19937 random(kSeed);
        for (std::size_t& length : streams.emplace_back(300)) {
            length = 3 * (random() % 4 == 0 ? random() % 900 : random() % 60);
        }
    }
    for (const std::vector<std::size_t>& lengths : streams) {
        SCOPED_TRACE(testing::Message() << "blocks of " << lengths[0] << ", seed " << kSeed);
        const std::vector<result> plain = convert(channels, lengths, 0);
        samples all;
        for (const result& block : plain) {
            all.insert(all.end(), block.out.begin(), block.out.end());
        }
        if (lengths[0] <= 1536) {
            ASSERT_EQ(all, model(awkward_stream(channels, all.size() / channels * 3),
                                 static_cast<unsigned int>(channels)));
        }
        for (std::uint32_t lanes = 4; lanes <= zel_src_widest_lanes(); lanes *= 2) {
            const std::vector<result> got = convert(channels, lengths, lanes);
            for (std::size_t b = 0; b < got.size(); ++b) {
                ASSERT_EQ(got[b].out, plain[b].out) << "block " << b << ", lanes " << lanes;
                ASSERT_TRUE(got[b] == plain[b])
                    << "ring or positions after block " << b << ", lanes " << lanes;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(one_to_eight, src_48k_channels, testing::Range<std::size_t>(1, 9));

class src_48k_test : public testing::Test {
  protected:
    void SetUp() override { zel_test::clear_log(); }
    void TearDown() override { EXPECT_STATUS(Ovra_VOC_SrcDeInit48k(), 0); }
};

// 32-bit ARM's vectors flush denormals: no tap may be so small that a sum could become one.
TEST(src_48k, no_tap_leads_to_a_denormal) {
    for (const float tap : res_coeff) {
        EXPECT_GE(tap < 0 ? -tap : tap, 0x1p-80F);
    }
}

TEST_F(src_48k_test, refused_blocks_stay_as_they_are) {
    samples block(600, 5);
    unsigned int count = 600;
    EXPECT_STATUS(Ovra_VOC_SrcProcess48k(block.data(), &count), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("Ovra_VOC_SrcProcess48k: init failed\n"));
    ASSERT_STATUS(Ovra_VOC_SrcInit48k(2), 0);
    EXPECT_STATUS(Ovra_VOC_SrcInit48k(9), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("SRC channel num 10 out of spec"));
    EXPECT_STATUS(Ovra_VOC_SrcInit48k(0), -EINVAL);
    EXPECT_STATUS(Ovra_VOC_SrcProcess48k(block.data(), &count), -EINVAL)
        << "a failed init releases";
    const struct {
        int channels;
        unsigned int samples;
    } uneven[] = {{2, 500}, {3, 300}, {3, 30}, {6, 60}, {2, 3}};
    for (const auto& c : uneven) {
        zel_test::clear_log();
        ASSERT_STATUS(Ovra_VOC_SrcInit48k(c.channels), 0);
        count = c.samples;
        EXPECT_STATUS(Ovra_VOC_SrcProcess48k(block.data(), &count), -EINVAL) << c.channels;
        EXPECT_EQ(count, c.samples);
        EXPECT_EQ(block, samples(600, 5));
        EXPECT_TRUE(zel_test::log_has("input sample count is not match the spec (multiple of 3)"));
        Ovra_VOC_SrcDeInit48k();
    }

    ASSERT_STATUS(Ovra_VOC_SrcInit48k(1), 0);
    EXPECT_STATUS(Ovra_VOC_SrcProcess48k(nullptr, &count), -EINVAL);
    EXPECT_STATUS(Ovra_VOC_SrcProcess48k(block.data(), nullptr), -EINVAL);
    count = 300;
    zel_test::fail_allocation(1);
    EXPECT_STATUS(Ovra_VOC_SrcProcess48k(block.data(), &count), -ENOMEM);
    EXPECT_TRUE(zel_test::stop_failing_allocations());
    EXPECT_TRUE(zel_test::log_has("malloc padding buf fail"));
    EXPECT_EQ(count, 300U);
    EXPECT_STATUS(Ovra_VOC_SrcProcess48k(block.data(), &count), 0);
    EXPECT_EQ(count, 100U);
    for (const auto& [other, message] : {std::pair{303U, "buf size in inconsistent 600 606"},
                                         std::pair{297U, "buf size in inconsistent 600 594"}}) {
        count = other;
        EXPECT_STATUS(Ovra_VOC_SrcProcess48k(block.data(), &count), -EINVAL);
        EXPECT_TRUE(zel_test::log_has(message));
        EXPECT_EQ(count, other);
    }
    for (const auto& [channels, size] : {std::pair{2, 300U}, std::pair{1, 600U}}) {
        ASSERT_STATUS(Ovra_VOC_SrcInit48k(channels), 0) << "without a release before it";
        count = size;
        EXPECT_STATUS(Ovra_VOC_SrcProcess48k(block.data(), &count), 0);
    }
    EXPECT_STATUS(Ovra_VOC_SrcDeInit48k(), 0);
    EXPECT_FALSE(g_zel_src.bPadding);
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
        EXPECT_STATUS(zel_fc_lib_src_deinit(), 0);
    }
    EXPECT_STATUS(zel_fc_lib_src_init(0, nullptr, &out), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("pcm config is invalid (nil) 0x"));

    ASSERT_STATUS(zel_fc_lib_src_init(0, &good, &out), 0);
    samples block(500, 7);
    unsigned int size = 1000;
    EXPECT_STATUS(zel_fc_lib_src_process(block.data(), &size), 0);
    EXPECT_EQ(size, 1000U);
    EXPECT_EQ(block, samples(500, 7));
    size = 960;
    EXPECT_STATUS(zel_fc_lib_src_process(block.data(), &size), 0);
    EXPECT_EQ(size, 320U);
}

}  // namespace
