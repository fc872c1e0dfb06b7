// Every mixing kernel, as the plan chooses them for a matrix, against the plain one; and the plain
// one against the definition in doubles.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "kernel_rows.h"
#include "zel_mixing_plan.h"

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

std::vector<std::uint8_t> mixed(const std::string& kernel, const std::vector<float>& matrix,
                                const std::vector<std::uint8_t>& in, std::size_t ins,
                                std::size_t in_bytes, std::size_t outs, std::size_t out_bytes,
                                std::size_t frames) {
    zel_mixing_plan plan(kernel.c_str(), ins, in_bytes, outs, out_bytes);
    plan.load(matrix.data());
    std::vector<std::uint8_t> out(frames * outs * out_bytes + 2, 0xa5);
    plan.run(in.data() + 1, out.data() + 1, frames);
    return out;
}

class mixing_kernel_test : public testing::TestWithParam<std::pair<std::size_t, std::size_t>> {};

TEST_P(mixing_kernel_test, every_kernel_equals_the_plain_one) {
    const auto [in_bytes, out_bytes] = GetParam();
    std::mt19937 random(kSeed);
    for (const std::size_t ins : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 12U, 16U, 40U}) {
        for (const std::size_t outs : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 12U, 16U}) {
            for (const weights kind : kAllWeights) {
                std::vector<float> matrix;
                for (std::size_t k = 0; k < ins * outs; ++k) {
                    matrix.push_back(weight_of(kind, k / ins, k % ins, ins, random));
                }
                const std::size_t frames = random() % 3 == 0 ? random() % 40 : 160 + random() % 9;
                const auto in = awkward_block(frames * ins, in_bytes, random);
                const auto plain =
                    mixed("plain", matrix, in, ins, in_bytes, outs, out_bytes, frames);
                for (const std::string& name : vector_kernels()) {
                    ASSERT_EQ(mixed(name, matrix, in, ins, in_bytes, outs, out_bytes, frames),
                              plain)
                        << name << ", " << ins << " -> " << outs << " channels, " << in_bytes
                        << " -> " << out_bytes << " bytes, " << frames << " frames, weights "
                        << static_cast<int>(kind) << ", seed " << kSeed;
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(sizes, mixing_kernel_test,
                         testing::Values(std::pair{2U, 2U}, std::pair{2U, 4U}, std::pair{4U, 2U},
                                         std::pair{4U, 4U}));

TEST(mixing_kernel, reloading_changes_how_a_matrix_is_applied) {
    for (const zel_kernel_set& set : zel_kernel_sets()) {
        if (!set.supported()) {
            continue;
        }
        zel_mixing_plan plan(set.name, 2, 2, 2, 2);
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
            std::vector<std::int16_t> out(4, 77);
            plan.load(load.matrix.data());
            plan.run(in, out.data(), 2);
            EXPECT_EQ(out, load.out) << set.name << ", first weight " << load.matrix[0];
        }
    }
}

/// Each operation rounded to float by hand: no way for two roundings to become one.
double model_sum(const std::vector<double>& samples, const float* row) {
    float sum = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const auto product = static_cast<float>(
            static_cast<double>(static_cast<float>(samples[i])) * static_cast<double>(row[i]));
        sum = static_cast<float>(static_cast<double>(sum) + static_cast<double>(product));
    }
    return static_cast<double>(sum);
}

TEST(mixing_kernel, the_plain_one_equals_the_definition) {
    std::mt19937 random(kSeed);
    for (const auto& [ins, outs] : {std::pair{1U, 1U}, {2U, 1U}, {3U, 5U}, {8U, 8U}, {12U, 6U}}) {
        constexpr std::size_t kFrames = 333;
        std::vector<float> matrix;
        for (std::size_t k = 0; k < ins * outs; ++k) {
            matrix.push_back(weight_of(weights::ordinary, 0, 0, ins, random));
        }
        const auto in = awkward_block(kFrames * ins, 4, random);
        const auto out = mixed("plain", matrix, in, ins, 4, outs, 4, kFrames);
        for (std::size_t f = 0; f < kFrames; ++f) {
            std::vector<double> samples(ins);
            for (std::size_t i = 0; i < ins; ++i) {
                std::int32_t sample = 0;
                std::memcpy(&sample, in.data() + 1 + (f * ins + i) * 4, 4);
                samples[i] = sample;
            }
            for (std::size_t o = 0; o < outs; ++o) {
                const auto wanted = static_cast<std::int32_t>(std::clamp(
                    std::trunc(model_sum(samples, &matrix[o * ins])), -2147483648.0, 2147483647.0));
                std::int32_t got = 0;
                std::memcpy(&got, out.data() + 1 + (f * outs + o) * 4, 4);
                ASSERT_EQ(got, wanted) << "frame " << f << ", output " << o << ", seed " << kSeed;
            }
        }
    }
}

}  // namespace
