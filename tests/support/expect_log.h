#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <string_view>

#include "captured_log.h"

// What tests ask of the captured log. The end of it is shown behind every test that fails.

namespace zel_test {

/// Whether an entry has `substring`, from `operation` if one is named.
inline testing::AssertionResult log_has(std::string_view operation, std::string_view substring) {
    if (log_count(substring, operation) != 0) {
        return testing::AssertionSuccess() << "the log has \"" << substring << '"';
    }
    return testing::AssertionFailure() << "the log has no \"" << substring << "\" of "
                                       << (operation.empty() ? "any" : operation);
}
inline testing::AssertionResult log_has(std::string_view substring) {
    return log_has({}, substring);
}

class log_printer : public testing::EmptyTestEventListener {
    void OnTestEnd(const testing::TestInfo& test) override {
        if (test.result()->Failed()) {
            const std::vector<std::string> entries = log_entries();
            const auto shown = std::min<std::ptrdiff_t>(std::ssize(entries), 40);
            std::cout << "the log's last " << shown << " of " << entries.size() << " entries:\n";
            std::for_each(entries.end() - shown, entries.end(),
                          [](const std::string& entry) { std::cout << "  " << entry << '\n'; });
        }
    }
};
inline const bool log_is_printed = [] {
    testing::UnitTest::GetInstance()->listeners().Append(new log_printer);
    return true;
}();

}  // namespace zel_test
