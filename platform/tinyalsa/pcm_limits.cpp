// What a plugin card's stream can do, asked without opening it for use.

#include <tinyalsa/pcm.h>

#include <new>

#include "card_node.h"
#include "hw_params.h"

#define ZEL_EXPORT __attribute__((visibility("default")))

struct pcm_params {
    snd_pcm_hw_params params;
};

namespace {

/// The kernel's parameter of a pcm_param that is a range, or -1.
int interval_param(pcm_param param) {
    return param >= PCM_PARAM_SAMPLE_BITS && param <= PCM_PARAM_TICK_TIME
               ? static_cast<int>(param) - PCM_PARAM_SAMPLE_BITS + SNDRV_PCM_HW_PARAM_SAMPLE_BITS
               : -1;
}

}  // namespace

extern "C" {

ZEL_EXPORT pcm_params* pcm_params_get(unsigned int card, unsigned int device, unsigned int flags) {
    try {
        card_node node;
        if (!node.load(card_node::kind::pcm, card, device)) {
            return nullptr;
        }
        const auto* ops = static_cast<const pcm_plugin_ops*>(node.ops());
        pcm_plugin* plugin = nullptr;
        if (ops->open(&plugin, card, device, flags) != 0 || plugin == nullptr) {
            return nullptr;
        }
        auto* result = new (std::nothrow) pcm_params{any_hw_params()};
        if (result != nullptr) {
            limit_hw_params(&result->params, *plugin->constraints);
        }
        ops->close(plugin);
        return result;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

ZEL_EXPORT void pcm_params_free(pcm_params* params) {
    delete params;
}

ZEL_EXPORT unsigned int pcm_params_get_min(const pcm_params* params, pcm_param param) {
    const int index = interval_param(param);
    return params == nullptr || index < 0
               ? 0
               : params->params.intervals[index - SNDRV_PCM_HW_PARAM_FIRST_INTERVAL].min;
}

ZEL_EXPORT unsigned int pcm_params_get_max(const pcm_params* params, pcm_param param) {
    const int index = interval_param(param);
    return params == nullptr || index < 0
               ? 0
               : params->params.intervals[index - SNDRV_PCM_HW_PARAM_FIRST_INTERVAL].max;
}

ZEL_EXPORT int pcm_params_format_test(pcm_params* params, pcm_format format) {
    const int bit = alsa_format(format);
    if (params == nullptr || bit < 0) {
        return 0;
    }
    const snd_mask* formats = mask_of(&params->params, SNDRV_PCM_HW_PARAM_FORMAT);
    return (formats->bits[bit / 32] >> (bit % 32) & 1U) != 0;
}

}  // extern "C"
