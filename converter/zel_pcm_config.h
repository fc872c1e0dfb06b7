#pragma once

#include <tinyalsa/pcm.h>

/// The eight fields of a stream configuration that the converter carries along, copied one by one:
/// tinyalsa versions differ in the thresholds' type and in what follows them.
inline pcm_config zel_copy_config(const pcm_config& config) {
    pcm_config copy{};
    copy.channels = config.channels;
    copy.rate = config.rate;
    copy.period_size = config.period_size;
    copy.period_count = config.period_count;
    copy.format = config.format;
    copy.start_threshold = config.start_threshold;
    copy.stop_threshold = config.stop_threshold;
    copy.silence_threshold = config.silence_threshold;
    return copy;
}
