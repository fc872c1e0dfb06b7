#include "stage_probe.h"

#include <tinyalsa/pcm.h>

#include <algorithm>
#include <stdexcept>

#include "zel_channel_delay.h"
#include "zel_channel_mixing.h"

std::vector<std::uint32_t> probe_delays(const std::string& path, unsigned int channels,
                                        unsigned int rate) {
    pcm_config config{};
    config.channels = channels;
    config.rate = rate;
    config.format = PCM_FORMAT_S16_LE;
    zel_channel_delay stage;
    if (stage.init(path, &config) != 0) {
        throw std::runtime_error("no memory for the delays");
    }
    std::vector<std::int16_t> in(std::size_t{rate} * channels);
    std::vector<std::int16_t> out(in.size());
    std::fill_n(in.begin(), channels, std::int16_t{1});
    std::vector<std::uint32_t> delays(channels);
    std::uint32_t begin = 0;
    for (unsigned int found = 0; found < channels; begin += rate) {
        if (begin > rate * (zel_channel_delay::kMaxDelayMs / 1000) ||
            stage.process(in.data(), out.data(), static_cast<int>(in.size() * sizeof(in[0]))) !=
                0) {
            throw std::runtime_error("the delay stage lost an impulse");
        }
        for (std::size_t k = 0; k < out.size(); ++k) {
            if (out[k] != 0) {
                delays[k % channels] = begin + static_cast<std::uint32_t>(k / channels);
                ++found;
            }
        }
        std::fill_n(in.begin(), channels, std::int16_t{0});
    }
    return delays;
}

std::vector<double> probe_matrix(const std::string& path, const std::string& layout,
                                 unsigned int in, unsigned int out) {
    pcm_config from{};
    from.channels = in;
    from.rate = 48000;
    from.format = PCM_FORMAT_S32_LE;
    pcm_config to = from;
    to.channels = out;
    zel_channel_mixing stage;
    if (stage.init(path, layout, &from, &to) != 0) {
        throw std::runtime_error("no memory for the matrix");
    }
    constexpr std::int32_t kOne = 1 << 24;
    // Frame i has the impulse in channel i.
    std::vector<std::int32_t> impulses(std::size_t{in} * in);
    for (std::size_t i = 0; i < in; ++i) {
        impulses[i * in + i] = kOne;
    }
    std::vector<std::int32_t> mixed(std::size_t{in} * out);
    stage.process(impulses.data(), static_cast<unsigned int>(impulses.size() * sizeof(impulses[0])),
                  mixed.data(), static_cast<unsigned int>(mixed.size() * sizeof(mixed[0])));
    std::vector<double> weights(mixed.size());
    for (std::size_t i = 0; i < in; ++i) {
        for (std::size_t o = 0; o < out; ++o) {
            weights[o * in + i] = static_cast<double>(mixed[i * out + o]) / kOne;
        }
    }
    return weights;
}
