// The broken coefficient files of config/known-bad through the stages: what each falls back to and
// what the log says.

#include "known_bad.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "captured_log.h"
#include "stream_config.h"
#include "zel_channel_delay.h"
#include "zel_channel_mixing.h"

namespace {

bool is_identity(std::span<const float> matrix, std::size_t inputs) {
    for (std::size_t k = 0; k < matrix.size(); ++k) {
        if (matrix[k] != (k / inputs == k % inputs ? 1.0F : 0.0F)) {
            return false;
        }
    }
    return true;
}

/// The message, and those that follow every failure of its kind.
void expect_log(const zel_test::known_bad_file& file, const std::string& stream, bool used) {
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
}

TEST(known_bad, mixing_files_end_as_listed) {
    for (const zel_test::known_bad_file& file : zel_test::known_bad_files()) {
        if (!file.mixing) {
            continue;
        }
        SCOPED_TRACE(file.name);
        const pcm_config in = zel_test::stream_config(file.channels);
        const pcm_config out = zel_test::stream_config(file.outputs);
        zel_channel_mixing stage;
        zel_test::clear_log();
        ASSERT_EQ(stage.init(file.path, file.layout, &in, &out), 0);
        const bool used = file.outcome == "entry";
        EXPECT_TRUE(used || file.outcome == "identity");
        EXPECT_EQ(is_identity(stage.matrix(), in.channels), !used);
        const std::string stream = std::to_string(in.channels) + "(" + file.layout + ") => " +
                                   std::to_string(out.channels);
        expect_log(file, "mixing coefficient " + stream, used);
        EXPECT_EQ(zel_test::log_has("use mixing coefficient " + stream),
                  used || file.log.ends_with("value fail"));
    }
}

TEST(known_bad, delay_files_end_as_listed) {
    for (const zel_test::known_bad_file& file : zel_test::known_bad_files()) {
        if (file.mixing) {
            continue;
        }
        SCOPED_TRACE(file.name);
        const pcm_config config = zel_test::stream_config(file.channels);
        zel_channel_delay stage;
        zel_test::clear_log();
        ASSERT_EQ(stage.init(file.path, &config), 0);
        const bool used = file.outcome == "delays";
        EXPECT_TRUE(used || file.outcome == "bypass");
        EXPECT_EQ(zel_test::log_has("delay module bypass mode enable"), !used);
        expect_log(file, std::to_string(file.channels) + " channel delay coefficient", used);
    }
}

}  // namespace
