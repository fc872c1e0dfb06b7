#pragma once

#include <tinyalsa/pcm.h>

// The rate conversion stage of the process, 48 to 16 kHz. Call from the worker only.

/// Prepares the converter for these two streams. The output rate is not looked at: it is always a
/// third of the input's. 0, -22 for unusable configurations, -1 when the converter refuses.
int zel_fc_lib_src_init(int unused, const pcm_config* in, const pcm_config* out);
/// Converts `*size` bytes of interleaved 16-bit frames in place, at an even address, and sets
/// `*size` to what is left of them, a third; a block that the converter refuses stays as it is.
/// Always 0.
int zel_fc_lib_src_process(void* block, unsigned int* size);
int zel_fc_lib_src_deinit();
