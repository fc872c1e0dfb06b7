#pragma once

#include <tinyalsa/pcm.h>

#include <string>

// The mixing stage of the process. Call from the worker only. Sizes in bytes, frames interleaved.
// 0 or a negative error number; see zel_channel_mixing.

int zel_fc_lib_mixing_init(std::string path, std::string layout, const pcm_config* in,
                           const pcm_config* out);
int zel_fc_lib_mixing_process(const void* in, unsigned int in_size, void* out,
                              unsigned int out_size);
int zel_fc_lib_mixing_channel_change(std::string layout);
int zel_fc_lib_mixing_deinit();
