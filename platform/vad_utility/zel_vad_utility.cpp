#include "zel_vad_utility.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdlib>

#include "search_lists.h"

int get_json_path(std::string& path, voice_json kind) {
    const char* file = kind == VOICE_JSON_DELAY    ? "/voice_channel_delay_coef.json"
                       : kind == VOICE_JSON_MIXING ? "/voice_channel_mixing_coef.json"
                                                   : nullptr;
    if (file == nullptr) {
        return -EINVAL;
    }
    const char* directory = std::getenv("ZEL_VOICE_CONFIG_DIR");
    if (directory == nullptr || *directory == '\0') {
        return -ENOENT;
    }
    path = std::string(directory) + file;
    return 0;
}

int adjust_timestamp(unsigned int avail_frames, unsigned int rate_hz, timespec* ts) {
    if (ts == nullptr || rate_hz == 0) {
        return -EINVAL;
    }
    constexpr std::int64_t kNsPerSecond = 1'000'000'000;
    const std::int64_t buffered = std::int64_t{avail_frames} * kNsPerSecond / rate_hz;
    const std::int64_t time =
        std::max<std::int64_t>(ts->tv_sec * kNsPerSecond + ts->tv_nsec - buffered, 0);
    ts->tv_sec = static_cast<decltype(ts->tv_sec)>(time / kNsPerSecond);
    ts->tv_nsec = static_cast<decltype(ts->tv_nsec)>(time % kNsPerSecond);
    return 0;
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the device's library has this signature.
int search_snd_device(std::string name, unsigned int* card, unsigned int* device) {
    if (card == nullptr || device == nullptr) {
        return -EINVAL;
    }
    return search_pcm_list("/proc/asound/pcm", name, card, device) ||
                   search_card_definitions(name, card, device)
               ? 0
               : -ENODEV;
}
