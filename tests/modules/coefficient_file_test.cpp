// The two coefficient files: what is read from them, what the broken ones of config/known-bad lead
// to, and what the largest can cost.

#include <fcntl.h>
#include <sys/stat.h>

#include "known_bad.h"
#include "system_faults.h"
#include "test_basics.h"
#include "zel_channel_delay.h"
#include "zel_channel_mixing.h"
#include "zel_coefficient_file.h"

namespace {

std::vector<unsigned int> delay_table(const std::string& path, unsigned int channels) {
    zel_channel_delay stage;
    const pcm_config config = zel_test::stream_config(channels);
    unsigned int* values = nullptr;
    EXPECT_STATUS(stage.create_delay_coefficient(path, &values, &config), 0);
    std::vector<unsigned int> result(values, values + channels);
    EXPECT_STATUS(stage.create_delay_coefficient(path, &values, &config), -EINVAL);
    stage.destroy_delay_coefficient(&values);
    EXPECT_EQ(values, nullptr);
    return result;
}

std::string mixing_text(const std::string& entries) {
    return "{\"MixingCoefficientEnable\":true,\"MixingWeighting\":[" + entries + "]}";
}

std::vector<float> load_mixing(const std::string& path, unsigned int in, const char* layout,
                               unsigned int out) {
    const pcm_config in_config = zel_test::stream_config(in);
    const pcm_config out_config = zel_test::stream_config(out);
    zel_channel_mixing stage;
    EXPECT_STATUS(stage.init(path, layout, &in_config, &out_config), 0);
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
        testing::internal::CaptureStderr();
        EXPECT_EQ(load_mixing(zel_test::file_with(text), 2, "2.0", 2), swap) << text;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
        EXPECT_TRUE(zel_test::log_has("use mixing coefficient 2(2.0) => 2")) << text;
    }
}

TEST(mixing_file, a_weight_is_what_rounds_to_a_finite_float) {
    constexpr float kLargest = std::numeric_limits<float>::max();
    const std::pair<const char*, float> weights[] = {{"3.4028235e38", kLargest},
                                                     {"-3.4028235677973362e38", -kLargest},
                                                     {"3.4028235677973366e38", 1},  // half-way
                                                     {"1e-99", 0}};
    for (const auto& [text, weight] : weights) {
        const std::string file = zel_test::file_with(mixing_text(
            std::string(R"({"InputChannel":1,"InputChannelLayout":"1","OutputChannel":1,)") +
            R"("Parameters":[)" + text + "]}"));
        EXPECT_EQ(load_mixing(file, 1, "1", 1), std::vector<float>{weight}) << text;
    }
}

TEST(mixing_file, layouts_match_by_prefix_and_add_up) {
    const std::string two = mixing_text(
        R"({"InputChannel":8,"InputChannelLayout":"5.1.2","OutputChannel":1,
            "Parameters":[1,1,1,1,1,1,1,1]},
           {"InputChannel":8,"InputChannelLayout":"5.1","OutputChannel":1,
            "Parameters":[2,2,2,2,2,2,2,2]})");
    EXPECT_EQ(load_mixing(zel_test::file_with(two), 8, "5.1", 1), std::vector<float>(8, 1));
    EXPECT_EQ(load_mixing(zel_test::file_with(two), 8, "", 1), std::vector<float>(8, 1));
    const std::pair<const char*, unsigned int> layouts[] = {{"5.1", 6}, {"22.2", 24}, {"7.1.4", 12},
                                                            {"2.0", 2}, {"2", 2},     {"5.1.", 6},
                                                            {"", 0},    {"x", 0},     {" 3x.2", 5}};
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
        errno = ENOMEM;  // of an earlier call
        EXPECT_EQ(load_mixing(path, 2, "2.0", 1), (std::vector<float>{0, 0})) << path;
        errno = ENOMEM;
        EXPECT_EQ(delay_table(path, 2), (std::vector<unsigned int>{0, 0})) << path;
        for (const std::string kind : {"mixing", "delay"}) {
            EXPECT_TRUE(zel_test::log_has(kind + " coefficient load fail")) << path;
            EXPECT_EQ(zel_test::log_has("open " + kind + " coefficient file " + path + " fail"),
                      !path.empty());
        }
        EXPECT_EQ(zel_test::log_count("input file size is empty"), path.empty() ? 2U : 0U);
    }
}

