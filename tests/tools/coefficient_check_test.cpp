// `zel-fc check`: its findings, their places, and that it says what the device does.

#include "coefficient_check.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "check_print.h"
#include "known_bad.h"
#include "mixing_weights.h"
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
        check_request request;
        request.stream = stream_request{file.channels, file.layout, file.outputs, 48000};
        const file_report report = check_file(file.path, request);
        EXPECT_EQ(report.kind, file.mixing ? file_kind::mixing : file_kind::delay);
        EXPECT_EQ(findings_of(report), file.findings);
        ASSERT_TRUE(report.decided);
        EXPECT_EQ(outcome_name(report.decided->result), file.outcome);
        bool logged = file.log.empty() && report.decided->log.empty();
        for (const std::string& message : report.decided->log) {
            logged = logged || (!file.log.empty() && message.find(file.log) != std::string::npos);
        }
        EXPECT_TRUE(logged) << file.log;
    }
}

/// "LINE:COLUMN: WHAT; MEND" of the first finding.
std::string first_finding(const std::string& text, file_kind kind) {
    check_request request;
    request.kind = kind;
    const file_report report = check_file(zel_test::file_with(text), request);
    if (report.findings.empty()) {
        return "none";
    }
    const finding& found = report.findings.front();
    return std::to_string(found.place.line) + ":" + std::to_string(found.place.column) + ": " +
           found.what + "; " + found.mend;
}

TEST(check_file, names_mistakes_of_syntax_and_their_places) {
    const std::string in_file = "{\n\"DelayCoefficientEnable\": true,\n\"Name\": ";
    const struct {
        std::string text;
        const char* place;
        const char* words;
    } cases[] = {
        {"{\n\"a\": [1, 0],\n}", "2:12", "a comma before the closing bracket"},
        {"{\n/* c */ \"a\": 1}", "2:1", "a comment"},
        {"{\n'Name': 2}", "2:1", "a single quote"},
        {"{\nName: 2}", "2:1", "a name without quotes"},
        {"{\n\"Name\" 2}", "2:8", "a colon is missing"},
        {"\xEF\xBB\xBF{\"\xC3\xA4\" 2}", "1:6", "a colon is missing"},
        {in_file + "1/2}", "3:10", "a fraction"},
        {in_file + "[1 2]}", "3:12", "a comma is missing between two values"},
        {in_file + "True}", "3:9", "a word that JSON does not know"},
        {in_file + "\xE2\x80\x9Cx\xE2\x80\x9D}", "3:9", "a curly quote"},
        {in_file + "[[1]", "3:13", "the text ends too early; complete it; still to be closed: ]}"},
        {"", "1:1", "the file is empty"},
        {"\xFF\xFE{" + std::string(1, '\0') + "}" + std::string(1, '\0'), "1:1", "text in UTF-16"},
        {"{" + std::string(1, '\0') + "}" + std::string(1, '\0'), "1:1", "text in UTF-16"},
        {"{\"a\":\n1" + std::string(1, '\0') + "}", "2:2", "a zero byte"},
        {std::string(1500, '[') + std::string(1500, ']'), "1:1001", "values in more brackets"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(
            first_finding(c.text, file_kind::delay).find(std::string(c.place) + ": " + c.words), 0U)
            << c.text << "\n"
            << first_finding(c.text, file_kind::delay);
    }
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
    EXPECT_EQ(decibels(0.5), "-6.0 dB");
    EXPECT_EQ(decibels(0.9999), "0.0 dB");
    EXPECT_EQ(decibels(0), "-inf dB");
}

}  // namespace
