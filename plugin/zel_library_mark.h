#pragma once

#include <sound/asound.h>
#include <tinyalsa/pcm.h>
// tinyalsa's plugin interface uses the kernel's sound records.
#include <tinyalsa/plugin.h>

#include <cstdint>

#include "zel_card_names.h"

#define ZEL_VERSION "1.0.0"
#define ZEL_LIBRARY_MARK "format converter of card 70, version "

/// What a built library tells of itself without being asked: `strings` shows the text, the doctor
/// reads the rest from its file.
struct zel_library_mark {
    char text[48] = ZEL_LIBRARY_MARK ZEL_VERSION;
    std::uint32_t operations = sizeof(struct pcm_plugin_ops) / sizeof(void*);
    std::uint32_t active_number = zel_card_names::kActiveNumber;
    std::uint32_t layout_number = zel_card_names::kLayoutNumber;
};
