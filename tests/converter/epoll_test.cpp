#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

#include "captured_log.h"
#include "zel_epoll.h"

namespace {

TEST(epoll, fails_before_init) {
    zel_test::clear_log();
    zel_epoll poller;
    EXPECT_EQ(poller.add(0), -EBADF);
    EXPECT_EQ(poller.del(0), -EBADF);
    EXPECT_EQ(poller.wait(), -EBADF);
    EXPECT_TRUE(zel_test::log_has("epoll_ctl add fd(0) error, errno=(9)"));
    EXPECT_TRUE(zel_test::log_has("epoll_ctl del fd(0) error, errno=(9)"));
    EXPECT_TRUE(zel_test::log_has("epoll_wait error, errno=(9)"));
}

TEST(epoll, reports_each_arrival_once_and_keeps_a_hung_up_pipe) {
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    zel_epoll poller;
    ASSERT_EQ(poller.init(), 0);
    ASSERT_EQ(poller.init(), 0);
    ASSERT_EQ(poller.add(ends[0]), 0);
    EXPECT_EQ(poller.add(ends[0]), -EEXIST);
    EXPECT_EQ(poller.wait(), 0);
    for (int arrival = 0; arrival < 2; ++arrival) {
        ASSERT_EQ(write(ends[1], "x", 1), 1);
        ASSERT_EQ(poller.wait(), 1);
        EXPECT_EQ(poller.astEvents[0].data.fd, ends[0]);
        EXPECT_EQ(poller.wait(), 0) << "still readable, nothing new";
    }
    close(ends[1]);
    EXPECT_EQ(poller.wait(), 1);
    EXPECT_NE(fcntl(ends[0], F_GETFD), -1);
    EXPECT_EQ(poller.del(ends[0]), 0);
    close(ends[0]);
}

TEST(epoll, drops_a_socket_whose_peer_stopped_sending) {
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
    zel_epoll poller;
    ASSERT_EQ(poller.init(), 0);
    ASSERT_EQ(poller.add(ends[0]), 0);
    ASSERT_EQ(shutdown(ends[1], SHUT_WR), 0);
    poller.set_timeout(-1);
    ASSERT_EQ(poller.wait(), 1);
    EXPECT_NE(poller.astEvents[0].events & EPOLLRDHUP, 0U);
    EXPECT_EQ(poller.astEvents[0].data.fd, ends[0]);
    EXPECT_EQ(fcntl(ends[0], F_GETFD), -1) << "must be closed";
    poller.set_timeout(0);
    EXPECT_EQ(poller.wait(), 0);
    close(ends[1]);
}

}  // namespace
