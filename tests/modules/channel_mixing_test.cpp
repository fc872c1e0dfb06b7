// The mixing stage: every kind of matrix and number of channels against the definition, its states
// and what it refuses.

#include <cmath>

#include "allocation_faults.h"
#include "test_basics.h"
#include "zel_channel_mixing.h"
#include "zel_format_converter_mixing_wrapper.h"

struct zel_channel_mixing_access {
    static float* matrix(zel_channel_mixing& stage) { return stage.pf32Matrix.get(); }
};

namespace {

using zel_test::stream_config;

constexpr unsigned int kSeed = 99;

/// The weight of an output and an input out of `inputs`, `any` being one of -1.5 to 1.5.
using weight_of = float (*)(float any, std::size_t out, std::size_t in, std::size_t inputs,
                            std::mt19937& random);
constexpr std::pair<const char*, weight_of> kWeights[] = {
    {"ordinary", [](auto any, auto, auto, auto, auto&) { return any; }},
    {"tiny",
     [](auto any, auto, auto, auto, auto& r) { return std::ldexp(any, r() % 2 == 0 ? -80 : 0); }},
    {"denormal", [](auto any, auto, auto, auto,
                    auto& r) { return std::ldexp(any, -100 - static_cast<int>(r() % 50)); }},
    {"huge", [](auto any, auto, auto, auto,
                auto& r) { return std::ldexp(any, static_cast<int>(r() % 128)); }},
    {"limit", [](auto any, auto, auto, auto inputs,
                 auto&) { return (any < 0 ? -0x1p15F : 0x1p15F) / static_cast<float>(inputs); }},
    {"moving", [](auto, auto out, auto in, auto inputs,
                  auto&) { return in == (out + 1) % inputs ? 1.0F : -0.0F; }},
    {"scattered",
     [](auto, auto out, auto in, auto inputs, auto&) {
         return in == (out * 5 + 2) % inputs ? 1.0F : out == 3 ? 0.25F : 0.0F;
     }},
    {"identity", [](auto, auto out, auto in, auto, auto&) { return in == out ? 1.0F : 0.0F; }},
    {"first as identity's",
     [](auto, auto out, auto in, auto, auto&) { return in != out ? 0.0F
                                                       : in == 0 ? 1.0F
                                                                 : 0.5F; }},
    {"silent", [](auto, auto, auto, auto, auto&) { return 0.0F; }}};

/// Noise, full scale and small numbers.
std::vector<std::uint8_t> awkward_block(std::size_t samples, std::size_t bytes,
                                        std::mt19937& random) {
    std::vector<std::uint8_t> block(samples * bytes + 1);
    for (std::size_t i = 0; i < samples; ++i) {
        auto wide = static_cast<std::int32_t>(random());
        if (random() % 4 == 0) {
            wide = random() % 2 == 0 ? std::numeric_limits<std::int32_t>::max()
                                     : std::numeric_limits<std::int32_t>::min();
        } else if (random() % 4 == 0) {
            wide = (static_cast<std::int32_t>(random() % 5) - 2) * (bytes == 2 ? 65536 : 1);
        }
        const auto narrow = static_cast<std::int16_t>(wide >> 16);
        std::memcpy(block.data() + 1 + i * bytes,
                    bytes == 2 ? static_cast<const void*>(&narrow) : &wide, bytes);
    }
    return block;
}

std::int32_t sample_at(const std::vector<std::uint8_t>& block, std::size_t bytes, std::size_t i) {
    std::int32_t wide = 0;
    std::int16_t narrow = 0;
    std::memcpy(bytes == 2 ? static_cast<void*>(&narrow) : &wide, block.data() + 1 + i * bytes,
                bytes);
    return bytes == 2 ? narrow : wide;
}

/// Each operation rounded to float by hand: no way for two roundings to become one.
std::int32_t model(const std::vector<std::int32_t>& frame, const float* row) {
    float sum = 0;
    for (std::size_t i = 0; i < frame.size(); ++i) {
        const auto product = static_cast<float>(static_cast<double>(static_cast<float>(frame[i])) *
                                                static_cast<double>(row[i]));
        sum = static_cast<float>(static_cast<double>(sum) + static_cast<double>(product));
    }
    return std::isnan(sum)
               ? 0
               : static_cast<std::int32_t>(
                     std::clamp(std::trunc(static_cast<double>(sum)), -2147483648.0, 2147483647.0));
}

/// Bytes of a sample on both sides.
class mixing_matrix_test : public testing::TestWithParam<std::pair<std::size_t, std::size_t>> {
  protected:
    static pcm_config config(std::size_t channels, std::size_t bytes) {
        return stream_config(static_cast<unsigned int>(channels), 48000,
                             bytes == 2 ? PCM_FORMAT_S16_LE : PCM_FORMAT_S32_LE);
    }
    void expect_model(zel_channel_mixing& stage, std::size_t ins, std::size_t outs) {
        const auto [in_bytes, out_bytes] = GetParam();
        const float* matrix = zel_channel_mixing_access::matrix(stage);
        const std::size_t frames = random() % 140;
        const auto in = awkward_block(frames * ins, in_bytes, random);
        std::vector<std::uint8_t> out(frames * outs * out_bytes + 2, 0xa5);
        ASSERT_EQ(stage.process(in.data() + 1, static_cast<unsigned int>(in.size() - 1),
                                out.data() + 1, static_cast<unsigned int>(out.size() - 2)),
                  0);
        ASSERT_EQ(out.front(), 0xa5);
        ASSERT_EQ(out.back(), 0xa5);
        std::vector<std::int32_t> frame(ins);
        for (std::size_t f = 0; f < frames; ++f) {
            for (std::size_t i = 0; i < ins; ++i) {
                frame[i] = sample_at(in, in_bytes, f * ins + i);
            }
            for (std::size_t o = 0; o < outs; ++o) {
                const std::int32_t wanted = model(frame, matrix + o * ins);
                ASSERT_EQ(sample_at(out, out_bytes, f * outs + o),
                          out_bytes == 2 ? static_cast<std::int16_t>(wanted) : wanted)
                    << "frame " << f << ", output " << o;
            }
        }
    }
    std::mt19937 random{kSeed};
};

TEST_P(mixing_matrix_test, equals_the_definition) {
    for (const std::size_t ins : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 12U, 16U, 31U, 32U, 33U}) {
        for (const std::size_t outs : {1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 12U}) {
            const pcm_config in = config(ins, GetParam().first);
            const pcm_config out = config(outs, GetParam().second);
            zel_channel_mixing stage;
            ASSERT_STATUS(stage.init("", "", &in, &out), 0);
            std::uniform_real_distribution<float> any(-1.5F, 1.5F);
            for (const auto& [name, weight] : kWeights) {
                SCOPED_TRACE(testing::Message() << ins << " -> " << outs << " channels, weights "
                                                << name << ", seed " << kSeed);
                for (std::size_t k = 0; k < ins * outs; ++k) {
                    zel_channel_mixing_access::matrix(stage)[k] =
                        weight(any(random), k / ins, k % ins, ins, random);
                }
                ASSERT_NO_FATAL_FAILURE(expect_model(stage, ins, outs));
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(sizes, mixing_matrix_test,
                         testing::Values(std::pair{2U, 2U}, std::pair{2U, 4U}, std::pair{4U, 2U},
                                         std::pair{4U, 4U}));

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
        EXPECT_STATUS(stage.init("", "2.0", c.in, c.out), -EINVAL);
        EXPECT_TRUE(zel_test::log_has(c.message)) << c.message;
        EXPECT_STATUS(stage.process(in, 4, out, 4), -EINVAL);
        EXPECT_TRUE(zel_test::log_has("mixing coefficient is invalid"));
    }
    const pcm_config none = stream_config(0);
    for (const auto& [from, to] : {std::pair{&none, &two}, {&two, &none}}) {
        ASSERT_STATUS(stage.init("", "2.0", from, to), 0);
        EXPECT_STATUS(stage.process(in, 4, out, 4), -EINVAL) << from->channels << " channels";
    }
    ASSERT_STATUS(stage.init("/nowhere", "2.0", &two, &two), 0);
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
        EXPECT_STATUS(stage.process(c.in, c.in_size, out, c.out_size), -EINVAL);
        EXPECT_TRUE(zel_test::log_has(c.message)) << c.message;
    }
    EXPECT_EQ(out[0], -1) << "a refused block writes nothing";
    EXPECT_STATUS(stage.process(in, 0, out, 40), 0);
    EXPECT_EQ(out[0], -1);
    in[0] = 1000;
    EXPECT_STATUS(stage.process(in, 4, out, 40), 0);
    EXPECT_EQ(out[0], 0) << "an unreadable file mixes to silence";
    EXPECT_EQ(out[2], -1) << "only the mixed frames are written";
    zel_test::clear_log();
    stage.deinit();
    EXPECT_STATUS(stage.process(in, 4, out, 4), -EINVAL);
    EXPECT_TRUE(zel_test::log_has("mixing coefficient is invalid"));
    EXPECT_TRUE(stage.matrix().empty());
    EXPECT_STATUS(stage.channel_change("2.0"), -EINVAL) << "there is no matrix to write to";
    EXPECT_STATUS(zel_fc_lib_mixing_deinit(), 0);
    EXPECT_NE(zel_fc_lib_mixing_channel_change("5.1"), 0);
}

TEST(channel_mixing, set_up_again_without_memory_leaves_nothing_of_the_earlier_stream) {
    const pcm_config two = stream_config(2);
    zel_channel_mixing stage;
    ASSERT_STATUS(stage.init(zel_test::write_file("empty.json", "{}"), "2.0", &two, &two), 0);
    zel_test::fail_allocation(1);
    EXPECT_STATUS(stage.channel_change("1.1"), -ENOMEM);
    EXPECT_TRUE(zel_test::stop_failing_allocations());
    EXPECT_EQ(stage.matrix()[3], 1) << "the matrix stays";
    std::string path = "/nowhere/else";
    zel_test::fail_allocation(1);
    EXPECT_STATUS(stage.init(std::move(path), "2.0", &two, &two), -ENOMEM);
    EXPECT_TRUE(zel_test::stop_failing_allocations());
    EXPECT_STATUS(stage.channel_change("1.1"), -EINVAL);
    EXPECT_TRUE(stage.matrix().empty());
}

}  // namespace
