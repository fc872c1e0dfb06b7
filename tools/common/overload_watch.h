#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "chain_report.h"
#include "sound_file.h"
#include "zel_channel_delay.h"
#include "zel_channel_mixing.h"

/// Follows a file that the card plays through stages like the stream's own, with room for the sums
/// that the stream's width has no room for.
class overload_watch {
  public:
    overload_watch(const chain_report& chain, const std::string& file);
    /// The next frames of the card.
    void play(std::size_t frames);
    /// Mixed samples beyond full scale.
    std::uint64_t mixed() const { return overloads; }
    /// Warns of those, of input that was clipped, and of `full_scale` samples of the client behind
    /// a rate conversion.
    void tell(std::uint64_t full_scale) const;

  private:
    bool works = false;
    bool converts_rate;
    bool narrow;         ///< the stream's stages take 16 bits
    unsigned int shift;  ///< of the played samples: to 16 bits, or one that leaves 32-bit sums room
    unsigned int ins;
    unsigned int outs;
    sound_reader file;
    zel_channel_delay delay;
    zel_channel_mixing mixing;
    std::uint64_t overloads = 0;
};
