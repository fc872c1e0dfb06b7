// The mixing stage with every kind of matrix and number of channels against the definition.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <utility>
#include <vector>

#include "stage_access.h"
#include "stream_config.h"

namespace {

constexpr unsigned int kSeed = 99;

enum class weights { ordinary, tiny, denormal, huge, limit, moving, scattered, identity, silent };
constexpr weights kAllWeights[] = {weights::ordinary,  weights::tiny,     weights::denormal,
                                   weights::huge,      weights::limit,    weights::moving,
                                   weights::scattered, weights::identity, weights::silent};

float weight_of(weights kind, std::size_t out, std::size_t in, std::size_t inputs,
                std::mt19937& random) {
    const float any = std::uniform_real_distribution<float>(-1.5F, 1.5F)(random);
    switch (kind) {
        case weights::ordinary:
            return any;
        case weights::tiny:
            return std::ldexp(any, random() % 2 == 0 ? -80 : 0);
        case weights::denormal:
            return std::ldexp(any, -100 - static_cast<int>(random() % 50));
        case weights::huge:
            return std::ldexp(any, static_cast<int>(random() % 128));
        case weights::limit:
            return (any < 0 ? -0x1p15F : 0x1p15F) / static_cast<float>(inputs);
        case weights::moving:
            return in == (out + 1) % inputs ? 1.0F : -0.0F;
        case weights::scattered:
            return in == (out * 5 + 2) % inputs ? 1.0F : out == 3 ? 0.25F : 0.0F;
        case weights::identity:
            return in == out ? 1.0F : 0.0F;
        case weights::silent:
            return 0;
    }
    return 0;
}

/// Noise, full scale and small numbers.
std::vector<std::uint8_t> awkward_block(std::size_t samples, std::size_t bytes,
                                        std::mt19937& random) {
    std::vector<std::uint8_t> block(samples * bytes + 1);
    for (std::size_t i = 0; i < samples; ++i) {
        auto wide = static_cast<std::int32_t>(random());
        if (random() % 4 == 0) {
            wide = random() % 2 == 0 ? std::numeric_limits<std::int32_t>::max()
                                     : std::numeric_limits<std::int32_t>::min();
        } else if (random() % 4 == 0) {
            wide = (static_cast<std::int32_t>(random() % 5) - 2) * (bytes == 2 ? 65536 : 1);
        }
        const auto narrow = static_cast<std::int16_t>(wide >> 16);
        std::memcpy(block.data() + 1 + i * bytes,
                    bytes == 2 ? static_cast<const void*>(&narrow) : &wide, bytes);
    }
    return block;
}

std::int32_t sample_at(const std::vector<std::uint8_t>& block, std::size_t bytes, std::size_t i) {
    std::int32_t wide = 0;
    std::int16_t narrow = 0;
    std::memcpy(bytes == 2 ? static_cast<void*>(&narrow) : &wide, block.data() + 1 + i * bytes,
                bytes);
    return bytes == 2 ? narrow : wide;
}

/// Each operation rounded to float by hand: no way for two roundings to become one.
std::int32_t model(const std::vector<std::int32_t>& frame, const float* row) {
    float sum = 0;
    for (std::size_t i = 0; i < frame.size(); ++i) {
        const auto product = static_cast<float>(
            static_cast<double>(static_cast<float>(frame[i])) * static_cast<double>(row[i]));
        sum = static_cast<float>(static_cast<double>(sum) + static_cast<double>(product));
    }
    return std::isnan(sum) ? 0
                           : static_cast<std::int32_t>(
                                 std::clamp(std::trunc(static_cast<double>(sum)), -2147483648.0,
                                            2147483647.0));
}

/// Bytes of a sample on both sides.
class mixing_matrix_test : public testing::TestWithParam<std::pair<std::size_t, std::size_t>> {
  protected:
    void expect_model(std::size_t ins, std::size_t outs, weights kind, std::mt19937* random) {
        const auto [in_bytes, out_bytes] = GetParam();
        const auto config = [](std::size_t channels, std::size_t bytes) {
            return zel_test::stream_config(static_cast<unsigned int>(channels), 48000,
                                           bytes == 2 ? PCM_FORMAT_S16_LE : PCM_FORMAT_S32_LE);
        };
        const pcm_config in_config = config(ins, in_bytes);
        const pcm_config out_config = config(outs, out_bytes);
        zel_channel_mixing stage;
        ASSERT_EQ(stage.init("", "", &in_config, &out_config), 0);
        float* matrix = zel_channel_mixing_access::matrix(stage);
        for (std::size_t k = 0; k < ins * outs; ++k) {
            matrix[k] = weight_of(kind, k / ins, k % ins, ins, *random);
        }
        const std::size_t frames = (*random)() % 140;
        const auto in = awkward_block(frames * ins, in_bytes, *random);
        std::vector<std::uint8_t> out(frames * outs * out_bytes + 2, 0xa5);
        ASSERT_EQ(stage.process(in.data() + 1, static_cast<unsigned int>(in.size() - 1),
                                out.data() + 1, static_cast<unsigned int>(out.size() - 2)),
                  0);
        ASSERT_EQ(out.front(), 0xa5);
        ASSERT_EQ(out.back(), 0xa5);
        std::vector<std::int32_t> frame(ins);
        for (std::size_t f = 0; f < frames; ++f) {
            for (std::size_t i = 0; i < ins; ++i) {
                frame[i] = sample_at(in, in_bytes, f * ins + i);
            }
            for (std::size_t o = 0; o < outs; ++o) {
                const std::int32_t wanted = model(frame, matrix + o * ins);
                ASSERT_EQ(sample_at(out, out_bytes, f * outs + o),
                          out_bytes == 2 ? static_cast<std::int16_t>(wanted) : wanted)
                    << ins << " -> " << outs << " channels, weights " << static_cast<int>(kind)
                    << ", frame " << f << ", output " << o << ", seed " << kSeed;
            }
        }
    }
};

TEST_P(mixing_matrix_test, equals_the_definition) {
    std::mt19937 random(kSeed);
    for (const std::size_t ins : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 12U, 16U, 31U, 32U, 33U}) {
        for (const std::size_t outs : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 12U}) {
            for (const weights kind : kAllWeights) {
                expect_model(ins, outs, kind, &random);
                if (HasFatalFailure()) {
                    return;
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(sizes, mixing_matrix_test,
                         testing::Values(std::pair{2U, 2U}, std::pair{2U, 4U}, std::pair{4U, 2U},
                                         std::pair{4U, 4U}));

}  // namespace
