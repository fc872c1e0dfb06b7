#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "zel_delay_history.h"
#include "zel_planes.h"

/// Delays the channels of an interleaved stream, each from a history of its own: for many
/// different delays, because every sample is moved twice however many there are. Starts from
/// silence. One thread at a time.
class zel_planar_delay {
  public:
    /// Whether this is the faster way for such delays, and can be gone.
    static bool suits(std::span<const std::uint32_t> delays, std::size_t sample_bytes);

    /// `delays` are frames, one per channel. Throws std::bad_alloc.
    zel_planar_delay(std::span<const std::uint32_t> delays, std::size_t sample_bytes,
                     const zel_planes_row& row);

    /// Delays `frames` frames; `in` and `out` are different blocks. Allocates nothing.
    void process(const unsigned char* in, unsigned char* out, std::size_t frames);

  private:
    /// More different delays are faster in planes than merged.
    static constexpr std::size_t kMostMerged = 4;
    /// Bytes of the planes that are gone through at a time: they stay in the first-level cache.
    static constexpr std::size_t kChunkBytes = std::size_t{12} * 1024;

    void make_room(std::size_t frames);

    zel_planes_row stRow;
    std::size_t szChannels;
    std::size_t szSampleBytes;
    std::size_t szChunkFrames;  ///< taken in at a time
    std::size_t szLongest;      ///< delay, in frames
    std::size_t szRoom;         ///< frames that each plane has room for
    std::size_t szFilled;       ///< frames in the planes, at least the longest delay
    std::unique_ptr<std::size_t[]> pszDelays;
    std::unique_ptr<unsigned char*[]> ppu8Planes;  ///< where the kernels begin
    std::unique_ptr<unsigned char[]> pu8Planes;
};
