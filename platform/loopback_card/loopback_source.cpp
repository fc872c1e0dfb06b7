#include "loopback_source.h"

#include <cmath>
#include <cstring>
#include <numbers>
#include <vector>

#include "zel_loopback_signal.h"

namespace {

constexpr double kChirpSeconds = 4.0;
constexpr double kChirpFromHz = 20.0;
constexpr double kChirpToHz = 20000.0;

/// A linear sweep that starts anew every kChirpSeconds, at a quarter of full scale.
std::int32_t chirp(std::uint64_t frame, unsigned int rate) {
    const double t = std::fmod(static_cast<double>(frame) / rate, kChirpSeconds);
    const double cycles =
        kChirpFromHz * t + (kChirpToHz - kChirpFromHz) * t * t / (2 * kChirpSeconds);
    return static_cast<std::int32_t>(
        std::lround(0x20000000 * std::sin(2 * std::numbers::pi * cycles)));
}

}  // namespace

bool loopback_source::narrow() const {
    return format == SNDRV_PCM_FORMAT_S16_LE;
}

int loopback_source::open(unsigned int stream_channels, unsigned int stream_rate, int alsa_format) {
    channels = stream_channels;
    rate = stream_rate;
    format = alsa_format;
    signal = loopback_card::instance().integer(CTL_SIGNAL);
    if (signal != SIGNAL_WAV && signal != SIGNAL_WAV_ONCE) {
        return 0;
    }
    std::vector<unsigned char> path = loopback_card::instance().bytes(CTL_WAV_FILE);
    path.push_back(0);
    return wav.open(reinterpret_cast<const char*>(path.data()));
}

/// The file's frame, its channels repeated over the stream's.
std::int32_t loopback_source::wav_frame(std::uint64_t frame, unsigned int channel) {
    if (signal == SIGNAL_WAV_ONCE && frame >= wav.frames()) {
        return 0;
    }
    return wav.sample(frame % wav.frames(), channel % wav.channels());
}

/// At the stream's rate by linear interpolation.
std::int32_t loopback_source::wav_sample(std::uint64_t frame, unsigned int channel) {
    if (wav.rate() == rate) {
        return wav_frame(frame, channel);
    }
    const std::uint64_t position = frame * wav.rate();
    const std::uint64_t before = position / rate;
    const std::uint64_t part = position % rate;
    if (part == 0) {
        return wav_frame(before, channel);
    }
    const double share = static_cast<double>(part) / rate;
    return static_cast<std::int32_t>(std::lround(wav_frame(before, channel) * (1 - share) +
                                                 wav_frame(before + 1, channel) * share));
}

std::int32_t loopback_source::sample(std::uint64_t frame, unsigned int channel) {
    switch (signal) {
        case SIGNAL_TONES:
            return zel_loopback_tone(frame, channel, rate);
        case SIGNAL_RAMP:
            return zel_loopback_ramp(frame, channel);
        case SIGNAL_CHIRP:
            return chirp(frame, rate);
        case SIGNAL_IMPULSE:
            return frame % rate == 0 ? 0x40000000 : 0;
        case SIGNAL_WAV:
        case SIGNAL_WAV_ONCE:
            return wav_sample(frame, channel);
        default:
            return 0;
    }
}

void loopback_source::fill(std::uint64_t first, std::uint32_t frames, unsigned char* out) {
    loopback_card& card = loopback_card::instance();
    const int volume[2] = {card.integer(CTL_VOLUME, 0), card.integer(CTL_VOLUME, 1)};
    for (std::uint32_t f = 0; f < frames; ++f) {
        for (unsigned int c = 0; c < channels; ++c) {
            const std::int64_t scaled = std::int64_t{sample(first + f, c)} * volume[c % 2] / 100;
            if (narrow()) {
                const auto value = static_cast<std::int16_t>(scaled >> 16);
                std::memcpy(out, &value, sizeof(value));
                out += sizeof(value);
            } else {
                // A 24-bit sample sits in the low three bytes of its word.
                const auto value = static_cast<std::int32_t>(
                    format == SNDRV_PCM_FORMAT_S24_LE ? scaled >> 8 : scaled);
                std::memcpy(out, &value, sizeof(value));
                out += sizeof(value);
            }
        }
    }
}
