// The table of messages against the log calls in the sources: each is there, with its tag and
// level, and nothing else is.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "project_file.h"

using zel_test::content;
using zel_test::kRoot;

namespace {

using texts = std::set<std::string>;

const texts kFileTags{"zel_channel_mixing", "zel_channel_delay"};

std::string entry(const std::string& tag, const std::string& level, const std::string& text) {
    return tag + " " + level + ": " + text;
}

/// The string literals that stand one after the other from `at` on, as they are written.
std::string literals(const std::string& source, std::size_t at) {
    std::string text;
    while (at < source.size() && source[at] == '"') {
        std::size_t end = at + 1;
        while (source[end] != '"') {
            end += source[end] == '\\' ? 2U : 1U;
        }
        text += source.substr(at + 1, end - at - 1);
        at = source.find_first_not_of(" \n\\", end + 1);
    }
    return text;
}

texts tags_of(const std::string& arguments, const std::string& source) {
    std::smatch found;
    if (arguments.find("nullptr") != std::string::npos) {
        return {""};
    }
    static const std::regex constant("kTag = \"(\\w+)\"");
    if (arguments.find("kTag") != std::string::npos && std::regex_search(source, found, constant)) {
        return {found[1]};
    }
    return arguments.find(" tag,") != std::string::npos ? kFileTags : texts{"unknown tag"};
}

void add_calls(const std::string& source, texts* to) {
    static const std::regex call("\\b(ZEL_FC_LOG([EWIT])|ZEL_LOG_PRINT)\\(");
    for (std::sregex_iterator found(source.begin(), source.end(), call), end; found != end;
         ++found) {
        const auto begin = static_cast<std::size_t>(found->position() + found->length());
        const std::size_t quote = source.find('"', begin);
        const std::string arguments = source.substr(begin, quote - begin);
        const std::string text = literals(source, quote);
        ASSERT_EQ(arguments.find(';'), std::string::npos) << "no text before: " << arguments;
        ASSERT_NE(text, "%s") << "the text must stand at the call: " << arguments;
        if ((*found)[2].matched) {
            const std::string level = (*found)[2] == "I" ? "D" : std::string((*found)[2]);
            to->insert(entry("zel_tinyalsa_format_converter", level, text));
            continue;
        }
        const std::size_t priority = arguments.find("ANDROID_LOG_") + 12;
        for (const std::string& tag : tags_of(arguments, source)) {
            to->insert(entry(tag, arguments.substr(priority, 1), text));
        }
    }
}

texts logged() {
    texts found;
    for (const char* folder : {"/plugin", "/converter", "/modules"}) {
        for (const auto& file : std::filesystem::recursive_directory_iterator(kRoot + folder)) {
            const std::string name = file.path().filename().string();
            const std::string kind = file.path().extension().string();
            if ((kind == ".cpp" || kind == ".h") && name != "zel_log.h" && name != "zel_fc_log.h") {
                add_calls(content(file.path()), &found);
            }
        }
    }
    return found;
}

texts documented() {
    static const std::regex tag("`(\\w+)`");
    static const std::regex row("^\\| `(.*)` \\| ([EWDT])(, ([EWDT]))? \\| .+ \\|$");
    texts found;
    texts tags;
    std::istringstream lines(content(kRoot + "/android/messages.md"));
    for (std::string line; std::getline(lines, line);) {
        std::smatch parts;
        if (line.rfind("## ", 0) == 0) {
            tags = texts(std::sregex_token_iterator(line.begin(), line.end(), tag, 1), {});
            tags = tags.empty() ? texts{""} : tags;
        } else if (std::regex_match(line, parts, row)) {
            for (const std::string& one : tags) {
                for (const std::string& level : {parts[2].str(), parts[4].str()}) {
                    EXPECT_TRUE(level.empty() || found.insert(entry(one, level, parts[1])).second)
                        << "twice: " << line;
                }
            }
        } else {
            EXPECT_TRUE(line.rfind("| `", 0) != 0) << "no row: " << line;
        }
    }
    return found;
}

TEST(messages, are_all_in_the_table_and_the_table_has_no_others) {
    const texts calls = logged();
    const texts table = documented();
    EXPECT_GT(calls.size(), 200U);
    std::vector<std::string> differing;
    std::set_symmetric_difference(calls.begin(), calls.end(), table.begin(), table.end(),
                                  std::back_inserter(differing));
    for (const std::string& one : differing) {
        ADD_FAILURE() << (calls.count(one) != 0 ? "not in android/messages.md: "
                                                : "nowhere logged: ")
                      << one;
    }
}

}  // namespace
