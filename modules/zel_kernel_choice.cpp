#include "zel_kernel_choice.h"

#include <array>
#include <atomic>
#include <cstdlib>

#include "kernels/zel_vector_kernels.h"
#include "zel_log.h"

#if defined(ZEL_KERNELS_NEON) && !defined(__aarch64__)
#include <sys/auxv.h>
#endif

namespace {

constexpr const char* kTag = "zel_kernels";
constexpr const char* kVariable = "ZEL_FC_KERNEL";

bool has_plain() {
    return true;
}

#if defined(ZEL_KERNELS_X86)
bool has_sse2() {
    return true;
}
bool has_avx2() {
    return __builtin_cpu_supports("avx2");
}
bool has_avx512() {
    return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
}
#elif defined(ZEL_KERNELS_NEON) && defined(__aarch64__)
bool has_neon() {
    return true;
}
#elif defined(ZEL_KERNELS_NEON)
bool has_neon() {
    constexpr unsigned long kNeon = 1UL << 12;  // HWCAP_NEON of the kernel's 32-bit ARM interface
    return (getauxval(AT_HWCAP) & kNeon) != 0;
}
#endif

constexpr auto kSets = std::to_array<zel_kernel_set>({{"plain", has_plain},
#define ZEL_ROW(set) {#set, has_##set},
                                                      ZEL_EACH_KERNEL_SET(ZEL_ROW)
#undef ZEL_ROW
});

const zel_kernel_set* find(const char* name) {
    for (const zel_kernel_set& set : kSets) {
        if (std::strcmp(set.name, name) == 0) {
            return &set;
        }
    }
    return nullptr;
}

const zel_kernel_set* fastest() {
    const zel_kernel_set* best = &kSets.front();
    for (const zel_kernel_set& set : kSets) {
        if (set.supported()) {
            best = &set;
        }
    }
    return best;
}

const zel_kernel_set* from_environment() {
    const zel_kernel_set* best = fastest();
    const char* wanted = std::getenv(kVariable);
    if (wanted == nullptr) {
        return best;
    }
    const zel_kernel_set* named = find(wanted);
    if (named == nullptr || !named->supported()) {
        ZEL_LOG_PRINT(ANDROID_LOG_WARN, kTag, "%s=%s is %s here, using %s", kVariable, wanted,
                      named == nullptr ? "unknown" : "not supported", best->name);
        return best;
    }
    return named;
}

std::atomic<const zel_kernel_set*>& in_use() {
    static std::atomic<const zel_kernel_set*> set = from_environment();
    return set;
}

}  // namespace

std::span<const zel_kernel_set> zel_kernel_sets() {
    return kSets;
}

const char* zel_kernel_in_use() {
    return in_use().load(std::memory_order_relaxed)->name;
}

bool zel_use_kernel(const char* name) {
    const zel_kernel_set* named = find(name);
    if (named == nullptr || !named->supported()) {
        return false;
    }
    in_use().store(named, std::memory_order_relaxed);
    return true;
}
