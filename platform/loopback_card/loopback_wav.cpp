#include "loopback_wav.h"

#include <android/log.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstddef>

namespace {

constexpr const char* kTag = "zel_loopback_card";
constexpr std::uint64_t kWindowFrames = 4096;

bool holds_floats(int format) {
    const int kind = format & SF_FORMAT_SUBMASK;
    return kind == SF_FORMAT_FLOAT || kind == SF_FORMAT_DOUBLE;
}

/// Samples in so many frames; a count below 0 stands for a failure.
std::ptrdiff_t samples_in(sf_count_t frames, int channels) {
    return static_cast<std::ptrdiff_t>(std::max<sf_count_t>(frames, 0)) * channels;
}

/// 1.0 is full scale; what is beyond is clipped, as by a card's converter.
std::int32_t to_sample(double value) {
    return static_cast<std::int32_t>(
        std::lround(std::clamp(value * 2147483648.0, -2147483648.0, 2147483647.0)));
}

}  // namespace

int loopback_wav::open(const char* path) {
    file = sf_open(path, SFM_READ, &info);
    if (file == nullptr) {
        const int status = sf_error(nullptr) == SF_ERR_SYSTEM ? -ENOENT : -EINVAL;
        __android_log_print(ANDROID_LOG_ERROR, kTag, "cannot play \"%s\": %s", path,
                            sf_strerror(nullptr));
        return status;
    }
    if (info.frames <= 0) {
        __android_log_print(ANDROID_LOG_ERROR, kTag, "cannot play \"%s\": empty", path);
        return -EINVAL;
    }
    window.resize(kWindowFrames * channels());
    floats.resize(holds_floats(info.format) ? window.size() : 0);
    return 0;
}

std::int32_t loopback_wav::sample(std::uint64_t frame, unsigned int channel) {
    if (frame - window_first >= window_frames) {  // before the window, too: unsigned
        load_window(frame);
    }
    return window[static_cast<std::size_t>(frame - window_first) * channels() + channel];
}

void loopback_wav::load_window(std::uint64_t first) {
    window_first = first;
    window_frames = std::min(kWindowFrames, frames() - first);
    const auto wanted = static_cast<sf_count_t>(window_frames);
    const sf_count_t got =
        sf_seek(file, static_cast<sf_count_t>(first), SEEK_SET) < 0 ? 0 : read_window(wanted);
    if (got < wanted) {
        std::fill(window.begin() + samples_in(got, info.channels), window.end(), 0);
        if (!told) {
            __android_log_print(ANDROID_LOG_ERROR, kTag, "the played file ends early: %s",
                                sf_strerror(file));
        }
        told = true;
    }
}

sf_count_t loopback_wav::read_window(sf_count_t count) {
    if (floats.empty()) {
        return sf_readf_int(file, window.data(), count);
    }
    const sf_count_t got = sf_readf_double(file, floats.data(), count);
    std::transform(floats.begin(), floats.begin() + samples_in(got, info.channels), window.begin(),
                   to_sample);
    return got;
}
