// The event callback: which one is called, and who has to wait for it.

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <thread>

#include "converter_access.h"

using namespace std::chrono_literals;
using zel_test::call;
using zel_test::fc_access;

namespace {

TEST(event_callback, is_the_one_that_was_handed_over_not_a_copy) {
    zel_test::reset_script();
    const fc_access::owner fc = fc_access::make();
    int told = 0;
    fc->register_cb([&told, calls = 0](void*) mutable { told = ++calls; }, nullptr);
    for (int restarts = 1; restarts <= 2; ++restarts) {
        fc_access::pending(*fc) = true;
        fc_access::notify(*fc);
        EXPECT_EQ(told, restarts);
    }
}

/// A started stream whose worker is inside the callback until it is released.
class inside_callback : public testing::Test {
  protected:
    void SetUp() override {
        zel_test::reset_script();
        fc = fc_access::make();
        fc->register_cb([this](void*) { run(); }, this);
        zel_test::push_event(1);
        zel_test::allow_reads(-1);
        ASSERT_EQ(zel_test::start_stream(*fc), 0);
        entered.get_future().wait();
    }
    void TearDown() override {
        left.wait();
        EXPECT_EQ(fc->close(), 0);
    }
    void run() {
        entered.set_value();
        release.get_future().wait();
        done.set_value();
    }

    fc_access::owner fc;
    std::promise<void> entered, release, done;
    std::future<void> left = done.get_future();
};

TEST_F(inside_callback, who_changes_it_waits_for_its_end_and_nobody_else_does) {
    auto withdrawn = std::async(std::launch::async, [this] { fc->unregister_cb(this); });
    EXPECT_EQ(withdrawn.wait_for(50ms), std::future_status::timeout);
    EXPECT_TRUE(fc_access::pending(*fc)) << "until the call is over";
    std::uint32_t level = 0;
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(fc->get(PROP_LOG_LEVEL, &level), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 500ms);
    release.set_value();
    EXPECT_EQ(withdrawn.wait_for(2s), std::future_status::ready);
}

}  // namespace
