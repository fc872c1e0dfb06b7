#pragma once

#include <tinyalsa/pcm.h>

namespace zel_test {

/// What the stages look at in a stream's configuration; `rate` in Hz.
inline pcm_config stream_of(unsigned int channels, unsigned int rate = 48000,
                            pcm_format format = PCM_FORMAT_S16_LE) {
    pcm_config config{};
    config.channels = channels;
    config.rate = rate;
    config.format = format;
    return config;
}

}  // namespace zel_test
