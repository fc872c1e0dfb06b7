// `zel-fc check`: its findings, their places, and that it says what the device does.

#include "coefficient_check.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "known_bad.h"
#include "test_folder.h"

namespace {

std::vector<std::string> findings_of(const file_report& report) {
    std::vector<std::string> all;
    for (const finding& found : report.findings) {
        all.push_back(found.kind + "@" + std::to_string(found.place.line) + ":" +
                      std::to_string(found.place.column));
    }
    return all;
}

TEST(check_file, finds_in_broken_files_what_is_listed) {
    for (const zel_test::known_bad_file& file : zel_test::known_bad_files()) {
        SCOPED_TRACE(file.name);
        const stream_request stream{file.channels, file.layout, file.outputs, 48000};
        const file_report report = check_file(file.path, stream);
        EXPECT_EQ(report.kind, file.mixing ? file_kind::mixing : file_kind::delay);
        EXPECT_EQ(findings_of(report), file.findings);
        ASSERT_TRUE(report.decided);
        EXPECT_EQ(report.decided->outcome, file.outcome);
        bool logged = file.log.empty() && report.decided->log.empty();
        for (const std::string& message : report.decided->log) {
            logged = logged || (!file.log.empty() && message.find(file.log) != std::string::npos);
        }
        EXPECT_TRUE(logged) << file.log;
    }
}

/// "LINE:COLUMN: WHAT; MEND" of the first finding.
std::string first_finding(const std::string& text) {
    const file_report report = check_file(zel_test::write_file("delay.json", text));
    if (report.findings.empty()) {
        return "none";
    }
    const finding& found = report.findings.front();
    return std::to_string(found.place.line) + ":" + std::to_string(found.place.column) + ": " +
           found.what + "; " + found.mend;
}

TEST(check_file, names_mistakes_and_their_places) {
    const std::string in_file = "{\n\"DelayCoefficientEnable\": true,\n\"Name\": ";
    const std::string entry = "{\"DelayCoefficientEnable\":true,\"ChannelDelayMilliseconds\":[";
    const struct {
        std::string text, told;
    } cases[] = {
        {"{\n\"a\": [1, 0],\n}", "3:1: Missing a name for object member. Here is \"}\".; correct "},
        {"{\n/* c */ \"a\": 1}", "2:1: Missing a name for object member. Here is \"/\"."},
        {"\xEF\xBB\xBF{\"\xC3\xA4\" 2}", "1:6: Missing a colon after a name of object member."},
        {in_file + "1/2}", "3:10: Missing a comma or '}' after an object member. Here is \"/\"."},
        {in_file + "[1\xC2\xA0]}",
         "3:11: Missing a comma or ']' after an array element. Here is "
         "U+00A0 no-break space."},
        {in_file + "\xE2\x80\x9Cx\xE2\x80\x9D}", "3:9: Invalid value. Here is U+201C curly quote."},
        {in_file + "[\xC3\xA4]}", "3:10: Invalid value. Here is U+00E4."},
        {in_file + "\"x\n\"}", "3:11: Invalid escape character in string. Here is the end of the"},
        {in_file + "[[1]",
         "3:13: Missing a comma or ']' after an array element. The text ends "
         "here."},
        {"", "1:1: The document is empty. The text ends here."},
        {"\xFF\xFE{", "1:1: Invalid value. Here is the byte 0xFF, no UTF-8."},
        {"{\"a\":\n1" + std::string(1, '\0') + "}",
         "2:2: Missing a comma or '}' after an object "
         "member. The device's text ends here, at a zero"},
        {std::string(1500, '[') + std::string(1500, ']'), "1:1001: values in more brackets"},
        {"{}x", "1:1: the file has no \"DelayCoefficientEnable\"; add"},
        {entry + "{\"InputChannel\":1,\"Parameters\":[28.999999999999996]}]}",
         "1:92: the delay of channel 0 is 28.999999999999996 ms, not a whole number; write whole"},
        {entry + "{\"inputs\":1}]}",
         "1:60: entry 0 has no \"InputChannel\"; there are \"inputs\"; add"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(first_finding(c.text).substr(0, c.told.size()), c.told);
    }
    const coefficient_text text(zel_test::file_with("{\"a\": \x1B[1}"));
    EXPECT_EQ(text.excerpt(text.fault().at), "{\"a\": ?[1}\n      ^");
}

// The device takes what is hidden behind a thousand other entries, and so does the check.
TEST(check_file, sees_the_streams_entry_wherever_it_is_and_counts_the_others) {
    std::string text = R"({"DelayCoefficientEnable":true,"ChannelDelayMilliseconds":[)";
    for (int k = 0; k < 1100; ++k) {
        text += R"({"InputChannel":7,"Parameters":[0.5]},)";
    }
    const std::string path = zel_test::file_with(text + R"({"InputChannel":2,"Parameters":[1]}]})");
    const file_report report = check_file(path, stream_request{2, "", 0, 48000}, false);
    EXPECT_EQ(findings_of(report),
              (std::vector<std::string>{"too_many_entries@1:59", "delay_count@1:41891"}));
    EXPECT_EQ(report.entries.size(), 1101U);
    EXPECT_EQ(report.other_bad_entries, 1000U);
}

TEST(mixing_weights, overflow_is_when_the_stage_wraps) {
    const std::pair<std::vector<float>, bool> rows[] = {
        {{1}, false},
        {{-1}, true},  // of -32768
        {{1.00003F}, false},
        {{1.00004F}, true},
        {{0.5F, 0.5F}, false},
        {{0.5F, -0.5F}, false},
        {{0.75F, -0.5F}, true},
        {{0, 0}, false},
        {{0.160189F, 0.160189F, 0.226541F, 0, 0.11327F, 0.11327F, 0.11327F, 0.11327F}, false}};
    for (const auto& [row, wraps] : rows) {
        EXPECT_EQ(row_can_wrap(row.data(), row.size()), wraps) << row[0];
    }
    EXPECT_EQ(gain_db(-0.5), "-6.0");
    EXPECT_EQ(gain_db(0.9999), "0.0");
    EXPECT_EQ(gain_db(0), "-inf");
}

}  // namespace
