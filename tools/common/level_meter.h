#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Level (RMS) and peak of each channel of an interleaved stream of 16- or 32-bit samples, in dB
/// below full scale.
class level_meter {
  public:
    level_meter(unsigned int channel_count, unsigned int bits);

    void add(const void* frames, std::size_t count);
    /// -infinity for silence or no frames at all.
    double rms_dbfs(unsigned int channel) const;
    double peak_dbfs(unsigned int channel) const;
    unsigned int channels() const { return static_cast<unsigned int>(squares.size()); }

  private:
    unsigned int sample_bytes;
    std::uint64_t frames_seen = 0;
    std::vector<double> squares;
    std::vector<double> peaks;
};
