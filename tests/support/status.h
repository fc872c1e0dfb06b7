#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>

// Statuses, 0 or a negative errno, by their names when they are not what a test wants.

namespace zel_test {

inline std::string status_text(long long status) {
    const char* const name =
        status < 0 && status > -4096 ? strerrorname_np(static_cast<int>(-status)) : nullptr;
    return (name == nullptr ? "" : std::string("-") + name + " = ") + std::to_string(status);
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
