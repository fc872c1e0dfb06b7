#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "zel_delay_history.h"

/// Delays the channels of an interleaved stream, each in a ring of its own: for many different
/// delays, because every sample is moved twice however many there are. Starts from silence. One
/// thread at a time.
class zel_planar_delay {
  public:
    /// Whether this is the faster way for such delays, and can be gone.
    static bool suits(std::span<const std::uint32_t> delays, std::size_t sample_bytes,
                      const zel_delay_row& row);

    /// `delays` are frames, one per channel. Throws std::bad_alloc.
    zel_planar_delay(std::span<const std::uint32_t> delays, std::size_t sample_bytes,
                     const zel_delay_row& row);

    /// Delays `frames` frames; `in` and `out` are different blocks. Allocates nothing.
    void process(const unsigned char* in, unsigned char* out, std::size_t frames);

  private:
    /// Frames at a time: one 32 ms block. Every end of a ring makes a piece, and pieces cost.
    static constexpr std::size_t kChunkFrames = 1536;

    void take_in(const unsigned char* in, std::size_t frames, std::size_t behind);
    void give(unsigned char* out, std::size_t frames, std::size_t behind);

    zel_delay_row stRow;
    std::size_t szChannels;
    std::size_t szSampleBytes;
    std::size_t szRingFrames;  ///< the longest delay and a chunk
    std::size_t szWrite = 0;   ///< frame of the rings that the next input frame goes to
    std::unique_ptr<std::size_t[]> pszDelays;
    std::unique_ptr<unsigned char*[]> ppu8Planes;  ///< where the kernels begin
    std::unique_ptr<unsigned char[]> pu8Rings;
};
