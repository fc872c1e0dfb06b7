// What the largest coefficient files can cost: time and memory.

#include <gtest/gtest.h>

#include <ctime>
#include <fstream>
#include <string>

#include "captured_log.h"
#include "test_folder.h"
#include "zel_format_converter_delay_wrapper.h"
#include "zel_format_converter_mixing_wrapper.h"
#include "zel_text_file.h"

namespace {

/// `head`, then `element` again and again up to the largest size that is read, then `tail`.
std::string largest_file(const std::string& head, const std::string& element,
                         const std::string& tail) {
    const std::string path = zel_test::test_folder() + "/largest.json";
    std::string text = head;
    while (text.size() + element.size() + tail.size() <= kZelMaxTextFileBytes) {
        text += element;
    }
    std::ofstream(path) << text << tail;
    return path;
}

pcm_config config_of(unsigned int channels) {
    pcm_config config{};
    config.channels = channels;
    config.rate = 48000;
    config.format = PCM_FORMAT_S16_LE;
    return config;
}

/// Of this thread: another process on the machine does not count.
double cpu_seconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// The client waits a second for its stream to open, and both files are read in that time.
TEST(largest_file, is_searched_in_a_fraction_of_a_second) {
    constexpr double kBoundSeconds = 0.4;
    const pcm_config two = config_of(2);
    const std::string delays =
        largest_file(R"({"DelayCoefficientEnable":true,"ChannelDelayMilliseconds":[)",
                     R"({"InputChannel":0},)", R"({"InputChannel":2,"Parameters":[1,1]}]})");
    zel_test::clear_log();
    double begin = cpu_seconds();
    EXPECT_EQ(zel_fc_lib_delay_init(delays.c_str(), &two), 0);
    EXPECT_LT(cpu_seconds() - begin, kBoundSeconds);
    EXPECT_FALSE(zel_test::log_has("fail"));
    zel_fc_lib_delay_deinit();

    const std::string weights =
        largest_file(R"({"MixingCoefficientEnable":true,"MixingWeighting":[)",
                     R"({"InputChannel":0,"InputChannelLayout":"","OutputChannel":0},)",
                     R"({"InputChannel":2,"InputChannelLayout":"2.0","OutputChannel":2,
                         "Parameters":[0,1,1,0]}]})");
    begin = cpu_seconds();
    EXPECT_EQ(zel_fc_lib_mixing_init(weights, "2.0", &two, &two), 0);
    EXPECT_LT(cpu_seconds() - begin, kBoundSeconds);
    EXPECT_TRUE(zel_test::log_has("use mixing coefficient 2(2.0) => 2"));
    zel_fc_lib_mixing_deinit();
}

}  // namespace
