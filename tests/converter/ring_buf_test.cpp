#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <deque>
#include <limits>
#include <random>
#include <thread>
#include <vector>

#include "captured_log.h"
#include "zel_ring_buf.h"

namespace {

pcm_config ring_config(unsigned int rate, unsigned int period_size, unsigned int period_count,
                       unsigned int channels = 2, pcm_format format = PCM_FORMAT_S16_LE) {
    pcm_config config{};
    config.rate = rate;
    config.period_size = period_size;
    config.period_count = period_count;
    config.channels = channels;
    config.format = format;
    return config;
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
        {ring_config(16000, 512, 2, 1), 2048, false},
        {ring_config(44100, 1408, 3, 8, PCM_FORMAT_S32_LE), 135168, false},
        {ring_config(999, 512, 4), 0, true},
    };
    for (const auto& row : rows) {
        zel_test::clear_log();
        const zel_ring_buf ring(&row.config, 32);
        EXPECT_EQ(ring.size_bytes(), row.bytes);
        EXPECT_EQ(zel_test::log_has("is not the multiple of frame"), row.warns);
    }
}

TEST(ring_buf, refuses_without_storage) {
    const pcm_config huge = ring_config(48000, 1536, std::numeric_limits<std::int32_t>::max());
    zel_test::clear_log();
    zel_ring_buf none(nullptr, 32);
    zel_ring_buf too_large(&huge, 32);
    EXPECT_TRUE(zel_test::log_has("invalid parameter"));
    std::uint8_t byte = 0;
    const timespec ts{1, 2};
    for (zel_ring_buf* ring : {&none, &too_large}) {
        EXPECT_EQ(ring->write(&byte, 1, &ts), -EINVAL);
        EXPECT_EQ(ring->read_pcm(&byte, 1), -EINVAL);
    }
    EXPECT_EQ(zel_test::log_count("pcm buffer is not create!!"), 4U);
}

TEST(ring_buf, refused_write_changes_nothing) {
    const pcm_config config = ring_config(1000, 32, 1, 1);
    zel_ring_buf ring(&config, 32);
    ASSERT_EQ(ring.size_bytes(), 64U);
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

// The newest bytes in order, at most as many as the ring holds.
TEST(ring_buf, agrees_with_a_queue_over_random_use) {
    constexpr unsigned int kSeed = 20240611;
    SCOPED_TRACE(kSeed);
    std::mt19937 random(kSeed);
    const pcm_config config = ring_config(1000, 32, 3, 1);
    zel_ring_buf ring(&config, 32);
    const std::size_t size = ring.size_bytes();
    ASSERT_EQ(size, 192U);
    std::deque<std::uint8_t> model;
    std::uint8_t next = 0;
    for (int step = 0; step < 20000; ++step) {
        const auto bytes = static_cast<unsigned int>(random() % (size + 1));
        std::vector<std::uint8_t> data(size + 1);
        if (random() % 2 == 0) {
            for (unsigned int i = 0; i < bytes; ++i) {
                data[i] = next++;
                model.push_back(data[i]);
            }
            while (model.size() > size) {
                model.pop_front();
            }
            const timespec ts{step, 0};
            ASSERT_EQ(ring.write(data.data(), bytes, &ts), 0);
        } else {
            const std::size_t expected = std::min<std::size_t>(bytes, model.size());
            ASSERT_EQ(ring.read_pcm(data.data(), bytes), static_cast<int>(expected)) << step;
            ASSERT_TRUE(std::equal(model.begin(), model.begin() + static_cast<long>(expected),
                                   data.begin()))
                << step;
            model.erase(model.begin(), model.begin() + static_cast<long>(expected));
        }
        unsigned int frames = 0;
        ring.get_info(nullptr, &frames);
        ASSERT_EQ(frames, model.size() / 2) << step;
    }
}

// A block is one number throughout, so a torn or disordered copy shows.
TEST(ring_buf, reader_beside_a_writer_sees_whole_blocks_in_order) {
    const pcm_config config = ring_config(1000, 32, 4, 1);
    zel_ring_buf ring(&config, 32);
    constexpr std::uint32_t kBlocks = 3000;
    const std::jthread writer([&ring] {
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
