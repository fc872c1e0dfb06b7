// Mixing that only moves channels: byte shuffles within 16 bytes or word shuffles across a vector,
// for whole frames at a time. Writes a full step although the frames may not fill it; what is
// written behind them is overwritten by the next ones.

#include "zel_mixing_selection.h"
#include "zel_vector.h"
#include "zel_vector_kernels.h"

namespace {

ZEL_INLINE vec_i round_trip_of(vec_i sample) {
    return truncate_number(__builtin_convertvector(sample, vec_f));
}

#if defined(__AVX512F__)

template <std::size_t Bytes>
struct shuffler {
    static constexpr std::size_t kStep = 64;
    __m512i index;

    explicit ZEL_INLINE shuffler(const unsigned char* bytes) : index((__m512i)load_i(bytes)) {
        index = Bytes == 2 ? _mm512_maskz_srli_epi16(~__mmask32{}, index, 9)
                           : _mm512_maskz_srli_epi32(0xffff, index, 26);
    }
    ZEL_INLINE void move(const unsigned char* in, unsigned char* out) const {
        if constexpr (Bytes == 2) {
            store_i(out, (vec_i)_mm512_maskz_permutexvar_epi16(~__mmask32{}, index,
                                                               (__m512i)load_i(in)));
        } else {
            store_i(out, round_trip_of((vec_i)_mm512_maskz_permutexvar_epi32(0xffff, index,
                                                                             (__m512i)load_i(in))));
        }
    }
};

#elif defined(__AVX2__)

template <std::size_t Bytes>
struct shuffler {
    static constexpr std::size_t kStep = 32;
    __m256i index;

    explicit ZEL_INLINE shuffler(const unsigned char* bytes)
        : index((__m256i)((load_i(bytes) >> 26) & 7)) {}
    ZEL_INLINE void move(const unsigned char* in, unsigned char* out) const {
        store_i(out, round_trip_of((vec_i)_mm256_permutevar8x32_epi32((__m256i)load_i(in), index)));
    }
};
template <>
struct shuffler<2> {
    static constexpr std::size_t kStep = 16;
    __m128i index;

    explicit ZEL_INLINE shuffler(const unsigned char* bytes)
        : index(_mm_loadu_si128(reinterpret_cast<const __m128i_u*>(bytes))) {}
    ZEL_INLINE void move(const unsigned char* in, unsigned char* out) const {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i_u*>(in));
        _mm_storeu_si128(reinterpret_cast<__m128i_u*>(out), _mm_shuffle_epi8(v, index));
    }
    /// Two steps that follow each other without a gap.
    ZEL_INLINE void move_vector(const unsigned char* in, unsigned char* out) const {
        store_i(out, (vec_i)_mm256_shuffle_epi8((__m256i)load_i(in),
                                                _mm256_broadcastsi128_si256(index)));
    }
};

#elif defined(__ARM_NEON)

template <std::size_t Bytes>
struct shuffler {
    static constexpr std::size_t kStep = 16;
    uint8x16_t index;

    explicit ZEL_INLINE shuffler(const unsigned char* bytes) : index(vld1q_u8(bytes)) {}
    ZEL_INLINE void move(const unsigned char* in, unsigned char* out) const {
        const auto v = (uint8x16_t)(Bytes == 2 ? load_i(in) : round_trip_of(load_i(in)));
#if defined(__aarch64__)
        vst1q_u8(out, vqtbl1q_u8(v, index));
#else
        const uint8x8x2_t table = {{vget_low_u8(v), vget_high_u8(v)}};
        vst1q_u8(out, vcombine_u8(vtbl2_u8(table, vget_low_u8(index)),
                                  vtbl2_u8(table, vget_high_u8(index))));
#endif
    }
};

#endif

#if defined(__AVX2__) || defined(__ARM_NEON)
#define ZEL_HAS_SHUFFLE
#endif

#if defined(ZEL_HAS_SHUFFLE)

