#include "level_meter.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <utility>

std::string decibels_text(double db) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f", db);
    return std::string(text) == "-0.0" ? "0.0" : text;
}

level_meter::level_meter(unsigned int channel_count, unsigned int bits)
    : sample_bytes(bits / 8), squares(channel_count), peaks(channel_count) {}

void level_meter::add(const void* frames, std::size_t count) {
    const auto* in = static_cast<const unsigned char*>(frames);
    for (std::size_t f = 0; f < count; ++f) {
        for (std::size_t c = 0; c < squares.size(); ++c) {
            // Either width as 32 bits at full scale.
            std::int32_t value = 0;
            std::memcpy(reinterpret_cast<unsigned char*>(&value) + sizeof(value) - sample_bytes, in,
                        sample_bytes);
            const double sample = value / 2147483648.0;
            full += value >> 16 == 32767 || value >> 16 == -32768 ? 1U : 0U;
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

void level_meter::print() const {
    std::printf("channel     level      peak\n");
    for (unsigned int c = 0; c < channels(); ++c) {
        std::printf("%7u %6s dBFS %5s dBFS\n", c, decibels_text(rms_dbfs(c)).c_str(),
                    decibels_text(peak_dbfs(c)).c_str());
    }
}

json_value level_meter::json() const {
    json_value levels = json_value::array();
    for (unsigned int c = 0; c < channels(); ++c) {
        json_value one = json_value::object();
        one.set("channel", c).set("level_dbfs", rms_dbfs(c)).set("peak_dbfs", peak_dbfs(c));
        levels.append(std::move(one));
    }
    return levels;
}
