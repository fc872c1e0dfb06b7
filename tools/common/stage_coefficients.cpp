#include "stage_coefficients.h"

#include <tinyalsa/pcm.h>

#include <stdexcept>

#include "zel_channel_delay.h"
#include "zel_channel_mixing.h"

std::vector<std::uint32_t> delays_of_file(const std::string& path, unsigned int channels,
                                          unsigned int rate) {
    std::vector<unsigned int> delays_ms(channels);
    unsigned int* const table = delays_ms.data();
    zel_channel_delay().load_coefficient(path, &table, channels);
    std::vector<std::uint32_t> frames;
    for (const unsigned int delay_ms : delays_ms) {
        frames.push_back(zel_channel_delay::delay_frames(delay_ms, rate));
    }
    return frames;
}

std::vector<double> matrix_of_file(const std::string& path, const std::string& layout,
                                   unsigned int in, unsigned int out) {
    pcm_config from{};
    from.channels = in;
    from.rate = 48000;
    from.format = PCM_FORMAT_S16_LE;
    pcm_config to = from;
    to.channels = out;
    zel_channel_mixing stage;
    if (stage.init(path, layout, &from, &to) != 0) {
        throw std::runtime_error("no memory for the matrix");
    }
    const auto weights = stage.matrix();
    return {weights.begin(), weights.end()};
}
