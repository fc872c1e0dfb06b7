// What the largest coefficient files can cost: time and memory.

#include <cjson/cJSON.h>
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string>

#include "allocation_faults.h"
#include "captured_log.h"
#include "stream_config.h"
#include "test_folder.h"
#include "zel_coefficient_file.h"
#include "zel_format_converter_delay_wrapper.h"
#include "zel_format_converter_mixing_wrapper.h"

namespace {

/// `head`, then `element` again and again up to the largest size that is read, then `tail`.
std::string largest_file(const std::string& head, const std::string& element,
                         const std::string& tail) {
    std::string text = head;
    while (text.size() + element.size() + tail.size() <= kZelMaxTextFileBytes) {
        text += element;
    }
    return zel_test::write_file("largest.json", text + tail);
}

/// Of this thread: another process on the machine does not count.
double cpu_seconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

// What the parser has and has not given back, and the most of that.
std::size_t g_live, g_peak;

void* take(std::size_t bytes) {
    void* memory = std::malloc(bytes);
    g_live += malloc_usable_size(memory);
    g_peak = std::max(g_peak, g_live);
    return memory;
}

void give_back(void* memory) {
    g_live -= malloc_usable_size(memory);
    std::free(memory);
}

// The client waits a second for its stream to open, and both files are read in that time.
TEST(largest_file, is_searched_in_a_fraction_of_a_second) {
    constexpr double kBoundSeconds = 0.4;
    const pcm_config two = zel_test::stream_config(2);
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

// An element takes two characters at least, and a text no more bytes than characters.
TEST(largest_file, is_parsed_in_37_times_its_size) {
    cJSON_Hooks hooks{take, give_back};
    cJSON_InitHooks(&hooks);
    void* const element = take(sizeof(cJSON));
    const std::size_t bound = kZelMaxTextFileBytes / 2 * g_live + kZelMaxTextFileBytes;
    give_back(element);
    g_peak = 0;
    const pcm_config two = zel_test::stream_config(2);
    const std::string head = R"({"DelayCoefficientEnable":true,"ChannelDelayMilliseconds":[)";
    const struct {
        std::string head, element, tail;
    } shapes[] = {
        {"[", "0,", "0]"},          {"[", "[],", "0]"},
        {"[", R"("",)", "0]"},      {"{", R"("":0,)", R"("":0})"},
        {R"({"":")", "x", R"("})"}, {head + R"({"InputChannel":2,"Parameters":[)", "0,", "0]}]}"},
    };
    for (const auto& shape : shapes) {
        const std::string path = largest_file(shape.head, shape.element, shape.tail);
        zel_test::take_largest_allocation();
        EXPECT_EQ(zel_fc_lib_delay_init(path.c_str(), &two), 0);
        EXPECT_EQ(zel_fc_lib_mixing_init(path, "2.0", &two, &two), 0);
        EXPECT_LE(zel_test::take_largest_allocation(), std::size_t{kZelMaxTextFileBytes} + 1);
        EXPECT_LE(g_peak, bound) << shape.element;
        EXPECT_EQ(g_live, 0U) << shape.element;
        zel_fc_lib_delay_deinit();
        zel_fc_lib_mixing_deinit();
    }
    EXPECT_GT(g_peak, bound / 2) << "the bound would be no bound";
    cJSON_InitHooks(nullptr);
}

TEST(longest_delays, take_ten_seconds_of_the_stream) {
    const std::string path = zel_test::write_file(
        "longest.json", R"({"DelayCoefficientEnable":true,"ChannelDelayMilliseconds":[
        {"InputChannel":8,"Parameters":[10000,10000,10000,10000,10000,10000,10000,9999]}]})");
    const pcm_config config = zel_test::stream_config(8, 48000, PCM_FORMAT_S32_LE);
    zel_test::take_largest_allocation();
    ASSERT_EQ(zel_fc_lib_delay_init(path.c_str(), &config), 0);
    // Once as history, once as room for what comes before it is moved to the front.
    EXPECT_LE(zel_test::take_largest_allocation(), 2U * 10 * 48000 * 8 * 4);
    zel_fc_lib_delay_deinit();
}

}  // namespace
