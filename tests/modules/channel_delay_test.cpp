// The delay stage against a shift of the whole stream.

#include "allocation_faults.h"
#include "test_basics.h"
#include "zel_channel_delay.h"
#include "zel_format_converter_delay_wrapper.h"

struct zel_channel_delay_access {
    static bool holds_lines(zel_channel_delay& stage) { return stage.pstDelayBuf != nullptr; }
    static std::uint32_t& frame_bytes(zel_channel_delay& stage) { return stage.u32FrameBytes; }
};

namespace {

std::string delay_file(const std::vector<int>& delays) {
    std::string list;
    for (const int ms : delays) {
        list += (list.empty() ? "" : ",") + std::to_string(ms);
    }
    return zel_test::write_file(
        "delay_stage.json",
        "{\"DelayCoefficientEnable\":true,\"ChannelDelayMilliseconds\":[{\"InputChannel\":" +
            std::to_string(delays.size()) + ",\"Parameters\":[" + list + "]}]}");
}

struct delay_case {
    std::vector<int> delays_ms;
    unsigned int rate;
    pcm_format format;
    unsigned int sample_bytes;
};

class channel_delay_test : public testing::TestWithParam<delay_case> {};

TEST_P(channel_delay_test, shifts_each_channel_whatever_the_block_sizes) {
    constexpr unsigned int kSeed = 4711;
    SCOPED_TRACE(testing::Message() << "seed " << kSeed);
    const delay_case& c = GetParam();
    const std::size_t channels = c.delays_ms.size();
    const std::size_t frame = channels * c.sample_bytes;
    const pcm_config config =
        zel_test::stream_config(static_cast<unsigned int>(channels), c.rate, c.format);
    std::mt19937 random(kSeed);
    constexpr std::size_t kFrames = 12000;
    std::vector<std::uint8_t> in(kFrames * frame);
    for (std::uint8_t& byte : in) {
        byte = static_cast<std::uint8_t>(random());
    }
    std::vector<std::uint8_t> out(in.size(), 0xAA);
    zel_channel_delay stage;
    ASSERT_STATUS(stage.init(delay_file(c.delays_ms), &config), 0);
    for (std::size_t at = 0; at < kFrames;) {
        const std::size_t block =
            std::min<std::size_t>(random() % 4 == 0 ? random() % 8 : random() % 3000, kFrames - at);
        ASSERT_STATUS(stage.process(in.data() + at * frame, out.data() + at * frame,
                                    static_cast<int>(block * frame)),
                      0);
        at += block;
    }
    for (std::size_t f = 0; f < kFrames; ++f) {
        for (std::size_t ch = 0; ch < channels; ++ch) {
            const std::size_t late = static_cast<std::size_t>(c.delays_ms[ch]) * c.rate / 1000;
            for (std::size_t b = 0; b < c.sample_bytes; ++b) {
                const std::size_t at = ch * c.sample_bytes + b;
                ASSERT_EQ(out[f * frame + at], f < late ? 0 : in[(f - late) * frame + at])
                    << "frame " << f << ", channel " << ch;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    streams, channel_delay_test,
    testing::Values(delay_case{{1, 0}, 48000, PCM_FORMAT_S16_LE, 2},
                    delay_case{{1}, 44100, PCM_FORMAT_S16_LE, 2},
                    delay_case{{7, 7, 7}, 48000, PCM_FORMAT_S32_LE, 4},
                    delay_case{{0, 200, 1, 30}, 48000, PCM_FORMAT_S24_3LE, 3},
                    delay_case{{0, 0}, 48000, PCM_FORMAT_S32_LE, 4},
                    delay_case{{1, 2, 3, 4, 5, 6, 7, 8}, 48000, PCM_FORMAT_S16_LE, 2}));

TEST(channel_delay, states_and_bad_calls) {
    zel_test::clear_log();
    const pcm_config config = zel_test::stream_config(2, 48000, PCM_FORMAT_S16_LE);
    const std::string path = delay_file({1, 0});
    std::vector<std::int16_t> in(960, 3);
    std::vector<std::int16_t> out(960, -1);
    zel_channel_delay stage;
    EXPECT_STATUS(stage.process(in.data(), out.data(), 8), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("delay buffer is invalid"));
    EXPECT_STATUS(stage.init(path, nullptr), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("pointer of pcm configs is invalid"));

    ASSERT_STATUS(stage.init(path, &config), 0);
    EXPECT_STATUS(stage.process(in.data(), out.data(), 6), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("input buffer size is not the multiple of frame size"));
    EXPECT_STATUS(stage.process(in.data(), out.data(), -4), -EINVAL);
    EXPECT_STATUS(stage.process(in.data(), out.data(), 0), 0);
    EXPECT_STATUS(stage.process(nullptr, out.data(), 4), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("buffer is invalid in = (nil), out = 0x"));
    zel_channel_delay_access::frame_bytes(stage) = 0;
    EXPECT_STATUS(stage.process(in.data(), out.data(), 4), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("frame size is 0"));
    EXPECT_EQ(out, std::vector<std::int16_t>(960, -1)) << "a refused block writes nothing";

    EXPECT_STATUS(stage.init(path, &config), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("delay buffer alredy exist"));
    EXPECT_TRUE(zel_test::log_has("create delay matrix fail"));
    EXPECT_FALSE(zel_channel_delay_access::holds_lines(stage));

    zel_channel_delay_buffer* lines = nullptr;
    EXPECT_STATUS(stage.create_delay_buffer(&lines, nullptr, nullptr), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("pcm config : (nil) is invalid"));
    const unsigned int delays[] = {1, 0};
    EXPECT_STATUS(stage.create_delay_buffer(&lines, delays, &config), 0);
    EXPECT_STATUS(stage.create_delay_buffer(&lines, delays, &config), -EINVAL);
    EXPECT_EQ(lines, nullptr) << "those that were there are released";
    EXPECT_STATUS(stage.destroy_delay_buffer(&lines, 0), 0);
    EXPECT_STATUS(zel_channel_delay_buffer().create(1, nullptr), -ENOMEM);
    EXPECT_TRUE(zel_test::log_has("invalid parameter"));
    EXPECT_EQ(zel_channel_delay::delay_frames(10'000, 768'000), 7'680'000U);
    const pcm_config fastest = zel_test::stream_config(1, 400'000'000, PCM_FORMAT_S32_LE);
    zel_channel_delay_buffer line;
    EXPECT_EQ(line.create(1, &config), 0);
    EXPECT_EQ(line.delay_frames(), 48U);
    EXPECT_STATUS(line.create(10'000, &fastest), -ENOMEM) << "16 GB";
    EXPECT_EQ(line.delay_frames(), 0U) << "nothing of the line before";

    ASSERT_STATUS(stage.init(delay_file({0, 0}), &config), 0);
    EXPECT_TRUE(zel_test::log_has("delay module bypass mode enable"));
    stage.deinit();
    for (const int nothing : {0, -1}) {
        EXPECT_STATUS(stage.process(in.data(), out.data(), nothing), 0);
        EXPECT_EQ(out[0], -1);
    }
    EXPECT_STATUS(stage.process(in.data(), out.data(), 1920), 0) << "bypass survives deinit";
    EXPECT_EQ(out, in);
    ASSERT_STATUS(stage.init(delay_file({1, 0}), &config), 0);
    EXPECT_STATUS(stage.process(in.data(), out.data(), 1920), 0);
    EXPECT_EQ(out[47 * 2], 0) << "an init with delays ends the bypass";
    EXPECT_EQ(out[48 * 2], 3);
}

TEST(channel_delay, memory_that_runs_out_in_an_init_leaves_no_line) {
    const pcm_config config = zel_test::stream_config(3, 48000, PCM_FORMAT_S16_LE);
    const std::string path = delay_file({1, 2, 0});
    std::size_t failed = 0;
    for (bool struck = true; struck; failed += struck ? 1 : 0) {
        zel_channel_delay stage;
        zel_test::clear_log();
        zel_test::fail_allocation(failed + 1);
        const int status = stage.init(path, &config);
        struck = zel_test::stop_failing_allocations();
        EXPECT_STATUS(status, struck ? -ENOMEM : 0) << "allocation " << failed + 1;
        EXPECT_EQ(zel_channel_delay_access::holds_lines(stage), !struck);
        EXPECT_EQ(zel_test::log_has("create delay matrix fail"), struck);
    }
    EXPECT_GE(failed, 6U) << "the table, the text, the lines, and the storage of each";
}

TEST(channel_delay, entry_points_refuse_a_null_path_silently) {
    zel_test::clear_log();
    const pcm_config config = zel_test::stream_config(2, 48000, PCM_FORMAT_S16_LE);
    EXPECT_STATUS(zel_fc_lib_delay_init(nullptr, &config), -EINVAL);
    EXPECT_EQ(zel_test::log_count(""), 0U);
    EXPECT_STATUS(zel_fc_lib_delay_deinit(), 0);
}

}  // namespace
