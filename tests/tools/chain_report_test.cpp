#include "chain_report.h"

#include <android/log.h>
#include <gtest/gtest.h>

namespace {

constexpr const char* kMixing = "zel_channel_mixing";
constexpr const char* kDelay = "zel_channel_delay";

TEST(chain_report, tells_what_became_of_the_coefficient_files) {
    chain_report chain;
    EXPECT_EQ(chain.mixing_warning() + chain.delay_warning(), "");
    chain.add({ANDROID_LOG_DEBUG, kMixing, "load_coefficient    :0133 load coefficient /a b.json"});
    chain.add({ANDROID_LOG_ERROR, kMixing, "search_coefficient  :0091 8(7.1) => 3 not found"});
    chain.add({ANDROID_LOG_ERROR, kMixing, "load_coefficient    :0150 search fail"});
    chain.add({ANDROID_LOG_WARN, kMixing, "load_coefficient    :0158 x fail use default matrix"});
    chain.add(
        {ANDROID_LOG_WARN, kMixing, "init                :0064 mixing coefficient load fail"});
    EXPECT_EQ(chain.mix, chain_report::mixing::identity);
    EXPECT_EQ(chain.mixing_path, "/a b.json");
    EXPECT_EQ(chain.mixing_reason, "8(7.1) => 3 not found");

    chain.add({ANDROID_LOG_DEBUG, kMixing, "load_coefficient    :0133 load coefficient /c.json"});
    chain.add({ANDROID_LOG_ERROR, kMixing, "load_coefficient    :0140 open file /c.json fail"});
    chain.add(
        {ANDROID_LOG_WARN, kMixing, "init                :0064 mixing coefficient load fail"});
    EXPECT_EQ(chain.mix, chain_report::mixing::silence) << "the last load counts";
    EXPECT_NE(chain.mixing_warning().find("open file /c.json fail"), std::string::npos);

    chain.add({ANDROID_LOG_DEBUG, kMixing, "load_coefficient    :0133 load coefficient /d.json"});
    chain.add({ANDROID_LOG_DEBUG, kMixing, "search_coefficient  :0120 use mixing coefficient 8"});
    EXPECT_EQ(chain.mixing_warning(), "");

    chain.add({ANDROID_LOG_DEBUG, kDelay, "load_coefficient    :0066 load coefficient /e.json"});
    EXPECT_EQ(chain.delays, chain_report::delay::file);
    chain.add({ANDROID_LOG_ERROR, kDelay, "load_coefficient    :0080 parsing fail"});
    chain.add({ANDROID_LOG_WARN, kDelay, "load_coefficient    :0094 fail use default matrix"});
    EXPECT_EQ(chain.delays, chain_report::delay::bypass);
    EXPECT_EQ(chain.delay_reason, "parsing fail");
}

TEST(chain_report, tells_the_stages) {
    chain_report chain;
    const char* tag = "zel_tinyalsa_format_converter";
    chain.add({ANDROID_LOG_DEBUG, tag,
               "open_pcm_device     :0090 open zel-allop with 12 channel 32 bits 48000k 0x10000008 "
               "flags period size 512 period count 8"});
    EXPECT_FALSE(chain.built);
    chain.add({ANDROID_LOG_DEBUG, tag,
               "init_fc_submodule   :0112 FC operation status:\n        bit_truncate   1\n"
               "        channel_delay  1\n        channel_mixing 1\n        channel_src    1\n"
               "        bit_padding    1\n"});
    EXPECT_TRUE(chain.built);
    EXPECT_EQ(chain.card_channels, 12U);
    EXPECT_EQ(chain.card_bits, 32U);
    EXPECT_EQ(chain.card_rate, 48000U);
    EXPECT_EQ(chain.stages(), "32 to 16 bits > delay > mixing > 48 to 16 kHz > 16 to 32 bits");
}

TEST(plain_text, loses_function_line_and_breaks_only) {
    const auto plain = [](const char* text) { return plain_text({0, "", text}); };
    EXPECT_EQ(plain("init                :0064 a: b\n"), "a: b");
    EXPECT_EQ(plain("a: 12 b"), "a: 12 b");
    EXPECT_EQ(plain("cannot play \"x:1\""), "cannot play \"x:1\"");
    EXPECT_EQ(plain(""), "");
}

}  // namespace
