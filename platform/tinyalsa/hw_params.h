#pragma once

#include <tinyalsa/pcm.h>
#include <tinyalsa/plugin.h>

/// A record of hardware parameters with everything still possible.
snd_pcm_hw_params any_hw_params();

/// Narrows a record to what the plugin's limits allow.
void limit_hw_params(snd_pcm_hw_params* params, const pcm_plugin_hw_constraints& limits);

/// The record that asks a plugin for `config`: each value raised to the limits' minimum but not
/// lowered to their maximum, the format in the mask only, the width at the limits' minimum.
snd_pcm_hw_params request_hw_params(const pcm_config& config, bool mmap,
                                    const pcm_plugin_hw_constraints& limits);

/// ALSA's number of a format, or -1.
int alsa_format(pcm_format format);

snd_interval* interval_of(snd_pcm_hw_params* params, int param);
snd_mask* mask_of(snd_pcm_hw_params* params, int param);
