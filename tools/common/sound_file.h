#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <sndfile.hh>
#include <string>

/// What an audio file holds.
struct sound_info {
    unsigned int channels = 0;
    unsigned int rate = 0;  ///< Hz
    unsigned int bits = 0;  ///< width of the card whose samples it can hold: 16, 24 or 32
    std::string encoding;   ///< "16 bits", "32 bit float"
    std::uint64_t frames = 0;

    /// "FILE: 48000 frames, 1.000 s, 48000 Hz, 2 channels, 16 bits".
    std::string text(const std::string& path) const;
};

/// Samples as they lie in a file, interleaved, full scale 1.
using sound_sink = std::function<void(const double* frames, std::size_t count)>;

/// Reads a file that libsndfile knows to its end, and gives its frames to `sink`. What is wrong, or
/// empty; a file that ends early is wrong.
std::string read_sound(const std::string& path, sound_info* info, const sound_sink& sink = {});

/// A WAV file being written, interleaved 16- or 32-bit samples. Valid from every `add` on.
class wav_writer {
  public:
    /// False with `error()` set when the file cannot be made.
    bool open(const std::string& path, unsigned int rate, unsigned int channels, unsigned int bits);
    bool add(const void* frames, std::size_t count);
    /// False when what was written could not be kept.
    bool close();
    const std::string& error() const { return message; }

  private:
    bool check(bool good);

    SndfileHandle file;
    std::string name;
    bool wide = false;
    std::string message;
};
