#pragma once

#include <sndfile.h>

#include <cstdint>
#include <vector>

/// An audio file that libsndfile reads, as 32-bit full-scale samples. Any frame can be asked for at
/// any time, but one after the other is fast: a window of the file is kept in memory, so that its
/// length doesn't matter.
class loopback_wav {
  public:
    loopback_wav() = default;
    ~loopback_wav() { sf_close(file); }
    loopback_wav(const loopback_wav&) = delete;
    loopback_wav& operator=(const loopback_wav&) = delete;

    /// 0, or -2 or -22 for a file that isn't there or holds no audio. Once only.
    int open(const char* path);
    unsigned int channels() const { return static_cast<unsigned int>(info.channels); }
    unsigned int rate() const { return static_cast<unsigned int>(info.samplerate); }
    std::uint64_t frames() const { return static_cast<std::uint64_t>(info.frames); }
    /// `frame` is less than frames(). Silence, and a message, where the file cannot be read.
    std::int32_t sample(std::uint64_t frame, unsigned int channel);

  private:
    void load_window(std::uint64_t first);
    sf_count_t read_window(sf_count_t count);

    SNDFILE* file = nullptr;
    SF_INFO info{};
    std::vector<std::int32_t> window;
    std::vector<double> floats;  ///< only for files of floating-point samples
    std::uint64_t window_first = 0;
    std::uint64_t window_frames = 0;
    bool told = false;
};
