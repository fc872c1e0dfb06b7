#include "level_meter.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

std::string decibels_text(double db) {
    const std::string text = fmt::format("{:.1f}", db);
    return text == "-0.0" ? "0.0" : text;
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
    fmt::print("channel     level      peak\n");
    for (unsigned int c = 0; c < channels(); ++c) {
        fmt::print("{:7} {:>6} dBFS {:>5} dBFS\n", c, decibels_text(rms_dbfs(c)),
                   decibels_text(peak_dbfs(c)));
    }
}

json level_meter::levels() const {
    json all = json::array();
    for (unsigned int c = 0; c < channels(); ++c) {
        all.push_back({{"channel", c}, {"level_dbfs", rms_dbfs(c)}, {"peak_dbfs", peak_dbfs(c)}});
    }
    return all;
}
