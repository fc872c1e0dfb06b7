// What the ring does with any writes and reads is for the fuzzer, which has a model of it.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <future>
#include <limits>
#include <new>
#include <vector>

#include "captured_log.h"
#include "stream_config.h"
#include "zel_ring_buf.h"

namespace {

pcm_config ring_config(unsigned int rate, unsigned int period_size, unsigned int period_count,
                       unsigned int channels = 2, pcm_format format = PCM_FORMAT_S16_LE) {
    pcm_config config = zel_test::stream_config(channels, rate, format);
    config.period_size = period_size;
    config.period_count = period_count;
    return config;
}

/// What a full ring holds.
std::uint32_t bytes_of(zel_ring_buf& ring) {
    const std::uint8_t one[256] = {};
    timespec ts{};
    std::uint32_t bytes = 0;
    for (int i = 0; i < 1000 && ring.write(one, sizeof(one), &ts) == 0; ++i) {
    }
    std::uint8_t out[256];
    for (int got = 0; (got = ring.read_pcm(out, sizeof(out))) > 0;) {
        bytes += static_cast<std::uint32_t>(got);
    }
    return bytes;
}

TEST(ring_buf, size_follows_periods_and_blocks) {
    const struct {
        pcm_config config;
        std::uint32_t bytes;
        bool warns;
    } rows[] = {
        {ring_config(48000, 1536, 4), 24576, false},
        {ring_config(48000, 3072, 4), 49152, false},
        {ring_config(48000, 1000, 4), 24576, true},
        {ring_config(48000, 0, 4), 0, false},
        {ring_config(16000, 512, 2, 1), 2048, false},
        {ring_config(44100, 1408, 3, 8, PCM_FORMAT_S32_LE), 135168, false},
        {ring_config(999, 512, 4), 0, true},
    };
    for (const auto& row : rows) {
        zel_test::clear_log();
        zel_ring_buf ring(&row.config, 32);
        EXPECT_EQ(zel_test::log_has("is not the multiple of frame"), row.warns);
        EXPECT_EQ(bytes_of(ring), row.bytes);
    }
}

TEST(ring_buf, refuses_without_storage) {
    const pcm_config huge = ring_config(48000, 1536, std::numeric_limits<std::int32_t>::max());
    EXPECT_THROW(zel_ring_buf(&huge, 32), std::bad_alloc);
    zel_test::clear_log();
    zel_ring_buf none(nullptr, 32);
    EXPECT_TRUE(zel_test::log_has("invalid parameter"));
    std::uint8_t byte = 0;
    const timespec ts{1, 2};
    EXPECT_EQ(none.write(&byte, 1, &ts), -EINVAL);
    EXPECT_EQ(none.read_pcm(&byte, 1), -EINVAL);
    EXPECT_EQ(zel_test::log_count("pcm buffer is not create!!"), 2U);
}

TEST(ring_buf, refused_write_changes_nothing) {
    const pcm_config config = ring_config(1000, 32, 1, 1);
    zel_ring_buf ring(&config, 32);
    std::vector<std::uint8_t> data(65, 7);
    const timespec first{5, 6};
    const timespec second{7, 8};
    ASSERT_EQ(ring.write(data.data(), 10, &first), 0);
    EXPECT_EQ(ring.write(data.data(), 65, &second), -EINVAL);
    EXPECT_EQ(ring.write(nullptr, 1, &second), -EINVAL);
    EXPECT_EQ(ring.read_pcm(nullptr, 1), -EINVAL);
    timespec ts{};
    unsigned int frames = 0;
    EXPECT_EQ(ring.get_info(&ts, &frames), 0);
    EXPECT_EQ(ts.tv_sec, 5);
    EXPECT_EQ(ts.tv_nsec, 6);
    EXPECT_EQ(frames, 5U);
}

// A block is one number throughout, so a torn or disordered copy shows.
TEST(ring_buf, reader_beside_a_writer_sees_whole_blocks_in_order) {
    const pcm_config config = ring_config(1000, 32, 4, 1);
    zel_ring_buf ring(&config, 32);
    constexpr std::uint32_t kBlocks = 3000;
    const auto writer = std::async(std::launch::async, [&ring] {
        for (std::uint32_t n = 1; n <= kBlocks; ++n) {
            const std::vector<std::uint32_t> block(16, n);
            const timespec ts{static_cast<time_t>(n), 0};
            ring.write(block.data(), 64, &ts);
        }
    });
    std::uint32_t last = 0;
    while (last < kBlocks) {
        std::uint32_t block[16];
        const int got = ring.read_pcm(block, sizeof(block));
        ASSERT_TRUE(got == 0 || got == 64) << got;
        if (got == 64) {
            for (const std::uint32_t word : block) {
                ASSERT_EQ(word, block[0]);
            }
            ASSERT_GT(block[0], last);
            last = block[0];
        }
    }
}

}  // namespace
