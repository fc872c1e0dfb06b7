#pragma once

#include <tinyalsa/plugin.h>

namespace zel_test {

constexpr unsigned int kS16 = 1U << SNDRV_PCM_FORMAT_S16_LE;
constexpr unsigned int kS32 = 1U << SNDRV_PCM_FORMAT_S32_LE;

/// What a client asks for.
struct client_params {
    unsigned int channels = 2;
    unsigned int rate = 16000;
    unsigned int period_size = 512;
    unsigned int periods = 8;
    unsigned int sample_bits = 16;
    unsigned int format_mask = kS16;

    /// As tinyalsa hands it on: of some it sets the lower limit only.
    snd_pcm_hw_params record() const {
        snd_pcm_hw_params params{};
        const auto set = [&](int interval, unsigned int value) {
            params.intervals[interval - SNDRV_PCM_HW_PARAM_FIRST_INTERVAL].min = value;
        };
        set(SNDRV_PCM_HW_PARAM_CHANNELS, channels);
        set(SNDRV_PCM_HW_PARAM_RATE, rate);
        set(SNDRV_PCM_HW_PARAM_PERIOD_SIZE, period_size);
        set(SNDRV_PCM_HW_PARAM_PERIODS, periods);
        set(SNDRV_PCM_HW_PARAM_SAMPLE_BITS, sample_bits);
        params.masks[SNDRV_PCM_HW_PARAM_FORMAT - SNDRV_PCM_HW_PARAM_FIRST_MASK].bits[0] =
            format_mask;
        return params;
    }
};

}  // namespace zel_test
