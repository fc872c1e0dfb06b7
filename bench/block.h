#pragma once

#include <cstddef>
#include <random>
#include <vector>

/// Frames of one 32 ms block at 48 kHz.
inline constexpr std::size_t kBlockFrames = 1536;

/// One block of random interleaved samples, the same for everyone.
template <typename Sample>
std::vector<Sample> random_block(std::size_t channels) {
    std::mt19937 random(1);
    std::vector<Sample> block(kBlockFrames * channels);
    for (Sample& sample : block) {
        sample = static_cast<Sample>(random());
    }
    return block;
}

void register_stages();
void register_peers();