TEST(coefficient_file, takes_descriptor_0_and_gives_each_back) {
    const int kept = dup(0);
    const std::string file = zel_test::file_with("{}");
    close(0);
    EXPECT_EQ(zel_read_text_file(file.c_str()).status, zel_text_status::ok);
    EXPECT_EQ(zel_read_text_file(zel_test::test_folder().c_str()).status,
              zel_text_status::not_opened);
    EXPECT_EQ(dup2(kept, open(file.c_str(), O_RDONLY)), 0) << "the lowest number is free again";
    close(kept);
}

TEST(coefficient_file, whose_reading_fails_tells_how_and_leaves_silence) {
    const std::string file = zel_test::file_with(mixing_text(
        R"({"InputChannel":1,"InputChannelLayout":"1","OutputChannel":1,"Parameters":[7]})"));
    using zel_test::system_call;
    const struct {
        system_call call;
        int nth;
        const char* message;
        float weight;
    } rows[] = {{system_call::fseek, 1, "fseek to end fail", 0},
                {system_call::ftell, 1, "file size incorrect", 0},
                {system_call::fseek, 2, "fseek to set fail", 0},
                {system_call::fread, 1, "parsing fail", 1},
                {system_call::fclose, 1, "fclose fail", 7}};
    for (const auto& row : rows) {
        zel_test::clear_log();
        testing::internal::CaptureStderr();
        zel_test::fail_system_call(row.call, row.nth, EIO);
        EXPECT_EQ(load_mixing(file, 1, "1", 1), std::vector<float>{row.weight}) << row.message;
        EXPECT_TRUE(zel_test::stop_failing_system_calls());
        EXPECT_TRUE(zel_test::log_has(row.message));
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  row.weight == 1 ? "fread size not match, errno=(5)\n" : "");
    }
}

TEST(mixing_file, identity_drops_or_adds_channels) {
    const std::string empty = zel_test::file_with("{}");
    std::string text = mixing_text(
        R"({"InputChannel":2,"InputChannelLayout":"","OutputChannel":2,"Parameters":[0,1,1,0]})");
    text.resize(1 << 20, ' ');
    EXPECT_EQ(load_mixing(zel_test::file_with(text), 2, "", 2), (std::vector<float>{0, 1, 1, 0}));
    const std::string huge = zel_test::write_file("huge", text + ' ');
    EXPECT_EQ(load_mixing(huge, 2, "", 2), (std::vector<float>{1, 0, 0, 1}));
    EXPECT_TRUE(zel_test::log_has("get_cofficient_content", "file size incorrect"));
    EXPECT_TRUE(zel_test::log_has("mixing coefficient file " + huge + " parsing fail"));
    EXPECT_TRUE(zel_test::log_has("mixing coefficient load fail"));
    EXPECT_EQ(load_mixing(empty, 3, "", 2), (std::vector<float>{1, 0, 0, 0, 1, 0}));
    EXPECT_EQ(load_mixing(empty, 1, "", 3), (std::vector<float>{1, 0, 0}));
    errno = ENOMEM;  // of an earlier day
    const char* place = nullptr;
    EXPECT_FALSE(zel_parse_json("[1, x]", &place));
    zel_test::clear_log();
    EXPECT_EQ(load_mixing(zel_test::file_with("[1, x]"), 1, "", 1), std::vector<float>{1});
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
        EXPECT_EQ(delay_table(zel_test::file_with(text), 2), delays) << text;
        EXPECT_TRUE(zel_test::log_has("load coefficient ")) << text;
        EXPECT_EQ(zel_test::log_has("load 2 channel delay coefficient fail use default matrix"),
                  delays[0] == 0);
        EXPECT_TRUE(zel_test::log_has("delay coefficient already exist"));
    }
}

bool is_identity(std::span<const float> matrix, std::size_t inputs) {
    for (std::size_t k = 0; k < matrix.size(); ++k) {
        if (matrix[k] != (k / inputs == k % inputs ? 1.0F : 0.0F)) {
            return false;
        }
    }
    return true;
}

/// The message, and those that follow every failure of its kind.
template <typename Stage>
void expect_log(const zel_test::known_bad_file& file, const std::string& stream, bool used,
                const Stage& stage) {
    const char* kind = file.mixing ? "mixing" : "delay";
    EXPECT_TRUE(zel_test::log_has(file.log)) << "lacks " << file.log;
    EXPECT_EQ(zel_test::log_has("fail use default matrix"), !used);
    EXPECT_EQ(zel_test::log_has(std::string(kind) + " coefficient load fail"), !used);
    const bool before_search = file.log == "parsing fail" || file.log.ends_with("is disabled") ||
                               file.log == "no " + std::string(kind) + " coefficient found";
    const bool after_search =
        used || file.log.ends_with("value fail") || file.log.find(" ms of channel ") < 99;
    EXPECT_EQ(zel_test::log_has("search " + stream + " fail"), !before_search && !after_search);
    EXPECT_EQ(zel_test::log_has("Error before: ["), file.log == "parsing fail");
    EXPECT_EQ(stage.used(), used);
    const bool decided = !before_search && !file.log.ends_with(" not found") &&
                         file.log.find("no mixing coefficient body") != 0 &&
                         file.log.find("no delay coefficient body") != 0;
    EXPECT_EQ(stage.entry(), decided ? 0 : -1) << "the first entry decides in all of them";
}

