#pragma once

#include <tinyalsa/pcm.h>

namespace zel_test {

/// A stream's configuration without a buffer, of which a stage takes no notice.
inline pcm_config stream_config(unsigned int channels, unsigned int rate = 48000,
                                pcm_format format = PCM_FORMAT_S16_LE) {
    pcm_config config{};
    config.channels = channels;
    config.rate = rate;
    config.format = format;
    return config;
}

}  // namespace zel_test
