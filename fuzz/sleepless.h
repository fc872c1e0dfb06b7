#pragma once

#include <chrono>

namespace zel_fuzz {

inline constexpr std::chrono::microseconds kNoPatience{20};

/// What a sleep of this thread really takes, below a second.
extern thread_local std::chrono::nanoseconds patience;

}  // namespace zel_fuzz