TEST(known_bad, files_end_as_listed) {
    const char* error = nullptr;
    const zel_json_document nothing = zel_parse_json("{}", &error);
    cJSON* params = nullptr;
    for (const zel_test::known_bad_file& file : zel_test::known_bad_files()) {
        SCOPED_TRACE(file.name);
        const pcm_config in = zel_test::stream_config(file.channels);
        const pcm_config out = zel_test::stream_config(file.outputs);
        const bool used = file.outcome == (file.mixing ? "entry" : "delays");
        EXPECT_TRUE(used || file.outcome == (file.mixing ? "identity" : "bypass"));
        std::string stream = std::to_string(file.channels) + " channel delay coefficient";
        zel_test::clear_log();
        if (file.mixing) {
            zel_channel_mixing stage;
            ASSERT_STATUS(stage.init(file.path, file.layout, &in, &out), 0);
            EXPECT_EQ(is_identity(stage.matrix(), in.channels), !used);
            stream = "mixing coefficient " + std::to_string(in.channels) + "(" + file.layout +
                     ") => " + std::to_string(out.channels);
            EXPECT_EQ(zel_test::log_has("use " + stream), used || file.log.ends_with("value fail"));
            expect_log(file, stream, used, stage);
            EXPECT_STATUS(
                stage.load_coefficient("/nowhere", in.channels, file.layout, out.channels),
                -EINVAL);
            EXPECT_EQ(stage.entry(), -1);
            stage.load_coefficient(file.path, in.channels, file.layout, out.channels);
            EXPECT_STATUS(stage.search_coefficient(nothing.get(), 1, "", 1, &params), -EINVAL);
            EXPECT_EQ(stage.entry(), -1);
            stage.channel_change("?");
            EXPECT_FALSE(stage.used());
        } else {
            zel_channel_delay stage;
            ASSERT_STATUS(stage.init(file.path, &in), 0);
            EXPECT_EQ(zel_test::log_has("delay module bypass mode enable"), !used);
            expect_log(file, stream, used, stage);
            unsigned int delays[64];
            unsigned int* table = delays;
            EXPECT_STATUS(stage.load_coefficient("/nowhere", &table, 2), -EINVAL);
            EXPECT_FALSE(stage.used());
            EXPECT_EQ(stage.entry(), -1);
            stage.load_coefficient(file.path, &table, in.channels);
            EXPECT_STATUS(stage.search_coefficient(nothing.get(), 1, &params), -EINVAL);
            EXPECT_EQ(stage.entry(), -1);
        }
    }
}

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
template <typename Init>
void expect_fast(Init init) {
    const auto cpu_seconds = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    };
    zel_test::clear_log();
    const double begin = cpu_seconds();
    EXPECT_EQ(init(), 0);
    EXPECT_LT(cpu_seconds() - begin, 0.4);
    EXPECT_FALSE(zel_test::log_has("fail"));
}

// The client waits a second for its stream to open, and both files are read in that time.
TEST(largest_file, is_searched_in_a_fraction_of_a_second) {
    const pcm_config two = zel_test::stream_config(2);
    const std::string delays =
        largest_file(R"({"DelayCoefficientEnable":true,"ChannelDelayMilliseconds":[)",
                     R"({"InputChannel":0},)", R"({"InputChannel":2,"Parameters":[1,1]}]})");
    expect_fast([&] { return zel_channel_delay().init(delays, &two); });
    const std::string weights =
        largest_file(R"({"MixingCoefficientEnable":true,"MixingWeighting":[)",
                     R"({"InputChannel":0,"InputChannelLayout":"","OutputChannel":0},)",
                     R"({"InputChannel":2,"InputChannelLayout":"2.0","OutputChannel":2,
                         "Parameters":[0,1,1,0]}]})");
    expect_fast([&] { return zel_channel_mixing().init(weights, "2.0", &two, &two); });
}

}  // namespace
