#include "scripted_tinyalsa.h"

#include <zel_vad_utility.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <utility>

struct pcm {
    pcm_config config;
    std::string error;
};

struct mixer_ctl {
    unsigned int id;
    std::string name;
    int value;
    std::vector<std::string> texts;
    bool present = true;
};

struct mixer {
    bool subscribed;
};

namespace {

using zel_test::call;

struct fault {
    int wait = 0;
    int times = 0;
    int result = 0;
};

constexpr auto kCalls = static_cast<std::size_t>(call::count);

struct script_state {
    std::array<int, kCalls> calls{};
    std::array<fault, kCalls> faults{};
    std::deque<mixer_ctl> controls{{0, "Loopback Volume", 100, {}},
                                   {1, "PCM Slave Active", 1, {}},
                                   {2, "PCM Slave Format", 2, {}},
                                   {3, "PCM Slave Channels", 2, {}},
                                   {4, "PCM Slave Rate", 48000, {}},
                                   {5, "Loopback Signal", 0, {"Tones", "Ramp"}},
                                   {6, "PCM Channel Layout", 1, {"1.0", "2.0", "4.0", "5.1"}}};
    std::vector<std::pair<unsigned int, std::string>> refused;
    std::vector<zel_test::opened_stream> opened;
    zel_test::read_source source;
    int reads_allowed = 0;
    std::deque<timespec> times;
    unsigned int avail = 0;
    std::deque<unsigned int> events;
    int handles = 0;
};

std::mutex g_lock;
std::condition_variable g_changed;

// Never destroyed: the converter may outlive the statics.
script_state& state() {
    static auto* const instance = new script_state;
    return *instance;
}

/// Counts the call; true when the script makes it fail. With g_lock held.
bool fails(call function, int* result = nullptr) {
    const auto index = static_cast<std::size_t>(function);
    ++state().calls[index];
    fault& planned = state().faults[index];
    if (planned.times == 0 || --planned.wait > 0) {
        return false;
    }
    --planned.times;
    if (result != nullptr) {
        *result = planned.result;
    }
    return true;
}

/// Status of a call that has nothing else to do.
int status_of(call function) {
    const std::lock_guard guard(g_lock);
    int result = 0;
    fails(function, &result);
    return result;
}

}  // namespace

namespace zel_test {

void reset_script() {
    const std::lock_guard guard(g_lock);
    const int handles = state().handles;
    state() = script_state{};
    state().handles = handles;
}

void set_control(const std::string& name, int value) {
    const std::lock_guard guard(g_lock);
    for (mixer_ctl& control : state().controls) {
        control.value = control.name == name ? value : control.value;
    }
}

void remove_control(const std::string& name) {
    const std::lock_guard guard(g_lock);
    for (mixer_ctl& control : state().controls) {
        control.present = control.present && control.name != name;
    }
}

void fail_call(call function, int nth, int result, int times) {
    const std::lock_guard guard(g_lock);
    state().faults[static_cast<std::size_t>(function)] = {nth, times, result};
}

void refuse_rate(unsigned int rate, const std::string& text) {
    const std::lock_guard guard(g_lock);
    state().refused.emplace_back(rate, text);
}

void set_source(read_source source) {
    const std::lock_guard guard(g_lock);
    state().source = std::move(source);
}

void allow_reads(int blocks) {
    const std::lock_guard guard(g_lock);
    int& allowed = state().reads_allowed;
    allowed = blocks < 0 ? -1 : std::max(allowed, 0) + blocks;
    g_changed.notify_all();
}

void set_timestamps(std::vector<timespec> times, unsigned int avail) {
    const std::lock_guard guard(g_lock);
    state().times.assign(times.begin(), times.end());
    state().avail = avail;
}

void push_event(unsigned int numid) {
    const std::lock_guard guard(g_lock);
    state().events.push_back(numid);
    g_changed.notify_all();
}

int calls_of(call function) {
    const std::lock_guard guard(g_lock);
    return state().calls[static_cast<std::size_t>(function)];
}

std::vector<opened_stream> opened_streams() {
    const std::lock_guard guard(g_lock);
    return state().opened;
}

int open_handles() {
    const std::lock_guard guard(g_lock);
    return state().handles;
}

}  // namespace zel_test

pcm* pcm_open(unsigned int card, unsigned int device, unsigned int flags,
              const pcm_config* config) {
    const std::lock_guard guard(g_lock);
    if (fails(call::pcm_open)) {
        return nullptr;
    }
    auto stream = std::make_unique<pcm>();
    stream->config = *config;
    state().opened.push_back({card, device, flags, *config});
    for (const auto& [rate, text] : state().refused) {
        if (rate == config->rate) {
            stream->error = text;
        }
    }
    ++state().handles;
    return stream.release();
}

int pcm_close(pcm* stream) {
    const std::lock_guard guard(g_lock);
    fails(call::pcm_close);
    --state().handles;
    delete stream;
    return 0;
}

int pcm_is_ready(const pcm* stream) {
    return stream->error.empty();
}

