#pragma once

#include "zel_delay_piece.h"
#include "zel_mixing_block.h"
#include "zel_mixing_selection.h"
#include "zel_planes.h"
#include "zel_src_48k_window.h"

// What every instruction set's library offers, compiled from the same files. CMake says which sets
// the target has; they are listed slowest first.

#if defined(ZEL_KERNELS_X86)
#define ZEL_EACH_KERNEL_SET(DO) DO(sse2) DO(avx2) DO(avx512)
#elif defined(ZEL_KERNELS_NEON)
#define ZEL_EACH_KERNEL_SET(DO) DO(neon)
#else
#define ZEL_EACH_KERNEL_SET(DO)
#endif

#define ZEL_DECLARE_KERNEL_SET(set)                                                        \
    namespace zel_##set {                                                                  \
        void src_reset(zel_src_window* window, std::size_t channels);                      \
        void src_convert(zel_src_window* window, std::int16_t* block, std::size_t frames); \
        void mix_16(const zel_mixing_block& block);                                        \
        void mix_32(const zel_mixing_block& block);                                        \
        std::size_t selection_width(std::size_t sample_bytes, std::size_t longest_frame);  \
        void select(const zel_mixing_selection& selection, const void* in, void* out,      \
                    std::size_t frames);                                                   \
        void round_trip(const void* in, void* out, std::size_t samples);                   \
        void delay(const zel_delay_piece& piece);                                          \
        void deinterleave(const unsigned char* frames, const zel_planes& planes);          \
        void interleave(const zel_planes& planes, unsigned char* frames);                  \
        void truncate_32_to_16(void* block, std::size_t samples);                          \
        void pad_16_to_32(const void* in, std::size_t samples, void* out);                 \
    }
ZEL_EACH_KERNEL_SET(ZEL_DECLARE_KERNEL_SET)
#undef ZEL_DECLARE_KERNEL_SET
