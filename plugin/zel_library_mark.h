#pragma once

#include <cstdint>

#include "zel_card_names.h"

#define ZEL_VERSION "1.0.0"

/// What a built library tells of itself without being asked: `strings` shows the text, the doctor
/// reads the rest from its file.
struct zel_library_mark {
    char text[48] = "format converter of card 70, version " ZEL_VERSION;
    std::uint32_t active_number = zel_card_names::kActiveNumber;
    std::uint32_t layout_number = zel_card_names::kLayoutNumber;
};
inline constexpr const char* kZelMarkText = "format converter of card 70, version ";
