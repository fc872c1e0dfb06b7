// Every 48 to 16 kHz kernel against the plain one, sample for sample.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <random>
#include <vector>

#include "kernel_rows.h"
#include "zel_src_48k.h"

namespace {

using samples = std::vector<std::int16_t>;
constexpr unsigned int kSeed = 20261124;
/// Output samples compared for each kernel and channel count.
constexpr std::size_t kCompared = 100'000;

/// Noise, and stretches that drive the sums far over full scale, near to zero, or hold still.
samples awkward_stream(std::size_t channels, std::size_t frames, std::mt19937& random) {
    samples in(frames * channels);
    for (std::size_t f = 0; f < frames; ++f) {
        for (std::size_t c = 0; c < channels; ++c) {
            const std::size_t stretch = f / 711 % 5;
            const bool positive = res_coeff[f % 237] >= 0;
            std::int16_t sample = static_cast<std::int16_t>(random());
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

samples convert(const samples& in, std::size_t channels, std::size_t block_frames) {
    samples out;
    out.reserve(in.size() / 3);
    EXPECT_EQ(Ovra_VOC_SrcInit48k(static_cast<int>(channels)), 0);
    samples block(block_frames * channels);
    for (std::size_t at = 0; at + block.size() <= in.size(); at += block.size()) {
        std::copy_n(in.begin() + static_cast<std::ptrdiff_t>(at), block.size(), block.begin());
        auto count = static_cast<unsigned int>(block.size());
        EXPECT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), 0);
        EXPECT_EQ(count, block.size() / 3);
        out.insert(out.end(), block.begin(), block.begin() + static_cast<std::ptrdiff_t>(count));
    }
    EXPECT_EQ(Ovra_VOC_SrcDeInit48k(), 0);
    return out;
}

class src_kernel_test : public testing::TestWithParam<std::size_t> {};

TEST_P(src_kernel_test, every_kernel_equals_the_plain_one) {
    const std::size_t channels = GetParam();
    std::mt19937 random(kSeed);
    const samples in = awkward_stream(channels, 3 * kCompared / channels + 5000, random);
    samples plain;
    {
        const with_kernel kernel("plain");
        plain = convert(in, channels, 3);
    }
    ASSERT_GE(plain.size(), kCompared);
    for (const std::string& name : vector_kernels()) {
        const with_kernel kernel(name);
        ASSERT_TRUE(kernel.taken);
        for (const std::size_t block : {3U, 27U, 159U, 1536U, 24576U}) {
            const samples out = convert(in, channels, block);
            const auto differs = std::mismatch(out.begin(), out.end(), plain.begin());
            ASSERT_TRUE(differs.first == out.end())
                << name << ", " << channels << " channels, blocks of " << block << ", sample "
                << differs.first - out.begin() << ": " << *differs.first << " for "
                << *differs.second << ", seed " << kSeed;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(channels, src_kernel_test, testing::Range<std::size_t>(1, 9));

TEST(src_kernel, blocks_of_changing_length_are_one_stream) {
    std::mt19937 random(kSeed);
    for (const std::size_t channels : {2U, 4U, 6U, 8U}) {
        const samples in = awkward_stream(channels, 30'000, random);
        const with_kernel first("plain");
        const samples plain = convert(in, channels, 3);
        for (const std::string& name : vector_kernels()) {
            const with_kernel kernel(name);
            ASSERT_EQ(Ovra_VOC_SrcInit48k(static_cast<int>(channels)), 0);
            samples out;
            for (std::size_t at = 0; at < in.size();) {
                const std::size_t frames = 3 * (random() % 4 == 0 ? random() % 900 : random() % 60);
                const std::size_t size = std::min(frames * channels, in.size() - at);
                samples block(in.begin() + static_cast<std::ptrdiff_t>(at),
                              in.begin() + static_cast<std::ptrdiff_t>(at + size));
                block.resize(size + 1, 4711);
                auto count = static_cast<unsigned int>(size);
                ASSERT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), 0);
                ASSERT_EQ(block.back(), 4711) << "writes stay within the block";
                out.insert(out.end(), block.begin(),
                           block.begin() + static_cast<std::ptrdiff_t>(count));
                at += size;
            }
            ASSERT_EQ(out, plain) << name << ", " << channels << " channels, seed " << kSeed;
            Ovra_VOC_SrcDeInit48k();
        }
    }
}

TEST(src_kernel, starts_from_silence_after_every_init) {
    for (const std::string& name : vector_kernels()) {
        const with_kernel kernel(name);
        for (const std::size_t channels : {1U, 2U, 5U, 7U, 8U}) {
            const samples loud(3000 * channels, 30'000);
            const samples first = convert(loud, channels, 1500);
            EXPECT_EQ(convert(loud, channels, 1500), first) << name << ", " << channels;
            EXPECT_EQ(first[0], 0);
        }
    }
}

// Refusals are the converter's, whatever kernel runs.
TEST(src_kernel, refuses_the_same_blocks) {
    for (const zel_kernel_set& set : zel_kernel_sets()) {
        if (!set.supported()) {
            continue;
        }
        const with_kernel kernel(set.name);
        ASSERT_EQ(Ovra_VOC_SrcInit48k(3), 0);
        samples block(603 * 3, 77);
        const samples before = block;
        unsigned int count = 4 * 3;
        EXPECT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), -EINVAL) << set.name;
        EXPECT_EQ(count, 12U);
        count = 600 * 3;
        EXPECT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), 0) << set.name;
        EXPECT_EQ(count, 600U);
        block = before;
        count = 603 * 3;
        EXPECT_EQ(Ovra_VOC_SrcProcess48k(block.data(), &count), -EINVAL) << set.name;
        EXPECT_EQ(count, 603U * 3);
        EXPECT_EQ(block, before) << set.name;
        Ovra_VOC_SrcDeInit48k();
    }
}

// 32-bit ARM's vectors flush denormals: no tap may be so small that a sum could become one.
TEST(src_kernel, no_tap_leads_to_a_denormal) {
    for (const float tap : res_coeff) {
        EXPECT_GE(tap < 0 ? -tap : tap, 0x1p-80F);
    }
}

}  // namespace
