#include "loopback_card.h"

#include <android/log.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <sstream>
#include <utility>

namespace {

constexpr const char* kSignals[] = {"Tones",   "Ramp",     "Chirp",        "Impulse",
                                    "Silence", "WAV file", "WAV file once"};
constexpr const char* kLayouts[] = {"1.0",   "2.0",   "4.0",   "5.1",  "7.1",
                                    "7.1.4", "5.1.2", "5.1.4", "7.1.2"};
constexpr const char* kPacings[] = {"Clock", "Fast", "Step"};
constexpr int kMany = std::numeric_limits<int>::max();

constexpr control_info kControls[CTL_COUNT] = {
    {"Loopback Volume", value_kind::integer, 2, 0, 100, 100, nullptr},
    {"PCM Slave Active", value_kind::integer, 1, 0, 1, 1, nullptr},
    {"PCM Slave Format", value_kind::integer, 1, 0, 63, 10, nullptr},
    {"PCM Slave Channels", value_kind::integer, 1, 1, 16, 8, nullptr},
    {"PCM Slave Rate", value_kind::integer, 1, 8000, 192000, 48000, nullptr},
    {"Loopback Signal", value_kind::enumerated, 1, 0, 6, 0, kSignals},
    {"PCM Channel Layout", value_kind::enumerated, 1, 0, 8, 4, kLayouts},
    {"Loopback Calibration", value_kind::bytes, 16, 0, 0, 0, nullptr},
    {"Loopback Tuning", value_kind::tlv_bytes, 64, 0, 0, 0, nullptr},
    {"Sim WAV File", value_kind::bytes, 256, 0, 0, 0, nullptr},
    {"Sim Pacing", value_kind::enumerated, 1, 0, 2, 0, kPacings},
    {"Sim Granted Frames", value_kind::integer, 1, 0, kMany, 0, nullptr},
    {"Sim Fault Open", value_kind::integer, 1, 0, kMany, 0, nullptr},
    {"Sim Fault Short Read", value_kind::integer, 1, 0, kMany, 0, nullptr},
    {"Sim Fault Read Error", value_kind::integer, 1, 0, kMany, 0, nullptr},
    {"Sim Fault Stall", value_kind::integer, 1, 0, 600000, 0, nullptr},
    {"Sim Fault Clock Jump", value_kind::integer, 1, -100000, 100000, 0, nullptr},
    {"Sim Reads", value_kind::integer, 1, 0, kMany, 0, nullptr},
};

bool numeric(const control_info& info) {
    return info.kind == value_kind::integer || info.kind == value_kind::enumerated;
}

}  // namespace

const control_info& info_of(unsigned int id) {
    return kControls[id];
}

// Never destroyed: a client's own statics may close their handles after ours would be gone.
loopback_card& loopback_card::instance() {
    static auto* card = new loopback_card;
    return *card;
}

loopback_card::loopback_card() : values(CTL_COUNT) {
    for (unsigned int id = 0; id < CTL_COUNT; ++id) {
        const control_info& info = kControls[id];
        if (numeric(info)) {
            values[id].integers.assign(info.count, info.initial);
        } else {
            values[id].bytes.assign(info.count, 0);
        }
    }
    if (const char* presets = std::getenv("ZEL_LOOPBACK_CARD"); presets != nullptr) {
        apply_presets(presets);
    }
}

/// "name=value;name=value": what isn't understood is told and left out.
void loopback_card::apply_presets(const char* presets) {
    std::istringstream entries(presets);
    for (std::string entry; std::getline(entries, entry, ';');) {
        const auto equals = entry.find('=');
        if (!entry.empty() && (equals == std::string::npos ||
                               set_text(entry.substr(0, equals), entry.substr(equals + 1)) != 0)) {
            __android_log_print(ANDROID_LOG_ERROR, "zel_loopback_card",
                                "ZEL_LOOPBACK_CARD: cannot set \"%s\"", entry.c_str());
        }
    }
}

int loopback_card::set_text(const std::string& name, const std::string& text) {
    const auto* info = std::find_if(std::begin(kControls), std::end(kControls),
                                    [&](const control_info& c) { return name == c.name; });
    if (info == std::end(kControls)) {
        return -EINVAL;
    }
    const auto id = static_cast<unsigned int>(info - kControls);
    if (!numeric(*info)) {
        std::vector<unsigned char> padded(text.begin(), text.end());
        padded.resize(std::max<std::size_t>(info->count, padded.size()));
        return set_bytes(id, padded.data(), padded.size());
    }
    for (int item = 0; info->texts != nullptr && item <= info->max; ++item) {
        if (text == info->texts[item]) {
            return set_integers(id, {item});
        }
    }
    char* end = nullptr;
    const long number = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end != '\0' || info->texts != nullptr || number < info->min ||
        number > info->max) {
        return -EINVAL;
    }
    return set_integers(id, std::vector<int>(info->count, static_cast<int>(number)));
}

