#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "zel_delay_piece.h"
#include "zel_delay_planes.h"

/// Kernels for delays that differ; the plain row, the first, has none: there each channel has a
/// line of its own.
struct zel_delay_row {
    const char* name;
    zel_delay_kernel_fn merge;
    zel_deinterleave_fn deinterleave;
    zel_interleave_fn interleave;
    std::size_t (*most_merged)();  ///< more different delays are faster in planes than merged
};
std::span<const zel_delay_row> zel_delay_rows();

/// Delays the channels of an interleaved stream, all of them in one ring of whole frames as long as
/// the longest delay. Starts from silence. One thread at a time.
class zel_delay_history {
  public:
    /// `delays` are frames, one per channel and not all zero. Throws std::bad_alloc.
    zel_delay_history(std::span<const std::uint32_t> delays, std::size_t sample_bytes,
                      zel_delay_kernel_fn merge);

    /// Delays `frames` frames; `in` and `out` are different blocks. Allocates nothing.
    void process(const unsigned char* in, unsigned char* out, std::size_t frames);

  private:
    /// Channels of one delay.
    struct group {
        std::size_t delay;
        std::size_t run;              ///< frames that its source goes on for
        const unsigned char* source;  ///< the next frame of it
    };

    void find_source(group& channels, const unsigned char* in, std::size_t frame,
                     std::size_t frames) const;
    void keep(const unsigned char* in, std::size_t frames);

    zel_delay_kernel_fn fnMerge;
    std::size_t szFrameBytes;
    std::size_t szGroupCount = 0;
    std::size_t szRingFrames = 0;  ///< the longest delay
    std::size_t szWrite = 0;       ///< frame of the ring that the next input frame replaces
    std::unique_ptr<group[]> pstGroups;
    std::unique_ptr<const unsigned char*[]> ppu8Sources;
    std::unique_ptr<unsigned char[]> pu8Masks;
    std::unique_ptr<unsigned char[]> pu8Ring;
};
