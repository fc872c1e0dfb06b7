// The two coefficient files: text -> delays or weights; known_bad_test.cpp has what goes wrong.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include "captured_log.h"
#include "stream_config.h"
#include "test_folder.h"
#include "zel_channel_delay.h"
#include "zel_channel_mixing.h"

namespace {

std::vector<unsigned int> delay_table(const std::string& path, unsigned int channels) {
    zel_channel_delay stage;
    const pcm_config config = zel_test::stream_config(channels);
    unsigned int* values = nullptr;
    EXPECT_EQ(stage.create_delay_coefficient(path, &values, &config), 0);
    std::vector<unsigned int> result(values, values + channels);
    EXPECT_EQ(stage.create_delay_coefficient(path, &values, &config), -EINVAL);
    stage.destroy_delay_coefficient(&values);
    EXPECT_EQ(values, nullptr);
    return result;
}

std::string file_with(const std::string& text) {
    return zel_test::write_file("coefficients.json", text);
}

std::string mixing_text(const std::string& entries) {
    return "{\"MixingCoefficientEnable\":true,\"MixingWeighting\":[" + entries + "]}";
}

std::vector<float> load_mixing(const std::string& path, unsigned int in, const char* layout,
                               unsigned int out) {
    const pcm_config in_config = zel_test::stream_config(in);
    const pcm_config out_config = zel_test::stream_config(out);
    zel_channel_mixing stage;
    EXPECT_EQ(stage.init(path, layout, &in_config, &out_config), 0);
    return {stage.matrix().begin(), stage.matrix().end()};
}

TEST(mixing_file, odd_texts_are_read) {
    const std::vector<float> swap{0, 1, 1, 0};
    const std::string good =
        R"({"InputChannel":2,"InputChannelLayout":"2.0","OutputChannel":2,"Parameters":[0,1,1,0]})";
    const std::string texts[] = {
        mixing_text(good),
        R"({"mixingcoefficientenable":true,"mixingweighting":[{"inputchannel":2.9,
             "INPUTCHANNELLAYOUT":"2.0.0","outputchannel":2.5,"parameters":[0,1,1,0]}]})",
        mixing_text(R"({"InputChannel":2,"InputChannelLayout":"2","OutputChannel":2,
                        "Parameters":[9,9,9,9]},)" +
                    good),
        mixing_text(R"({"InputChannel":1e300,"InputChannelLayout":"2.0","OutputChannel":-1,
                        "Parameters":[]},)" +
                    good),
    };
    for (const std::string& text : texts) {
        zel_test::clear_log();
        EXPECT_EQ(load_mixing(file_with(text), 2, "2.0", 2), swap) << text;
        EXPECT_TRUE(zel_test::log_has("use mixing coefficient 2(2.0) => 2")) << text;
    }
}

TEST(mixing_file, layouts_match_by_prefix_and_add_up) {
    const std::string two = mixing_text(
        R"({"InputChannel":8,"InputChannelLayout":"5.1.2","OutputChannel":1,
            "Parameters":[1,1,1,1,1,1,1,1]},
           {"InputChannel":8,"InputChannelLayout":"5.1","OutputChannel":1,
            "Parameters":[2,2,2,2,2,2,2,2]})");
    EXPECT_EQ(load_mixing(file_with(two), 8, "5.1", 1), std::vector<float>(8, 1));
    EXPECT_EQ(load_mixing(file_with(two), 8, "", 1), std::vector<float>(8, 1));
    const std::pair<const char*, unsigned int> layouts[] = {{"5.1", 6}, {"7.1.4", 12}, {"2.0", 2},
                                                            {"2", 2},   {"5.1.", 6},   {"", 0},
                                                            {"x", 0},   {" 3x.2", 5}};
    for (const auto& [layout, count] : layouts) {
        EXPECT_EQ(zel_channel_mixing::channel_count(layout), count) << layout;
    }
}

TEST(coefficient_file, that_cannot_be_read_leaves_silence_or_no_delay) {
    const std::string fifo = zel_test::test_folder() + "/fifo";
    mkfifo(fifo.c_str(), 0600);
    for (const std::string& path :
         {std::string("/nowhere/at/all"), zel_test::test_folder(), fifo, std::string()}) {
        zel_test::clear_log();
        EXPECT_EQ(load_mixing(path, 2, "2.0", 1), (std::vector<float>{0, 0})) << path;
        EXPECT_EQ(delay_table(path, 2), (std::vector<unsigned int>{0, 0})) << path;
        for (const std::string kind : {"mixing", "delay"}) {
            EXPECT_TRUE(zel_test::log_has(kind + " coefficient load fail")) << path;
            EXPECT_EQ(zel_test::log_has("open " + kind + " coefficient file " + path + " fail"),
                      !path.empty());
        }
        EXPECT_EQ(zel_test::log_count("input file size is empty"), path.empty() ? 2U : 0U);
    }
}

TEST(mixing_file, identity_drops_or_adds_channels) {
    const std::string empty = file_with("{}");
    const std::string huge = zel_test::write_file("huge", std::string((1 << 20) + 1, ' '));
    EXPECT_EQ(load_mixing(huge, 2, "", 2), (std::vector<float>{1, 0, 0, 1}));
    EXPECT_TRUE(zel_test::log_has("get_cofficient_content", "file size incorrect"));
    EXPECT_TRUE(zel_test::log_has("mixing coefficient file " + huge + " parsing fail"));
    EXPECT_TRUE(zel_test::log_has("mixing coefficient load fail"));
    EXPECT_EQ(load_mixing(empty, 3, "", 2), (std::vector<float>{1, 0, 0, 0, 1, 0}));
    EXPECT_EQ(load_mixing(empty, 1, "", 3), (std::vector<float>{1, 0, 0}));
    zel_test::clear_log();
    EXPECT_EQ(load_mixing(file_with("[1, x]"), 1, "", 1), std::vector<float>{1});
    EXPECT_TRUE(zel_test::log_has("Error before: [x]]"));
}

TEST(delay_file, odd_texts_are_read) {
    const std::string head = R"({"DelayCoefficientEnable":true,"ChannelDelayMilliseconds":[)";
    const std::string good = R"({"InputChannel":2,"Parameters":[10,2.9]}]})";
    const std::pair<std::string, std::vector<unsigned int>> cases[] = {
        {head + good, {10, 2}},
        {head + R"({"InputChannel":3,"Parameters":[]},)" + good, {10, 2}},
        {R"({"delaycoefficientenable":true,"CHANNELDELAYMILLISECONDS":[)" + good, {10, 2}},
        {head + R"({"InputChannel":2,"Parameters":[10000,0.5]}]})", {10000, 0}},
        {head + R"({"InputChannel":2,"Parameters":[1e999,1]}]})", {0, 0}},
    };
    for (const auto& [text, delays] : cases) {
        zel_test::clear_log();
        EXPECT_EQ(delay_table(file_with(text), 2), delays) << text;
        EXPECT_TRUE(zel_test::log_has("load coefficient ")) << text;
        EXPECT_EQ(zel_test::log_has("load 2 channel delay coefficient fail use default matrix"),
                  delays[0] == 0);
        EXPECT_TRUE(zel_test::log_has("delay coefficient already exist"));
    }
}

}  // namespace