int loopback_card::integer(unsigned int id, unsigned int element) {
    const std::lock_guard guard(lock);
    return values[id].integers[element];
}

int loopback_card::set_integers(unsigned int id, const std::vector<int>& wanted) {
    const control_info& info = kControls[id];
    if (!numeric(info) || wanted.size() != info.count ||
        std::any_of(wanted.begin(), wanted.end(),
                    [&](int v) { return v < info.min || v > info.max; })) {
        return -EINVAL;
    }
    {
        const std::lock_guard guard(lock);
        if (id == CTL_GRANTED_FRAMES) {
            int& granted = values[id].integers[0];
            granted = wanted[0] > kMany - granted ? kMany : granted + wanted[0];
        } else {
            values[id].integers = wanted;
        }
        changed.notify_all();
    }
    raise_events_of(id);
    return 0;
}

std::vector<unsigned char> loopback_card::bytes(unsigned int id) {
    const std::lock_guard guard(lock);
    return values[id].bytes;
}

int loopback_card::set_bytes(unsigned int id, const unsigned char* data, std::size_t count) {
    if (numeric(kControls[id]) || count > kControls[id].count) {
        return -EINVAL;
    }
    {
        const std::lock_guard guard(lock);
        std::copy_n(data, count, values[id].bytes.begin());
    }
    raise_event(id);
    return 0;
}

bool loopback_card::take_fault(unsigned int id) {
    const std::lock_guard guard(lock);
    int& count = values[id].integers[0];
    return count > 0 && count-- > 0;
}

int loopback_card::take_value(unsigned int id) {
    const std::lock_guard guard(lock);
    return std::exchange(values[id].integers[0], 0);
}

std::uint32_t loopback_card::take_granted(std::uint32_t frames) {
    std::unique_lock guard(lock);
    int& granted = values[CTL_GRANTED_FRAMES].integers[0];
    const int& pacing = values[CTL_PACING].integers[0];
    changed.wait(guard, [&] { return granted > 0 || pacing != PACING_STEP; });
    if (pacing != PACING_STEP) {
        return 0;
    }
    const auto taken = std::min(frames, static_cast<std::uint32_t>(granted));
    granted -= static_cast<int>(taken);
    return taken;
}

void loopback_card::subscribe(mixer_plugin* record, mixer_event_callback callback) {
    unsubscribe(record);
    const std::lock_guard guard(subscriber_lock);
    subscribers.push_back({record, callback, {}});
}

/// No call to the record's callback is under way afterwards.
void loopback_card::unsubscribe(mixer_plugin* record) {
    const std::lock_guard calls(callback_lock);
    const std::lock_guard guard(subscriber_lock);
    std::erase_if(subscribers, [=](const subscriber& s) { return s.record == record; });
}

/// A control that changes again before its event has been read keeps its one event.
void loopback_card::raise_event(unsigned int id) {
    if (id > CTL_LAST_OF_CARD) {
        return;
    }
    // The callbacks run without the subscribers' lock: tinyalsa's take one of their own, which it
    // may hold while it reads an event.
    const std::lock_guard calls(callback_lock);
    std::vector<std::pair<mixer_event_callback, mixer_plugin*>> told;
    {
        const std::lock_guard guard(subscriber_lock);
        for (subscriber& s : subscribers) {
            if (std::find(s.pending.begin(), s.pending.end(), id) == s.pending.end()) {
                s.pending.push_back(id);
                told.emplace_back(s.callback, s.record);
            }
        }
    }
    for (const auto& [callback, record] : told) {
        callback(record);
    }
}

/// As a driver does, the card announces every change of its capture by the loopback source's event.
void loopback_card::raise_events_of(unsigned int id) {
    raise_event(id);
    if (id == CTL_SLAVE_FORMAT || id == CTL_SLAVE_CHANNELS || id == CTL_SLAVE_RATE) {
        raise_event(CTL_SLAVE_ACTIVE);
    }
}

void loopback_card::count_read() {
    const std::lock_guard guard(lock);
    int& reads = values[CTL_READS].integers[0];
    reads = reads == kMany ? 0 : reads + 1;
}

bool loopback_card::next_event(mixer_plugin* record, unsigned int* id) {
    const std::lock_guard guard(subscriber_lock);
    for (subscriber& s : subscribers) {
        if (s.record == record && !s.pending.empty()) {
            *id = s.pending.front();
            s.pending.erase(s.pending.begin());
            return true;
        }
    }
    return false;
}
