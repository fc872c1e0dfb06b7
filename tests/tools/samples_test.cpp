// The sample coefficient files in config/: clean, and computed as they say.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "check_file.h"
#include "coefficient_text.h"
#include "mixing_weights.h"

namespace {

const std::string kConfig = ZEL_SOURCE_FOLDER "/config";

std::vector<std::string> sample_files() {
    std::vector<std::string> files;
    for (const std::string& folder : {kConfig, kConfig + "/samples"}) {
        for (const auto& entry : std::filesystem::directory_iterator(folder)) {
            if (entry.path().extension() == ".json") {
                files.push_back(entry.path());
            }
        }
    }
    return files;
}

TEST(samples, are_clean) {
    const std::vector<std::string> files = sample_files();
    EXPECT_GE(files.size(), 5U);
    for (const std::string& path : files) {
        SCOPED_TRACE(path);
        const file_report report = check_file(path, {});
        EXPECT_NE(report.kind, file_kind::unknown);
        EXPECT_FALSE(report.entries.empty());
        for (const finding& found : report.findings) {
            ADD_FAILURE() << found.place.line << ": " << found.what;
        }
        for (const entry_report& entry : report.entries) {
            EXPECT_TRUE(entry.reachable && entry.usable) << entry.place.line;
        }
    }
}

/// The weights that the device takes from the default file, a row by output.
std::vector<float> weights_of(const stream_request& stream) {
    check_request request;
    request.stream = stream;
    const file_report report = check_file(kConfig + "/voice_channel_mixing_coef.json", request);
    EXPECT_EQ(report.decided->result, outcome::entry);
    return report.decided->weights;
}

TEST(samples, downmixes_keep_the_balance_and_reach_full_scale) {
    constexpr double kTolerance = 1e-5;  // the file has six digits
    const double minus3 = std::sqrt(0.5);
    // Gains relative to the front left channel's into the left output; FL is 1.
    const struct {
        stream_request stream;
        std::vector<double> left;
    } cases[] = {
        {{4, "4.0", 2, 0}, {1, 0, minus3, 0}},
        {{6, "5.1", 2, 0}, {1, 0, minus3, 0, minus3, 0}},
        {{8, "7.1", 2, 0}, {1, 0, minus3, 0, minus3, 0, minus3, 0}},
        {{12, "7.1.4", 2, 0}, {1, 0, minus3, 0, minus3, 0, minus3, 0, 0.5, 0, 0.5, 0}},
        {{2, "2.0", 1, 0}, {1, 1}},
        {{6, "5.1", 1, 0}, {1, 1, 2 * minus3, 0, minus3, minus3}},
        {{12, "7.1.4", 8, 0}, {1, 0, 0, 0, 0, 0, 0, 0, 0.5, 0, 0, 0}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.stream.layout + " to " + std::to_string(c.stream.outputs));
        const std::vector<float> weights = weights_of(c.stream);
        double largest = 0;
        for (std::size_t o = 0; o < c.stream.outputs; ++o) {
            const double gain = row_gain(weights.data() + o * c.stream.channels, c.stream.channels);
            largest = std::max(largest, gain);
        }
        EXPECT_NEAR(largest, 1, kTolerance);
        for (std::size_t i = 0; i < c.left.size(); ++i) {
            EXPECT_NEAR(weights[i] / weights[0], c.left[i], 1e-4) << "input " << i;
        }
    }
    // Every bed channel of the widest matrix passes with the same gain.
    const std::vector<float> wide = weights_of({12, "7.1.4", 8, 0});
    for (std::size_t o = 0; o < 8; ++o) {
        EXPECT_NEAR(wide[o * 12 + o], 2.0 / 3, kTolerance) << o;
    }
}

TEST(samples, delays_follow_from_the_distances) {
    int entries = 0;
    for (const std::string& path : sample_files()) {
        const coefficient_text text(path);
        const cJSON* entry = nullptr;
        cJSON_ArrayForEach(entry, cJSON_GetObjectItem(text.root(), "ChannelDelayMilliseconds")) {
            const cJSON* metres = cJSON_GetObjectItem(entry, "DistancesMetres");
            const cJSON* delays = cJSON_GetObjectItem(entry, "Parameters");
            ASSERT_EQ(cJSON_GetArraySize(metres), cJSON_GetArraySize(delays)) << path;
            double farthest = 0;
            const cJSON* distance = nullptr;
            cJSON_ArrayForEach(distance, metres) {
                farthest = std::max(farthest, distance->valuedouble);
            }
            const cJSON* delay = delays->child;
            cJSON_ArrayForEach(distance, metres) {
                const double ms = (farthest - distance->valuedouble) / 343 * 1000;
                EXPECT_EQ(delay->valuedouble, std::round(ms)) << path << text.place(delay).line;
                delay = delay->next;
            }
            ++entries;
        }
    }
    EXPECT_GE(entries, 18);
}

}  // namespace
