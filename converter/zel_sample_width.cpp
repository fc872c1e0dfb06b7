#include "zel_sample_width.h"

#include <cstdint>
#include <cstring>

void zel_truncate_32_to_16(void* block, std::size_t samples) {
    auto* bytes = static_cast<unsigned char*>(block);
    for (std::size_t i = 0; i < samples; ++i) {
        std::int32_t wide = 0;
        std::memcpy(&wide, bytes + i * sizeof(wide), sizeof(wide));
        const auto narrow = static_cast<std::int16_t>(wide >> 16);
        std::memcpy(bytes + i * sizeof(narrow), &narrow, sizeof(narrow));
    }
}

void zel_pad_16_to_32(const void* in, std::size_t samples, void* out) {
    const auto* from = static_cast<const unsigned char*>(in);
    auto* to = static_cast<unsigned char*>(out);
    for (std::size_t i = 0; i < samples; ++i) {
        std::int16_t narrow = 0;
        std::memcpy(&narrow, from + i * sizeof(narrow), sizeof(narrow));
        const std::int32_t wide = std::int32_t{narrow} * 65536;
        std::memcpy(to + i * sizeof(wide), &wide, sizeof(wide));
    }
}