template <std::size_t Bytes>
void select_frames(const zel_mixing_selection& selection, const unsigned char* in,
                   unsigned char* out, std::size_t frames) {
    using shuffle_step = shuffler<Bytes>;
    constexpr std::size_t kStep = shuffle_step::kStep;
    constexpr std::size_t kVector = sizeof(vec_i);
    const shuffle_step shuffle_frames(selection.index);
    const std::size_t at_once = selection.at_once;
    const std::size_t in_step = at_once * selection.in_frame;
    const std::size_t out_step = at_once * selection.out_frame;
    // Frames that a full step may touch though it only moves `at_once`.
    const std::size_t shortest =
        selection.in_frame < selection.out_frame ? selection.in_frame : selection.out_frame;
    const std::size_t reach = (kStep + shortest - 1) / shortest;
    const std::size_t lead = (kVector - reinterpret_cast<std::uintptr_t>(out) % kVector) % kVector;
    if (out_step == kStep && lead < kStep && lead % selection.out_frame == 0 && frames >= reach) {
        // Some frames twice, so that no store crosses a cache line.
        shuffle_frames.move(in, out);
        in += lead / selection.out_frame * selection.in_frame;
        out += lead;
        frames -= lead / selection.out_frame;
    }
    constexpr std::size_t kUnrolled = 4;  // shorter loops are slow where they lie badly
    if constexpr (kStep < kVector) {
        if (in_step == kStep && out_step == kStep) {
            const std::size_t together = kUnrolled * kVector / kStep * at_once;
            for (; frames >= together; frames -= together) {
                for (std::size_t u = 0; u < kUnrolled; ++u) {
                    shuffle_frames.move_vector(in + u * kVector, out + u * kVector);
                }
                in += kUnrolled * kVector;
                out += kUnrolled * kVector;
            }
        }
    }
    for (; frames >= reach + (kUnrolled - 1) * at_once; frames -= kUnrolled * at_once) {
        for (std::size_t u = 0; u < kUnrolled; ++u) {
            shuffle_frames.move(in, out);
            in += in_step;
            out += out_step;
        }
    }
    for (; frames >= reach; frames -= at_once) {
        shuffle_frames.move(in, out);
        in += in_step;
        out += out_step;
    }
    // `reach` is at most as many frames as a step has samples.
    unsigned char in_rest[kStep / Bytes * kStep] = {};
    unsigned char out_rest[kStep / Bytes * kStep];
    __builtin_memcpy(in_rest, in, frames * selection.in_frame);
    for (std::size_t f = 0; f < frames; f += at_once) {
        shuffle_frames.move(in_rest + f * selection.in_frame, out_rest + f * selection.out_frame);
    }
    __builtin_memcpy(out, out_rest, frames * selection.out_frame);
}

#endif

}  // namespace

namespace ZEL_KERNEL_SET {

std::size_t selection_width([[maybe_unused]] std::size_t sample_bytes,
                            [[maybe_unused]] std::size_t longest_frame) {
#if defined(ZEL_HAS_SHUFFLE)
    const std::size_t step = sample_bytes == 2 ? shuffler<2>::kStep : shuffler<4>::kStep;
    return longest_frame <= step ? step : 0;
#else
    return 0;  // no shuffle by a variable index
#endif
}

void select([[maybe_unused]] const zel_mixing_selection& selection, [[maybe_unused]] const void* in,
            [[maybe_unused]] void* out, [[maybe_unused]] std::size_t frames) {
#if defined(ZEL_HAS_SHUFFLE)
    const auto* from = static_cast<const unsigned char*>(in);
    auto* to = static_cast<unsigned char*>(out);
    if (selection.sample_bytes == 2) {
        select_frames<2>(selection, from, to, frames);
    } else {
        select_frames<4>(selection, from, to, frames);
    }
#endif
}

void round_trip(const void* in, void* out, std::size_t samples) {
    const auto* from = static_cast<const unsigned char*>(in);
    auto* to = static_cast<unsigned char*>(out);
    constexpr std::size_t kAtOnce = 4;
    const std::size_t misaligned = reinterpret_cast<std::uintptr_t>(out) % sizeof(vec_i);
    if (samples >= kLanes && misaligned % 4 == 0) {
        // The first samples twice, so that no store crosses a cache line.
        store_i(to, round_trip_of(load_i(from)));
        const std::size_t done = sizeof(vec_i) - misaligned;
        from += done;
        to += done;
        samples -= done / 4;
    }
    for (; samples >= kAtOnce * kLanes; samples -= kAtOnce * kLanes) {
        for (std::size_t u = 0; u < kAtOnce; ++u) {
            store_i(to + u * sizeof(vec_i), round_trip_of(load_i(from + u * sizeof(vec_i))));
        }
        from += kAtOnce * sizeof(vec_i);
        to += kAtOnce * sizeof(vec_i);
    }
    for (; samples >= kLanes; samples -= kLanes) {
        store_i(to, round_trip_of(load_i(from)));
        from += sizeof(vec_i);
        to += sizeof(vec_i);
    }
    vec_i rest{};
    __builtin_memcpy(&rest, from, samples * 4);
    rest = round_trip_of(rest);
    __builtin_memcpy(to, &rest, samples * 4);
}

}  // namespace ZEL_KERNEL_SET
