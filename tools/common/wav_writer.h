#pragma once

#include <sndfile.h>

#include <cstddef>
#include <string>

/// A WAV file being written, interleaved 16- or 32-bit samples. Valid from every `add` on.
class wav_writer {
  public:
    wav_writer() = default;
    ~wav_writer() { close(); }
    wav_writer(const wav_writer&) = delete;
    wav_writer& operator=(const wav_writer&) = delete;

    /// False with `error()` set when the file cannot be made.
    bool open(const std::string& path, unsigned int rate, unsigned int channels, unsigned int bits);
    bool add(const void* frames, std::size_t count);
    /// False when what was written could not be kept.
    bool close();
    const std::string& error() const { return message; }

  private:
    SNDFILE* file = nullptr;
    bool wide = false;
    std::string message;
};