const char* pcm_get_error(const pcm* stream) {
    return stream->error.c_str();
}

unsigned int pcm_format_to_bits(pcm_format format) {
    switch (format) {
        case PCM_FORMAT_S32_LE:
        case PCM_FORMAT_S32_BE:
        case PCM_FORMAT_S24_LE:
        case PCM_FORMAT_S24_BE:
            return 32;
        case PCM_FORMAT_S24_3LE:
        case PCM_FORMAT_S24_3BE:
            return 24;
        case PCM_FORMAT_S8:
            return 8;
        default:
            return 16;
    }
}

int pcm_readi(pcm* stream, void* data, unsigned int frames) {
    std::unique_lock guard(g_lock);
    int result = 0;
    if (fails(call::pcm_readi, &result)) {
        return result;
    }
    g_changed.wait(guard, [] { return state().reads_allowed != 0; });
    state().reads_allowed -= state().reads_allowed > 0 ? 1 : 0;
    if (state().source) {
        return state().source(data, frames, stream->config);
    }
    std::memset(data, 0,
                std::size_t{frames} * stream->config.channels *
                    (pcm_format_to_bits(stream->config.format) / 8));
    return static_cast<int>(frames);
}

int pcm_get_htimestamp(pcm*, unsigned int* avail, timespec* ts) {
    const std::lock_guard guard(g_lock);
    int result = 0;
    if (fails(call::pcm_get_htimestamp, &result)) {
        return result;
    }
    *avail = state().avail;
    *ts = {};
    if (!state().times.empty()) {
        *ts = state().times.front();
        state().times.pop_front();
    }
    return 0;
}

mixer* mixer_open(unsigned int) {
    const std::lock_guard guard(g_lock);
    if (fails(call::mixer_open)) {
        return nullptr;
    }
    auto opened = std::make_unique<mixer>();
    ++state().handles;
    return opened.release();
}

void mixer_close(mixer* opened) {
    const std::lock_guard guard(g_lock);
    fails(call::mixer_close);
    --state().handles;
    delete opened;
}

unsigned int mixer_get_num_ctls(const mixer*) {
    const std::lock_guard guard(g_lock);
    return static_cast<unsigned int>(state().controls.size());
}

mixer_ctl* mixer_get_ctl(mixer*, unsigned int id) {
    const std::lock_guard guard(g_lock);
    return id < state().controls.size() ? &state().controls[id] : nullptr;
}

mixer_ctl* mixer_get_ctl_by_name(mixer*, const char* name) {
    const std::lock_guard guard(g_lock);
    if (!fails(call::mixer_get_ctl_by_name)) {
        for (mixer_ctl& control : state().controls) {
            if (control.present && control.name == name) {
                return &control;
            }
        }
    }
    return nullptr;
}

int mixer_subscribe_events(mixer* opened, int subscribe) {
    opened->subscribed = subscribe != 0;
    return status_of(call::mixer_subscribe_events);
}

int mixer_wait_event(mixer* opened, int timeout) {
    std::unique_lock guard(g_lock);
    int result = 0;
    if (fails(call::mixer_wait_event, &result)) {
        return result;
    }
    const auto pending = [opened] { return opened->subscribed && !state().events.empty(); };
    return g_changed.wait_for(guard, std::chrono::milliseconds(timeout), pending) ? 1 : 0;
}

int mixer_read_event(mixer*, mixer_ctl_event* event) {
    const std::lock_guard guard(g_lock);
    int result = 0;
    if (fails(call::mixer_read_event, &result)) {
        return result;
    }
    if (state().events.empty()) {
        return 0;
    }
    *event = {};
    event->data.element.id.numid = state().events.front();
    state().events.pop_front();
    return 1;
}

int mixer_ctl_get_value(const mixer_ctl* control, unsigned int) {
    const std::lock_guard guard(g_lock);
    int result = 0;
    return fails(call::mixer_ctl_get_value, &result) ? result : control->value;
}

const char* mixer_ctl_get_enum_string(mixer_ctl* control, unsigned int item) {
    const std::lock_guard guard(g_lock);
    const bool failed = fails(call::mixer_ctl_get_enum_string);
    return failed || item >= control->texts.size() ? nullptr : control->texts[item].c_str();
}

int get_json_path(std::string& path, voice_json kind) {
    const int result = status_of(call::get_json_path);
    if (result == 0) {
        path = kind == VOICE_JSON_DELAY ? "/nonexistent/delay.json" : ZEL_TEST_MIXING_FILE;
    }
    return result;
}

int search_snd_device(std::string, unsigned int* card, unsigned int* device) {
    const int result = status_of(call::search_snd_device);
    if (result == 0) {
        *card = 3;
        *device = 5;
    }
    return result;
}

int adjust_timestamp(unsigned int avail_frames, unsigned int, timespec* ts) {
    // One nanosecond a frame: visible, and easy to work out.
    ts->tv_nsec += static_cast<long>(avail_frames);
    return status_of(call::adjust_timestamp);
}
