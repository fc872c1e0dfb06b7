#pragma once

// What the tests of the library and of whole streams take for granted: googletest, the standard
// library's everyday part, statuses, the log, streams and files.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <future>
#include <iostream>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "captured_log.h"
#include "stream_config.h"
#include "test_folder.h"

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

// Statuses, 0 or a negative errno, by their names when they are not what a test wants.

inline std::string status_text(long long status) {
    if (status >= 0 || status < -4095) {
        return std::to_string(status);
    }
#ifdef __GLIBC__
    const char* const name = strerrorname_np(static_cast<int>(-status));
#else
    const char* const name = std::strerror(static_cast<int>(-status));
#endif
    return std::to_string(status) + " (" + (name == nullptr ? "unknown" : name) + ")";
}
inline testing::AssertionResult is_status(const char* call, const char*, long long got,
                                          long long wanted) {
    return got == wanted ? testing::AssertionSuccess()
                         : testing::AssertionFailure() << call << " gives " << status_text(got)
                                                       << " instead of " << status_text(wanted);
}

}  // namespace zel_test

#define EXPECT_STATUS(call, wanted) EXPECT_PRED_FORMAT2(zel_test::is_status, call, wanted)
#define ASSERT_STATUS(call, wanted) ASSERT_PRED_FORMAT2(zel_test::is_status, call, wanted)
