#include "level_meter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

level_meter::level_meter(unsigned int channel_count, unsigned int bits)
    : sample_bytes(bits / 8), squares(channel_count), peaks(channel_count) {}

void level_meter::add(const void* frames, std::size_t count) {
    const auto* in = static_cast<const unsigned char*>(frames);
    for (std::size_t f = 0; f < count; ++f) {
        for (std::size_t c = 0; c < squares.size(); ++c) {
            double sample = 0;
            if (sample_bytes == 2) {
                std::int16_t value = 0;
                std::memcpy(&value, in, sizeof(value));
                sample = value / 32768.0;
            } else {
                std::int32_t value = 0;
                std::memcpy(&value, in, sizeof(value));
                sample = value / 2147483648.0;
            }
            in += sample_bytes;
            squares[c] += sample * sample;
            peaks[c] = std::max(peaks[c], std::fabs(sample));
        }
    }
    frames_seen += count;
}

double level_meter::rms_dbfs(unsigned int channel) const {
    return frames_seen == 0 ? -std::numeric_limits<double>::infinity()
                            : 10 * std::log10(squares[channel] / static_cast<double>(frames_seen));
}

double level_meter::peak_dbfs(unsigned int channel) const {
    return 20 * std::log10(peaks[channel]);
}
