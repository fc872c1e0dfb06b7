#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "zel_delay_piece.h"

/// Kernels for delays that differ; the plain row, the first, has none: there each channel has a
/// line of its own.
struct zel_delay_row {
    const char* name;
    zel_delay_kernel_fn merge;
};
std::span<const zel_delay_row> zel_delay_rows();

/// Storage for that many frames, silent. Throws std::bad_alloc, too, when their bytes exceed
/// `size_t`.
std::unique_ptr<unsigned char[]> zel_delay_storage(std::size_t frames, std::size_t frame_bytes);

/// Delays the channels of an interleaved stream, all of them from one history of whole frames.
/// Starts from silence. One thread at a time.
class zel_delay_history {
  public:
    /// `delays` are frames, one per channel and not all zero. Throws std::bad_alloc.
    zel_delay_history(std::span<const std::uint32_t> delays, std::size_t sample_bytes,
                      zel_delay_kernel_fn merge);

    /// Delays `frames` frames; `in` and `out` are different blocks. Allocates nothing.
    void process(const unsigned char* in, unsigned char* out, std::size_t frames);

  private:
    void give(unsigned char* out, const unsigned char* now, std::size_t frames);

    zel_delay_kernel_fn fnMerge;
    std::size_t szFrameBytes;
    std::size_t szGroupCount = 0;
    std::size_t szLongest;                     ///< delay, in frames
    std::size_t szShortest;                    ///< delay, in frames
    std::size_t szRoom;                        ///< frames that the history has room for
    std::size_t szFilled;                      ///< frames in it, at least the longest delay
    std::unique_ptr<std::size_t[]> pszDelays;  ///< of each group of equally delayed channels
    std::unique_ptr<const unsigned char*[]> ppu8Sources;
    std::unique_ptr<unsigned char[]> pu8Masks;
    std::unique_ptr<unsigned char[]> pu8History;
};
