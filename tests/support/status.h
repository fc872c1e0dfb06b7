#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>

// Statuses, 0 or a negative errno, by their names when they are not what a test wants.

namespace zel_test {

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
