#pragma once

#include <cstdint>

// The 48 to 16 kHz converter: decimation by 3 with the linear-phase low-pass `res_coeff`, for
// 1 to 8 interleaved channels of 16 bits. Over the continuous stream since init, with x[n] = 0 for
// n < 0 and c = res_coeff:
//
//     y[k][ch] = sum over t = 0 .. 236 of c[t] * x[3k - 237 + t][ch]
//
// Every product and sum is rounded to float; the result is clamped to 16 bits and truncated toward
// zero. One state per process and no lock: call from the worker only.

/// Number of taps.
extern "C" __attribute__((visibility("default"))) const std::int32_t res_order;
/// The taps, symmetric; made by modules/design_filter.py.
extern "C" __attribute__((visibility("default"))) const float res_coeff[237];

/// Starts from silence for `channels` channels, releasing an earlier stream. 0, or -22 with the
/// converter released.
int Ovra_VOC_SrcInit48k(int channels);
/// Converts a block in place: `*samples` 16-bit samples of all channels become a third of that, at
/// the block's start. The frame count must be a multiple of 3, and an odd channel count fixes it
/// with the first block. 0, or -22 or -12 with block and count unchanged. Real-time, but for
/// the first block of an odd channel count, which allocates.
int Ovra_VOC_SrcProcess48k(std::int16_t* block, unsigned int* samples);
/// Releases the converter; harmless when it is released. Always 0.
int Ovra_VOC_SrcDeInit48k();
