#pragma once

#include <cstdint>
#include <limits>

/// Truncates toward zero, saturating at the ends of the range; a NaN gives 0.
inline std::int32_t zel_float_to_int32(float value) {
    constexpr float kEnd = 2147483648.0F;
    if (value >= kEnd) {
        return std::numeric_limits<std::int32_t>::max();
    }
    if (value <= -kEnd) {
        return std::numeric_limits<std::int32_t>::min();
    }
    return value == value ? static_cast<std::int32_t>(value) : 0;
}
