#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>

// The simulated card's synthetic signals, as 32-bit full-scale samples; `frame` counts from the
// stream's start. A 24-bit sample is the value shifted right by 8, a 16-bit sample by 16.

/// Frequency of a channel's tone in hertz.
inline constexpr double zel_loopback_tone_hz(unsigned int channel) {
    return 300.0 + 200.0 * channel;
}

/// A sine of the channel's own frequency at a quarter of full scale (-12 dBFS).
inline std::int32_t zel_loopback_tone(std::uint64_t frame, unsigned int channel,
                                      unsigned int rate) {
    // Whole periods of all tones fit into 100 Hz's: keeps the phase exact over days.
    const double seconds =
        static_cast<double>(frame % (rate % 100 == 0 ? rate / 100 : frame + 1)) / rate;
    return static_cast<std::int32_t>(std::lround(
        0x20000000 * std::sin(2 * std::numbers::pi * zel_loopback_tone_hz(channel) * seconds)));
}

/// Different for every frame (of 2^28) and channel (of 16), so that a lost, repeated or exchanged
/// sample shows: bits 16 to 19 the channel, 20 to 31 the frame's low bits, 0 to 15 its high bits.
inline constexpr std::int32_t zel_loopback_ramp(std::uint64_t frame, unsigned int channel) {
    const auto high = static_cast<std::uint32_t>((frame & 0xFFF) << 20);
    const auto low = static_cast<std::uint32_t>((frame >> 12) & 0xFFFF);
    return static_cast<std::int32_t>(high | (channel & 0xF) << 16 | low);
}
