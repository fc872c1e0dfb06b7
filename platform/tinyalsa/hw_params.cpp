// The kernel's record of hardware parameters, and how a request is fitted into a plugin's limits.

#include "hw_params.h"

#include <algorithm>
#include <iterator>
#include <limits>

snd_interval* interval_of(snd_pcm_hw_params* params, int param) {
    return &params->intervals[param - SNDRV_PCM_HW_PARAM_FIRST_INTERVAL];
}

snd_mask* mask_of(snd_pcm_hw_params* params, int param) {
    return &params->masks[param - SNDRV_PCM_HW_PARAM_FIRST_MASK];
}

namespace {

void set_range(snd_pcm_hw_params* params, int param, unsigned int min, unsigned int max) {
    snd_interval* range = interval_of(params, param);
    *range = {};
    range->min = min;
    range->max = max;
    range->integer = 1;
}

void set_value(snd_pcm_hw_params* params, int param, unsigned int value) {
    set_range(params, param, value, value);
}

/// Requests above a maximum pass: the plugin itself has the last word on them.
unsigned int raised(unsigned int wanted, unsigned int min) {
    return std::max(wanted, min);
}

constexpr unsigned int kSmallestSampleBytes = 2;

}  // namespace

int alsa_format(pcm_format format) {
    switch (format) {
        case PCM_FORMAT_S8:
            return SNDRV_PCM_FORMAT_S8;
        case PCM_FORMAT_S16_LE:
            return SNDRV_PCM_FORMAT_S16_LE;
        case PCM_FORMAT_S16_BE:
            return SNDRV_PCM_FORMAT_S16_BE;
        case PCM_FORMAT_S24_LE:
            return SNDRV_PCM_FORMAT_S24_LE;
        case PCM_FORMAT_S24_BE:
            return SNDRV_PCM_FORMAT_S24_BE;
        case PCM_FORMAT_S24_3LE:
            return SNDRV_PCM_FORMAT_S24_3LE;
        case PCM_FORMAT_S24_3BE:
            return SNDRV_PCM_FORMAT_S24_3BE;
        case PCM_FORMAT_S32_LE:
            return SNDRV_PCM_FORMAT_S32_LE;
        case PCM_FORMAT_S32_BE:
            return SNDRV_PCM_FORMAT_S32_BE;
        case PCM_FORMAT_FLOAT_LE:
            return SNDRV_PCM_FORMAT_FLOAT_LE;
        case PCM_FORMAT_FLOAT_BE:
            return SNDRV_PCM_FORMAT_FLOAT_BE;
        default:
            return -1;
    }
}

snd_pcm_hw_params any_hw_params() {
    snd_pcm_hw_params params{};
    for (auto& mask : params.masks) {
        std::fill_n(mask.bits, std::size(mask.bits), ~0U);
    }
    for (auto& range : params.intervals) {
        range.max = std::numeric_limits<unsigned int>::max();
    }
    return params;
}

void limit_hw_params(snd_pcm_hw_params* params, const pcm_plugin_hw_constraints& limits) {
    mask_of(params, SNDRV_PCM_HW_PARAM_ACCESS)->bits[0] = static_cast<unsigned int>(limits.access);
    snd_mask* format = mask_of(params, SNDRV_PCM_HW_PARAM_FORMAT);
    format->bits[0] = static_cast<unsigned int>(limits.format);
    format->bits[1] = static_cast<unsigned int>(limits.format >> 32);
    set_range(params, SNDRV_PCM_HW_PARAM_SAMPLE_BITS, limits.bit_width.min, limits.bit_width.max);
    set_range(params, SNDRV_PCM_HW_PARAM_CHANNELS, limits.channels.min, limits.channels.max);
    set_range(params, SNDRV_PCM_HW_PARAM_RATE, limits.rate.min, limits.rate.max);
    set_range(params, SNDRV_PCM_HW_PARAM_PERIODS, limits.periods.min, limits.periods.max);
    set_range(params, SNDRV_PCM_HW_PARAM_PERIOD_BYTES, limits.period_bytes.min,
              limits.period_bytes.max);
    set_range(params, SNDRV_PCM_HW_PARAM_PERIOD_SIZE,
              limits.period_bytes.min / kSmallestSampleBytes,
              limits.period_bytes.max / kSmallestSampleBytes);
}

snd_pcm_hw_params request_hw_params(const pcm_config& config, bool mmap,
                                    const pcm_plugin_hw_constraints& limits) {
    snd_pcm_hw_params params = any_hw_params();
    limit_hw_params(&params, limits);
    mask_of(&params, SNDRV_PCM_HW_PARAM_ACCESS)->bits[0] =
        1U << (mmap ? SNDRV_PCM_ACCESS_MMAP_INTERLEAVED : SNDRV_PCM_ACCESS_RW_INTERLEAVED);
    const int format = alsa_format(config.format);
    snd_mask* formats = mask_of(&params, SNDRV_PCM_HW_PARAM_FORMAT);
    formats->bits[0] = format >= 0 && format < 32 ? 1U << format : 0;
    formats->bits[1] = 0;
    const unsigned int channels = raised(config.channels, limits.channels.min);
    const unsigned int period =
        raised(config.period_size, limits.period_bytes.min / kSmallestSampleBytes);
    const unsigned int bits = pcm_format_to_bits(config.format);
    set_value(&params, SNDRV_PCM_HW_PARAM_SAMPLE_BITS, limits.bit_width.min);
    set_value(&params, SNDRV_PCM_HW_PARAM_FRAME_BITS, bits * channels);
    set_value(&params, SNDRV_PCM_HW_PARAM_CHANNELS, channels);
    set_value(&params, SNDRV_PCM_HW_PARAM_RATE, raised(config.rate, limits.rate.min));
    set_value(&params, SNDRV_PCM_HW_PARAM_PERIOD_SIZE, period);
    set_value(&params, SNDRV_PCM_HW_PARAM_PERIOD_BYTES, period * (bits / 8) * channels);
    set_value(&params, SNDRV_PCM_HW_PARAM_PERIODS, raised(config.period_count, limits.periods.min));
    return params;
}
