#include "zel_mixing_kernel.h"

#include <array>
#include <cstdint>
#include <cstring>

#include "kernels/zel_vector_kernels.h"
#include "zel_float_to_int.h"

namespace {

template <typename In, typename Out>
void mix_plain(const zel_mixing_block& block) {
    const auto* in = static_cast<const unsigned char*>(block.in);
    auto* out = static_cast<unsigned char*>(block.out);
    for (std::size_t frame = 0; frame < block.frames; ++frame) {
        const float* weight = block.matrix;
        for (std::size_t o = 0; o < block.out_channels; ++o) {
            float sum = 0.0F;
            for (std::size_t i = 0; i < block.in_channels; ++i) {
                In sample{};
                std::memcpy(&sample, in + i * sizeof(In), sizeof(In));
                const float product = static_cast<float>(sample) * *weight++;
                sum += product;
            }
            const auto mixed = static_cast<Out>(zel_float_to_int32(sum));
            std::memcpy(out, &mixed, sizeof(Out));
            out += sizeof(Out);
        }
        in += block.in_channels * sizeof(In);
    }
}

constexpr auto kKernels =
    std::to_array<zel_mixing_kernel>({{"plain", 2, 2, mix_plain<std::int16_t, std::int16_t>},
                                      {"plain", 2, 4, mix_plain<std::int16_t, std::int32_t>},
                                      {"plain", 4, 2, mix_plain<std::int32_t, std::int16_t>},
                                      {"plain", 4, 4, mix_plain<std::int32_t, std::int32_t>},
#define ZEL_ROWS(set) {#set, 2, 2, zel_##set::mix_16}, {#set, 4, 4, zel_##set::mix_32},
                                      ZEL_EACH_KERNEL_SET(ZEL_ROWS)
#undef ZEL_ROWS
    });

constexpr auto kSelections =
    std::to_array<zel_selection_kernel>({{"plain", nullptr, nullptr, nullptr},
#define ZEL_ROW(set) {#set, zel_##set::selection_width, zel_##set::select, zel_##set::round_trip},
                                         ZEL_EACH_KERNEL_SET(ZEL_ROW)
#undef ZEL_ROW
    });

}  // namespace

std::span<const zel_mixing_kernel> zel_mixing_kernels() {
    return kKernels;
}

zel_mixing_kernel_fn zel_find_mixing_kernel(const char* name, std::size_t in_sample_bytes,
                                            std::size_t out_sample_bytes) {
    zel_mixing_kernel_fn found = nullptr;
    for (const zel_mixing_kernel& kernel : kKernels) {
        if (kernel.in_sample_bytes == in_sample_bytes &&
            kernel.out_sample_bytes == out_sample_bytes &&
            (found == nullptr || std::strcmp(kernel.name, name) == 0)) {
            found = kernel.run;
        }
    }
    return found;
}

std::span<const zel_selection_kernel> zel_selection_kernels() {
    return kSelections;
}
