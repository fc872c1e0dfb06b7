// The mixing stage: its arithmetic by hand, its states and what it refuses.

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "allocation_faults.h"
#include "captured_log.h"
#include "stream_config.h"
#include "test_folder.h"
#include "zel_channel_mixing.h"
#include "zel_format_converter_mixing_wrapper.h"

namespace {

using zel_test::stream_config;

std::string matrix_file(unsigned int in, unsigned int out, const std::string& weights) {
    return zel_test::write_file(
        "mixing_stage.json",
        "{\"MixingCoefficientEnable\":true,\"MixingWeighting\":[{\"InputChannel\":" +
            std::to_string(in) + ",\"InputChannelLayout\":\"1.0\",\"OutputChannel\":" +
            std::to_string(out) + ",\"Parameters\":[" + weights + "]}]}");
}

template <typename Sample>
Sample mix_two(const std::string& weights, Sample first, Sample second) {
    const pcm_format format = sizeof(Sample) == 2 ? PCM_FORMAT_S16_LE : PCM_FORMAT_S32_LE;
    const pcm_config in = stream_config(2, 48000, format);
    const pcm_config out = stream_config(1, 48000, format);
    zel_channel_mixing stage;
    EXPECT_EQ(stage.init(matrix_file(2, 1, weights), "1.0", &in, &out), 0);
    const Sample block[2] = {first, second};
    Sample mixed = 77;
    EXPECT_EQ(stage.process(block, sizeof(block), &mixed, sizeof(mixed)), 0);
    return mixed;
}

TEST(channel_mixing, sums_are_truncated_and_wrap_or_saturate) {
    EXPECT_EQ(mix_two<std::int16_t>("1,1", 30000, 30000), -5536);
    EXPECT_EQ(mix_two<std::int16_t>("0.5,0.5", -3, 0), -1);
    EXPECT_EQ(mix_two<std::int16_t>("1e30,0", 1, 0), -1) << "the low half of the largest value";
    EXPECT_EQ(mix_two<std::int32_t>("1,1", 2000000000, 2000000000), 2147483647);
    EXPECT_EQ(mix_two<std::int32_t>("1,1", -2000000000, -2000000000), -2147483647 - 1);
    EXPECT_EQ(mix_two<std::int32_t>("1e38,-1e38", 100, 100), 0) << "infinity less infinity";
    EXPECT_EQ(mix_two<std::int32_t>("1,0", 16777217, 0), 16777216) << "samples become floats";
}

TEST(channel_mixing, unusable_streams_and_blocks_are_refused) {
    const pcm_config two = stream_config(2);
    const pcm_config packed = stream_config(2, 48000, PCM_FORMAT_S24_3LE);
    const pcm_config slow = stream_config(2, 16000);
    const struct {
        const pcm_config *in, *out;
        const char* message;
    } inits[] = {
        {nullptr, &two, "pointer of pcm configs is invalid in = (nil), out = 0x"},
        {&two, nullptr, "pointer of pcm configs is invalid in = 0x"},
        {&packed, &two, "mixing must use 16 or 32 bit input PCM format"},
        {&two, &packed, "mixing must use 16 or 32 bit output PCM format"},
        {&two, &slow, "mixing must work with same sample rate"},
    };
    std::int16_t in[20] = {};
    std::int16_t out[20];
    std::fill(std::begin(out), std::end(out), std::int16_t{-1});
    zel_channel_mixing stage;
    for (const auto& c : inits) {
        zel_test::clear_log();
        EXPECT_EQ(stage.init("", "2.0", c.in, c.out), -EINVAL);
        EXPECT_TRUE(zel_test::log_has(c.message)) << c.message;
        EXPECT_EQ(stage.process(in, 4, out, 4), -EINVAL);
        EXPECT_TRUE(zel_test::log_has("mixing coefficient is invalid"));
    }
    ASSERT_EQ(stage.init("/nowhere", "2.0", &two, &two), 0);
    EXPECT_TRUE(zel_test::log_has("mixing coefficient load fail"));
    const struct {
        const void* in;
        unsigned int in_size;
        unsigned int out_size;
        const char* message;
    } blocks[] = {
        {nullptr, 4, 4, "buffer is invalid in = (nil), out = 0x"},
        {in, 6, 8, "input buffer size is not the multiple of frame size"},
        {in, 8, 10, "outputbuffer size is not the multiple of frame size"},
        {in, 40, 36, "input sample number (10) is larger than output sample number (9)!!"},
    };
    for (const auto& c : blocks) {
        EXPECT_EQ(stage.process(c.in, c.in_size, out, c.out_size), -EINVAL);
        EXPECT_TRUE(zel_test::log_has(c.message)) << c.message;
    }
    EXPECT_EQ(out[0], -1) << "a refused block writes nothing";
    EXPECT_EQ(stage.process(in, 0, out, 40), 0);
    EXPECT_EQ(out[0], -1);
    in[0] = 1000;
    EXPECT_EQ(stage.process(in, 4, out, 40), 0);
    EXPECT_EQ(out[0], 0) << "an unreadable file mixes to silence";
    EXPECT_EQ(out[2], -1) << "only the mixed frames are written";
    stage.deinit();
    EXPECT_EQ(stage.process(in, 4, out, 4), -EINVAL);
    EXPECT_EQ(zel_fc_lib_mixing_deinit(), 0);
    EXPECT_NE(zel_fc_lib_mixing_channel_change("5.1"), 0);
}

TEST(channel_mixing, layout_change_takes_another_matrix_of_the_same_file) {
    const std::string path = zel_test::write_file(
        "two_layouts.json", R"({"MixingCoefficientEnable":true,"MixingWeighting":[
        {"InputChannel":2,"InputChannelLayout":"2.0","OutputChannel":1,"Parameters":[1,0]},
        {"InputChannel":2,"InputChannelLayout":"1.1","OutputChannel":1,"Parameters":[0,1]}]})");
    const pcm_config in = stream_config(2);
    const pcm_config out = stream_config(1);
    zel_channel_mixing stage;
    ASSERT_EQ(stage.init(path, "2.0", &in, &out), 0);
    const std::int16_t frame[2] = {11, 22};
    const auto mixed = [&] {
        std::int16_t sample = 0;
        EXPECT_EQ(stage.process(frame, 4, &sample, 2), 0);
        return sample;
    };
    EXPECT_EQ(mixed(), 11);
    EXPECT_EQ(stage.channel_change("1.1"), 0);
    EXPECT_EQ(mixed(), 22);
    EXPECT_EQ(stage.channel_change("7.1"), -EINVAL) << "the identity takes over";
    EXPECT_EQ(mixed(), 11);
    // Set up again without memory: nothing is left of the earlier stream.
    std::string same = path;
    zel_test::fail_allocation(1);
    EXPECT_EQ(stage.init(std::move(same), "2.0", &in, &out), -ENOMEM);
    EXPECT_TRUE(zel_test::stop_failing_allocations());
    EXPECT_EQ(stage.channel_change("1.1"), -EINVAL);
    EXPECT_TRUE(stage.matrix().empty());
}

}  // namespace
