#include "zel_planes.h"

#include <array>

#include "kernels/zel_vector_kernels.h"

namespace {

constexpr auto kRows = std::to_array<zel_planes_row>({{"plain", nullptr, nullptr},
#define ZEL_ROW(set) {#set, zel_##set::deinterleave, zel_##set::interleave},
                                                      ZEL_EACH_KERNEL_SET(ZEL_ROW)
#undef ZEL_ROW
});

}  // namespace

std::span<const zel_planes_row> zel_planes_rows() {
    return kRows;
}
