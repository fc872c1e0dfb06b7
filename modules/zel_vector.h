#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__ARM_NEON)
#include <arm_neon.h>
#endif

// Vectors of floats for the stages' inner loops: four lanes everywhere, eight where the CPU has
// AVX2. Arguments are references, since only code compiled for AVX can pass eight by value.

#define ZEL_INLINE inline __attribute__((always_inline))

template <std::size_t Lanes>
struct zel_vector {
    typedef float floats __attribute__((vector_size(Lanes * sizeof(float))));
    /// At any float's address.
    typedef float any_floats
        __attribute__((vector_size(Lanes * sizeof(float)), aligned(4), may_alias));
};

// One rounding each. 32-bit ARM's compilers make scalar code of vector operators, because NEON
// flushes denormals there; our callers have made sure that none occurs.

/// sum += x
template <typename Floats>
ZEL_INLINE void zel_add(Floats& sum, const Floats& x) {
#if defined(__ARM_NEON) && !defined(__aarch64__)
    sum = (Floats)vaddq_f32((float32x4_t)sum, (float32x4_t)x);
#else
    sum += x;
#endif
}

/// sum += c * x
template <typename Floats>
ZEL_INLINE void zel_add_product(Floats& sum, float c, const Floats& x) {
#if defined(__ARM_NEON) && !defined(__aarch64__)
    zel_add(sum, (Floats)vmulq_n_f32((float32x4_t)x, c));
#else
    sum += c * x;
#endif
}
