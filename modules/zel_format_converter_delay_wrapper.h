#pragma once

#include <tinyalsa/pcm.h>

// The delay stage of the process. Call from the worker only. Sizes in bytes, frames interleaved.
// 0 or a negative error number; see zel_channel_delay.

/// A null path is -22.
int zel_fc_lib_delay_init(const char* path, const pcm_config* config);
int zel_fc_lib_delay_process(const void* in, void* out, int size);
int zel_fc_lib_delay_deinit();
