#pragma once

#include <cstdint>

#include "loopback_card.h"
#include "loopback_wav.h"

/// What one stream of the card plays: a synthetic signal or a WAV file, in the stream's format.
class loopback_source {
  public:
    /// Prepares the card's chosen signal. 0, or -2 or -22 for a WAV file that isn't there or is
    /// none.
    int open(unsigned int channels, unsigned int rate, int alsa_format);
    unsigned int frame_bytes() const { return channels * (narrow() ? 2 : 4); }
    /// Writes `frames` interleaved frames, the first of which is the stream's `first`.
    void fill(std::uint64_t first, std::uint32_t frames, unsigned char* out);

  private:
    bool narrow() const;
    std::int32_t sample(std::uint64_t frame, unsigned int channel);
    std::int32_t wav_sample(std::uint64_t frame, unsigned int channel);
    std::int32_t wav_frame(std::uint64_t frame, unsigned int channel);

    unsigned int channels = 0;
    unsigned int rate = 0;
    int format = 0;
    int signal = SIGNAL_SILENCE;
    loopback_wav wav;
};
