#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <sndfile.hh>
#include <string>
#include <vector>

/// What an audio file holds.
struct sound_info {
    unsigned int channels = 0;
    unsigned int rate = 0;  ///< Hz
    unsigned int bits = 0;  ///< width of the card whose samples it can hold: 16, 24 or 32
    std::string encoding;   ///< in libsndfile's words
    std::uint64_t frames = 0;
    std::vector<std::string> places{};  ///< of its channels, such as FL; empty: it doesn't tell

    /// "FILE: 48000 frames, 1.000 s, 48000 Hz, 2 channels, 16 bits".
    std::string text(const std::string& path) const;
};

/// A file that libsndfile knows, as the simulated card plays it: at any place. A pipe is copied to
/// an unnamed file first.
class played_sound {
  public:
    /// None, with an empty path.
    played_sound() = default;
    /// "-" is the standard input. Throws for a file that ends early, too, or that doesn't have its
    /// channels in the order of WAV files.
    explicit played_sound(const std::string& path);
    const sound_info& info() const { return found; }
    /// What the card is to play.
    const std::string& path() const { return playable; }

  private:
    sound_info found;
    std::string playable;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> copied{nullptr, std::fclose};
};

/// The samples of a played sound, one block after the other, as the card has them: interleaved, 32
/// bits at full scale, silence behind the end.
class sound_reader {
  public:
    explicit sound_reader(const std::string& path) : file(path) {}
    unsigned int channels() const { return static_cast<unsigned int>(file.channels()); }
    const std::vector<std::int32_t>& read(std::size_t frames);
    /// Samples so far that a card's converter clips: floats beyond full scale.
    std::uint64_t clipped() const { return beyond; }

  private:
    SndfileHandle file;
    std::vector<double> floats{};
    std::vector<std::int32_t> samples{};
    std::uint64_t beyond = 0;
};

/// A WAV file being written, interleaved 16- or 32-bit samples; RF64 from 4 GiB on. Valid from
/// every `add` on. All calls throw when the file cannot be written.
class wav_writer {
  public:
    /// `most_frames`: no more will come.
    wav_writer(const std::string& path, unsigned int rate, unsigned int channels, unsigned int bits,
               std::uint64_t most_frames);
    void add(const void* frames, std::size_t count);
    /// Also tells when what was written could not be kept.
    void close();

  private:
    void check(bool good);

    std::string name;
    bool wide;
    SndfileHandle file;
};
