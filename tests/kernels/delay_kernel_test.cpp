// The delay histories, of whole frames and planar, with every kernel against a shift of the whole
// stream.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <vector>

#include "kernel_rows.h"
#include "zel_delay_history.h"
#include "zel_planar_delay.h"

namespace {

constexpr unsigned int kSeed = 4711;
constexpr std::size_t kCompared = 100'000;

class delay_kernel_test : public testing::TestWithParam<std::size_t> {
  protected:
    /// Random bytes, never 0, in blocks of random sizes.
    template <typename History>
    void expect_shift(const std::vector<std::uint32_t>& delays, std::size_t sample_bytes,
                      std::mt19937* random, History history) {
        const std::size_t frame = delays.size() * sample_bytes;
        const std::size_t frames =
            kCompared / 9 / delays.size() + 4 * *std::max_element(delays.begin(), delays.end());
        std::vector<std::uint8_t> in(frames * frame);
        for (std::uint8_t& byte : in) {
            byte = static_cast<std::uint8_t>((*random)() | 1U);
        }
        std::vector<std::uint8_t> out(in.size() + 1, 0xaa);
        for (std::size_t at = 0; at < frames;) {
            const std::size_t longest = (*random)() % 3 == 0 ? 7 : 900;
            const std::size_t block = std::min<std::size_t>((*random)() % longest, frames - at);
            history.process(in.data() + at * frame, out.data() + at * frame, block);
            at += block;
        }
        for (std::size_t i = 0; i < in.size(); ++i) {
            const std::size_t late = delays[i % frame / sample_bytes] * frame;
            ASSERT_EQ(out[i], i < late ? 0 : in[i - late]) << "byte " << i;
        }
        ASSERT_EQ(out.back(), 0xaa);
    }
};

TEST_P(delay_kernel_test, shifts_each_channel_whatever_the_block_sizes) {
    const std::size_t channels = GetParam();
    for (const std::string& name : vector_kernels()) {
        const zel_delay_row& row = zel_kernel_row(zel_delay_rows(), name.c_str());
        ASSERT_EQ(row.name, name);
        const zel_planes_row& planes = zel_kernel_row(zel_planes_rows(), name.c_str());
        ASSERT_EQ(planes.name, name);
        for (const std::size_t sample_bytes : {2U, 3U, 4U}) {
            for (const unsigned int spread : {1U, 3U, 40U, 1000U}) {
                SCOPED_TRACE(testing::Message()
                             << name << ", " << channels << " channels of " << sample_bytes
                             << " bytes, spread " << spread << ", seed " << kSeed);
                std::mt19937 random(kSeed + spread);
                std::vector<std::uint32_t> delays(channels);
                for (std::uint32_t& delay : delays) {
                    delay = static_cast<std::uint32_t>(random() % spread);
                }
                delays[random() % channels] = spread;
                expect_shift(delays, sample_bytes, &random,
                             zel_delay_history(delays, sample_bytes, row.merge));
                if (sample_bytes != 3 && channels * sample_bytes <= zel_planes::kMaxFrameBytes) {
                    expect_shift(delays, sample_bytes, &random,
                                 zel_planar_delay(delays, sample_bytes, planes));
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(channels, delay_kernel_test,
                         testing::Values(1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 12U, 16U));

}  // namespace
