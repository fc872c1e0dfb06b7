#pragma once

#include <cstdint>
#include <string>

/// What an audio file holds.
struct wav_info {
    unsigned int channels = 0;
    unsigned int rate = 0;  ///< Hz
    unsigned int bits = 0;  ///< width of the card whose samples it can hold: 16, 24 or 32
    std::uint64_t frames = 0;
};

/// Looks into a file that libsndfile reads. What is wrong, or empty.
std::string read_wav_info(const std::string& path, wav_info* info);
