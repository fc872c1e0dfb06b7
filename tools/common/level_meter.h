#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "json_output.h"

/// "-6.0", with one digit and never as "-0.0".
std::string decibels_text(double db);

/// Level (RMS) and peak of each channel of an interleaved stream of 16- or 32-bit samples, in dB
/// below full scale.
class level_meter {
  public:
    level_meter(unsigned int channel_count, unsigned int bits);

    void add(const void* frames, std::size_t count);
    /// -infinity for silence or no frames at all.
    double rms_dbfs(unsigned int channel) const;
    double peak_dbfs(unsigned int channel) const;
    /// Samples at the end of the scale: the loudest there are, or clipped.
    std::uint64_t at_full_scale() const { return full; }
    /// A table: channel, level, peak.
    void print() const;
    json levels() const;
    unsigned int channels() const { return static_cast<unsigned int>(squares.size()); }

  private:
    unsigned int sample_bytes;
    std::uint64_t frames_seen = 0;
    std::uint64_t full = 0;
    std::vector<double> squares;
    std::vector<double> peaks;
};
