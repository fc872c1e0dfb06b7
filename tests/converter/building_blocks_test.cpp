// The poller and the ring buffer.

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "converter_access.h"
#include "system_faults.h"
#include "test_basics.h"

namespace {

TEST(epoll, fails_before_init) {
    zel_test::clear_log();
    zel_epoll poller;
    EXPECT_STATUS(poller.add(0), -EBADF);
    EXPECT_STATUS(poller.del(0), -EBADF);
    EXPECT_STATUS(poller.wait(), -EBADF);
    EXPECT_TRUE(zel_test::log_has("epoll_ctl add fd(0) error, errno=(9)"));
    EXPECT_TRUE(zel_test::log_has("epoll_ctl del fd(0) error, errno=(9)"));
    EXPECT_TRUE(zel_test::log_has("epoll_wait error, errno=(9)"));
}

TEST(epoll, reports_each_arrival_once_and_keeps_a_hung_up_pipe) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    zel_epoll poller;
    ASSERT_STATUS(poller.init(), 0);
    ASSERT_STATUS(poller.init(), 0);
    EXPECT_STATUS(poller.set_timeout(0), 0);
    ASSERT_STATUS(poller.add(ends[0]), 0);
    EXPECT_STATUS(poller.add(ends[0]), -EEXIST);
    EXPECT_STATUS(poller.wait(), 0);
    for (int arrival = 0; arrival < 2; ++arrival) {
        ASSERT_EQ(write(ends[1], "x", 1), 1);
        ASSERT_EQ(poller.wait(), 1);
        EXPECT_EQ(poller.astEvents[0].data.fd, ends[0]);
        errno = EINTR;  // of an earlier call
        EXPECT_STATUS(poller.wait(), 0) << "still readable, nothing new";
    }
    close(ends[1]);
    EXPECT_EQ(poller.wait(), 1);
    EXPECT_NE(fcntl(ends[0], F_GETFD), -1);
    EXPECT_STATUS(poller.del(ends[0]), 0);
    EXPECT_STATUS(poller.deinit(), 0);
    EXPECT_STATUS(poller.add(ends[0]), -EBADF) << "the descriptor is nobody's any more";
    EXPECT_STATUS(poller.init(), 0);
    EXPECT_STATUS(poller.add(ends[0]), 0);
    close(ends[0]);
}

TEST(epoll, an_interrupted_wait_goes_on_for_the_rest_of_its_time) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    zel_epoll poller;
    ASSERT_STATUS(poller.init(), 0);
    ASSERT_STATUS(poller.add(ends[0]), 0);
    for (const int timeout : {0, -1, 500}) {
        EXPECT_STATUS(poller.set_timeout(timeout), 0);
        ASSERT_EQ(write(ends[1], "x", 1), 1);
        zel_test::take_poll_timeouts();
        zel_test::fail_system_call(zel_test::system_call::epoll_wait, 1, EINTR);
        EXPECT_EQ(poller.wait(), 1);
        const std::vector<int> waits = zel_test::take_poll_timeouts();
        ASSERT_EQ(waits.size(), 2U);
        EXPECT_EQ(waits[0], timeout);
        EXPECT_NEAR(waits[1], timeout, timeout > 0 ? 400 : 0);
    }
    close(ends[0]);
    close(ends[1]);
}

TEST(epoll, drops_a_socket_whose_peer_stopped_sending) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    zel_epoll poller;
    ASSERT_STATUS(poller.init(), 0);
    ASSERT_STATUS(poller.add(ends[0]), 0);
    ASSERT_EQ(shutdown(ends[1], SHUT_WR), 0);
    poller.set_timeout(-1);
    ASSERT_EQ(poller.wait(), 1);
    EXPECT_NE(poller.astEvents[0].events & EPOLLRDHUP, 0U);
    EXPECT_EQ(poller.astEvents[0].data.fd, ends[0]);
    EXPECT_EQ(fcntl(ends[0], F_GETFD), -1) << "must be closed";
    poller.set_timeout(0);
    EXPECT_STATUS(poller.wait(), 0);
    close(ends[1]);
}

