#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <random>
#include <vector>

#include "kernel_rows.h"
#include "zel_sample_width.h"

namespace {

constexpr unsigned int kSeed = 7;

/// Unaligned blocks with a guard byte behind them.
TEST(width_kernel, every_kernel_equals_the_plain_one) {
    std::mt19937 random(kSeed);
    for (const std::string& name : vector_kernels()) {
        const zel_width_row& row = zel_kernel_row(zel_width_rows(), name.c_str());
        ASSERT_EQ(row.name, name);
        for (const std::size_t samples : {0U, 1U, 7U, 15U, 16U, 31U, 33U, 513U, 110'000U}) {
            SCOPED_TRACE(testing::Message()
                         << name << ", " << samples << " samples, seed " << kSeed);
            std::vector<unsigned char> wide(samples * 4 + 2);
            for (unsigned char& byte : wide) {
                byte = static_cast<unsigned char>(random());
            }
            std::vector<unsigned char> plain = wide;
            zel_width_rows().front().truncate_32_to_16(plain.data() + 1, samples);
            std::vector<unsigned char> fast = wide;
            row.truncate_32_to_16(fast.data() + 1, samples);
            const std::size_t narrow_end = 1 + samples * 2;
            EXPECT_EQ(std::memcmp(fast.data(), plain.data(), narrow_end), 0);
            EXPECT_EQ(fast.back(), wide.back());

            std::vector<unsigned char> padded(samples * 4 + 2, 0xa5);
            std::vector<unsigned char> padded_plain = padded;
            zel_width_rows().front().pad_16_to_32(wide.data() + 1, samples,
                                                  padded_plain.data() + 1);
            row.pad_16_to_32(wide.data() + 1, samples, padded.data() + 1);
            EXPECT_EQ(padded, padded_plain);
        }
    }
}

}  // namespace
