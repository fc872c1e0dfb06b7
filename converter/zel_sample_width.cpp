#include "zel_sample_width.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "kernels/zel_vector_kernels.h"
#include "zel_kernel_choice.h"

namespace {

void truncate_plain(void* block, std::size_t samples) {
    auto* bytes = static_cast<unsigned char*>(block);
    for (std::size_t i = 0; i < samples; ++i) {
        std::int32_t wide = 0;
        std::memcpy(&wide, bytes + i * sizeof(wide), sizeof(wide));
        const auto narrow = static_cast<std::int16_t>(wide >> 16);
        std::memcpy(bytes + i * sizeof(narrow), &narrow, sizeof(narrow));
    }
}

void pad_plain(const void* in, std::size_t samples, void* out) {
    const auto* from = static_cast<const unsigned char*>(in);
    auto* to = static_cast<unsigned char*>(out);
    for (std::size_t i = 0; i < samples; ++i) {
        std::int16_t narrow = 0;
        std::memcpy(&narrow, from + i * sizeof(narrow), sizeof(narrow));
        const std::int32_t wide = std::int32_t{narrow} * 65536;
        std::memcpy(to + i * sizeof(wide), &wide, sizeof(wide));
    }
}

constexpr auto kRows = std::to_array<zel_width_row>({{"plain", truncate_plain, pad_plain},
#define ZEL_ROW(set) {#set, zel_##set::truncate_32_to_16, zel_##set::pad_16_to_32},
                                                     ZEL_EACH_KERNEL_SET(ZEL_ROW)
#undef ZEL_ROW
});

}  // namespace

std::span<const zel_width_row> zel_width_rows() {
    return kRows;
}

void zel_truncate_32_to_16(void* block, std::size_t samples) {
    zel_kernel_row(zel_width_rows(), zel_kernel_in_use()).truncate_32_to_16(block, samples);
}

void zel_pad_16_to_32(const void* in, std::size_t samples, void* out) {
    zel_kernel_row(zel_width_rows(), zel_kernel_in_use()).pad_16_to_32(in, samples, out);
}