TEST(ring_buf, refuses_without_storage_or_data) {
    pcm_config config = zel_test::client_config();
    std::uint8_t byte = 0;
    const timespec ts{1, 2};
    zel_test::clear_log();
    zel_ring_buf none(nullptr, 32);
    EXPECT_TRUE(zel_test::log_has("invalid parameter"));
    EXPECT_STATUS(none.write(&byte, 1, &ts), -EINVAL);
    EXPECT_STATUS(none.read_pcm(&byte, 1), -EINVAL);
    EXPECT_EQ(zel_test::log_count("pcm buffer is not create!!"), 2U);
    zel_ring_buf ring(&config, 32);
    EXPECT_STATUS(ring.write(nullptr, 1, &ts), -EINVAL);
    EXPECT_STATUS(ring.read_pcm(nullptr, 1), -EINVAL);
    config.period_count = std::numeric_limits<std::int32_t>::max();
    EXPECT_THROW(zel_ring_buf(&config, 32), std::bad_alloc);
}

TEST(block_record, holds_sixteen_megabytes_at_most) {
    for (const unsigned int channels : {8191U, 8192U, 8193U}) {
        const pcm_config config = zel_test::stream_config(channels, 16000, PCM_FORMAT_S32_LE);
        if (channels > 8192) {
            EXPECT_THROW(zel_test::fc_access::block(32, &config), std::bad_alloc);
            continue;
        }
        const zel_test::fc_access::block block(32, &config);
        EXPECT_EQ(block.u32Frames, 512U);
        EXPECT_EQ(block.u32BufSize, 512 * 4 * channels);
        EXPECT_EQ(block.pu8Buf[block.u32BufSize - 1], 0);
    }
}

// Of any size, in any order, and around the capacity, where the pointers wrap.
TEST(ring_buf, keeps_the_newest_bytes_of_any_writes_until_they_are_read) {
    std::mt19937 random(1);
    const auto below = [&random](unsigned int end) {
        return static_cast<unsigned int>(random() % end);
    };
    constexpr pcm_format kFormats[] = {PCM_FORMAT_S16_LE, PCM_FORMAT_S32_LE, PCM_FORMAT_S8,
                                       PCM_FORMAT_S24_3LE};
    for (int round = 0; round < 3000; ++round) {
        SCOPED_TRACE(round);
        pcm_config config{};
        config.rate = below(4) * 1000 + below(2) * 999;
        config.channels = below(5);
        config.period_size = below(4) * 32 + below(2);
        config.period_count = below(6);
        config.format = kFormats[below(4)];
        const unsigned int block = config.rate / 1000 * 32;
        const bool whole = block != 0 && config.period_size % block == 0;
        const unsigned int frame_bytes = pcm_format_to_bits(config.format) * config.channels / 8;
        const unsigned int capacity =
            config.period_count * frame_bytes * (whole ? config.period_size : block);
        zel_ring_buf ring(&config, 32);
        std::vector<std::uint8_t> held;
        std::vector<std::uint8_t> data(capacity + 300);
        std::uint8_t next = 0;
        long newest = 0;
        for (long step = 1; step < 40; ++step) {
            const unsigned int bytes =
                below(2) == 0 ? below(300) : capacity - below(4) % (capacity + 1);
            const auto end = data.begin() + static_cast<std::ptrdiff_t>(bytes);
            timespec time{step, step};
            if (below(2) == 0) {
                std::generate(data.begin(), end, [&next] { return next++; });
                ASSERT_EQ(ring.write(data.data(), bytes, &time), bytes <= capacity ? 0 : -EINVAL);
                if (bytes <= capacity) {
                    held.insert(held.end(), data.begin(), end);
                    held.erase(held.begin(),
                               held.end() - std::min(static_cast<std::ptrdiff_t>(capacity),
                                                     std::ssize(held)));
                    newest = step;
                }
            } else {
                const std::size_t taken = std::min<std::size_t>(bytes, held.size());
                ASSERT_EQ(ring.read_pcm(data.data(), bytes), static_cast<int>(taken));
                const auto rest = held.begin() + static_cast<std::ptrdiff_t>(taken);
                ASSERT_TRUE(std::equal(held.begin(), rest, data.begin()));
                held.erase(held.begin(), rest);
            }
            unsigned int frames = 0;
            ASSERT_STATUS(ring.get_info(&time, &frames), 0);
            ASSERT_EQ(time.tv_sec, newest);
            ASSERT_EQ(time.tv_nsec, newest);
            ASSERT_EQ(frames, frame_bytes == 0 ? 0 : held.size() / frame_bytes);
        }
    }
}

}  // namespace
