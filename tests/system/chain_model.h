#pragma once

#include <cstdint>
#include <deque>
#include <vector>

// A slow model of what a stream's samples go through, written apart from the product: frame by
// frame from the formulas, on the simulated card's ramp.

namespace zel_test {

/// What the card delivers and what the client asks for; the card runs at 48000 Hz.
struct stream_setup {
    int card_bits;  ///< 16, 24 or 32
    unsigned int card_channels;
    unsigned int client_bits;  ///< 16 or 32
    unsigned int client_channels;
    unsigned int client_rate;  ///< 16000 or 48000 Hz
};

using weight_matrix = std::vector<std::vector<float>>;

/// Delay of each channel in milliseconds in the tests' coefficient file: up to more than two
/// blocks.
std::vector<int> delays_for(unsigned int channels);
/// The tests' matrix for a layout: "1.0" takes input o at half and the next one at a quarter into
/// output o, so that no sum leaves 16 bits; "4.0" and "5.1" likewise from other inputs; any other
/// layout, or one with more channels than inputs, has no entry, which gives the identity.
weight_matrix matrix_for(const char* layout, unsigned int in, unsigned int out);
bool has_matrix(const char* layout, unsigned int in);
/// Writes coefficient files with all of the above for 1 to 16 inputs; the folder they are in.
const char* write_coefficients();

/// The client's stream from an open or a restart on, block by block.
class chain_model {
  public:
    chain_model(const stream_setup& wanted, weight_matrix weights)
        : chain_model(wanted, std::move(weights), delays_for(wanted.card_channels)) {}
    chain_model(const stream_setup& wanted, weight_matrix weights,
                const std::vector<int>& delays_ms);

    /// From the next block on.
    void set_matrix(weight_matrix weights) { matrix = std::move(weights); }
    /// Gain of the card's even and odd channels in percent, from the next block on.
    void set_volume(int even, int odd);
    /// The next 32 ms of interleaved client samples.
    std::vector<std::int32_t> next_block();

  private:
    std::int32_t card_sample(std::int64_t frame, unsigned int channel) const;
    std::vector<std::int32_t> mixed_frame() const;

    stream_setup setup;
    weight_matrix matrix;
    bool converts;
    bool truncates;
    std::int64_t frame = 0;  ///< of the card, the next one
    /// Samples that the card has delivered and that a delay still needs.
    std::vector<std::deque<std::int32_t>> delay_lines;
    /// Each output channel's mixed samples for the conversion, from 237 frames before the block on.
    std::vector<std::vector<float>> mixed_past;
    int volume[2] = {100, 100};
};

}  // namespace zel_test
