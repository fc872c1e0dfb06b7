#include "scripted_tinyalsa.h"

#include <zel_vad_utility.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "test_folder.h"

struct mixer_ctl {
    unsigned int id = 0;
    zel_test::scripted_control state;
    bool present = true;
};

struct mixer {
    bool subscribed;
};

struct pcm {
    pcm_config config;
    std::string error;
};

namespace {

// Written before any test lets allocations fail.
const std::string& g_identity_mixing = zel_test::identity_mixing();
std::function<void()> g_on_get_json_path;

using zel_test::call;
using zel_test::scripted_control;

struct script_state {
    struct fault {
        int wait = 0;
        int times = 0;
        int result = 0;
    };
    int calls[static_cast<std::size_t>(call::count)] = {};
    fault faults[static_cast<std::size_t>(call::count)] = {};
    std::deque<mixer_ctl> controls;
    std::vector<std::pair<unsigned int, std::string>> refused;
    std::vector<zel_test::opened_stream> opened;
    zel_test::read_source source;
    int reads_allowed = 0;
    int reads_waiting = 0;
    std::deque<timespec> times;
    unsigned int avail = 0;
    std::deque<unsigned int> events;
    bool skips_waits = false;
    int waited_ms = 0;
    int handles = 0;
};

std::mutex script_lock;
std::condition_variable script_changed;

// Everything below is called with the lock held, or takes it.

/// Never destroyed: the converter may outlive the statics.
script_state& script() {
    static auto* const instance = new script_state;
    return *instance;
}

/// Counts the call; true when the script makes it fail.
bool call_fails(call function, int* result = nullptr) {
    const auto index = static_cast<std::size_t>(function);
    ++script().calls[index];
    script_state::fault& planned = script().faults[index];
    if (planned.times == 0 || --planned.wait > 0) {
        return false;
    }
    --planned.times;
    if (result != nullptr) {
        *result = planned.result;
    }
    return true;
}

/// What the script says a call returns, or else what `step` does.
template <typename Step>
int scripted(call function, Step step) {
    const std::lock_guard guard(script_lock);
    int result = 0;
    return call_fails(function, &result) ? result : step();
}

int nothing_else() {
    return 0;
}

std::vector<scripted_control> working_card() {
    const auto integer = [](const char* name, int value) {
        return scripted_control{.name = name, .values = {value}, .max = 192000};
    };
    const auto enumerated = [](const char* name, int value, std::vector<std::string> texts) {
        return scripted_control{.name = name,
                                .kind = MIXER_CTL_TYPE_ENUM,
                                .values = {value},
                                .texts = std::move(texts)};
    };
    return {integer("Loopback Volume", 100),
            integer("PCM Slave Active", 1),
            integer("PCM Slave Format", 2),
            integer("PCM Slave Channels", 2),
            integer("PCM Slave Rate", 48000),
            enumerated("Loopback Signal", 0, {"Tones", "Ramp"}),
            enumerated("PCM Channel Layout", 1, {"1.0", "2.0", "4.0", "5.1"})};
}

void place_controls(std::vector<scripted_control> controls) {
    script().controls.clear();
    for (scripted_control& control : controls) {
        script().controls.push_back(
            {static_cast<unsigned int>(script().controls.size()), std::move(control), true});
    }
}

mixer_ctl* find_control(const std::string& name) {
    for (mixer_ctl& control : script().controls) {
        if (control.state.name == name) {
            return &control;
        }
    }
    return nullptr;
}

}  // namespace

namespace zel_test {

void reset_script() {
    const std::lock_guard guard(script_lock);
    const int handles = script().handles;
    const int reads_waiting = script().reads_waiting;
    script() = {};
    script().handles = handles;
    script().reads_waiting = reads_waiting;
    script().opened.reserve(256);
    place_controls(working_card());
}

void set_controls(std::vector<scripted_control> controls) {
    const std::lock_guard guard(script_lock);
    place_controls(std::move(controls));
}

scripted_control control_state(const std::string& name) {
    const std::lock_guard guard(script_lock);
    return find_control(name)->state;
}

void set_control(const std::string& name, int value) {
    const std::lock_guard guard(script_lock);
    find_control(name)->state.values[0] = value;
}

void remove_control(const std::string& name) {
    const std::lock_guard guard(script_lock);
    find_control(name)->present = false;
}

void fail_call(call function, int nth, int result, int times) {
    const std::lock_guard guard(script_lock);
    script().faults[static_cast<std::size_t>(function)] = {nth, times, result};
}

void refuse_rate(unsigned int rate, const std::string& text) {
    const std::lock_guard guard(script_lock);
    script().refused.emplace_back(rate, text);
}

void set_source(read_source source) {
    const std::lock_guard guard(script_lock);
    script().source = std::move(source);
}

int reads_waiting() {
    const std::lock_guard guard(script_lock);
    return script().reads_waiting;
}

bool card_is_idle() {
    const std::lock_guard guard(script_lock);
    return script().reads_waiting > 0 && script().reads_allowed == 0;
}

void allow_reads(int blocks) {
    const std::lock_guard guard(script_lock);
    int& allowed = script().reads_allowed;
    allowed = blocks < 0 ? -1 : std::max(allowed, 0) + blocks;
    script_changed.notify_all();
}

void set_timestamps(std::vector<timespec> times, unsigned int avail) {
    const std::lock_guard guard(script_lock);
    script().times.assign(times.begin(), times.end());
    script().avail = avail;
}

void push_event(unsigned int numid) {
    const std::lock_guard guard(script_lock);
    script().events.push_back(numid);
    script_changed.notify_all();
}

void skip_waits() {
    const std::lock_guard guard(script_lock);
    script().skips_waits = true;
}
int last_mixer_wait_ms() {
    const std::lock_guard guard(script_lock);
    return script().waited_ms;
}

int calls_of(call function) {
    const std::lock_guard guard(script_lock);
    return script().calls[static_cast<std::size_t>(function)];
}

std::vector<opened_stream> opened_streams() {
    const std::lock_guard guard(script_lock);
    return script().opened;
}

void on_get_json_path(std::function<void()> step) {
    g_on_get_json_path = std::move(step);
}

int open_handles() {
    const std::lock_guard guard(script_lock);
    return script().handles;
}

}  // namespace zel_test

int get_json_path(std::string& path, voice_json kind) {
    if (g_on_get_json_path) {
        g_on_get_json_path();
    }
    const int result = scripted(call::get_json_path, nothing_else);
    if (result == 0) {
        path = kind == VOICE_JSON_DELAY ? "/nonexistent/delay.json" : g_identity_mixing;
    }
    return result;
}

int search_snd_device(std::string, unsigned int* card, unsigned int* device) {
    const int result = scripted(call::search_snd_device, nothing_else);
    if (result == 0) {
        *card = 3;
        *device = 5;
    }
    return result;
}

int adjust_timestamp(unsigned int avail_frames, unsigned int rate, timespec* ts) {
    // A nanosecond for each frame and kHz: visible, and easy to work out.
    ts->tv_nsec += static_cast<long>(avail_frames * (rate / 1000));
    return scripted(call::adjust_timestamp, nothing_else);
}

// The mixer.

mixer* mixer_open(unsigned int) {
    const std::lock_guard guard(script_lock);
    if (call_fails(call::mixer_open)) {
        return nullptr;
    }
    ++script().handles;
    return static_cast<mixer*>(std::calloc(1, sizeof(mixer)));
}

void mixer_close(mixer* opened) {
    const std::lock_guard guard(script_lock);
    call_fails(call::mixer_close);
    --script().handles;
    std::free(opened);
}

unsigned int mixer_get_num_ctls(const mixer*) {
    const std::lock_guard guard(script_lock);
    return static_cast<unsigned int>(script().controls.size());
}

mixer_ctl* mixer_get_ctl(mixer*, unsigned int id) {
    const std::lock_guard guard(script_lock);
    const bool failed = call_fails(call::mixer_get_ctl);
    return failed || id >= script().controls.size() ? nullptr : &script().controls[id];
}

mixer_ctl* mixer_get_ctl_by_name(mixer*, const char* name) {
    const std::lock_guard guard(script_lock);
    if (!call_fails(call::mixer_get_ctl_by_name)) {
        for (mixer_ctl& control : script().controls) {
            if (control.present && control.state.name == name) {
                return &control;
            }
        }
    }
    return nullptr;
}

int mixer_subscribe_events(mixer* opened, int subscribe) {
    opened->subscribed = subscribe != 0;
    return scripted(call::mixer_subscribe_events, nothing_else);
}

int mixer_wait_event(mixer* opened, int timeout) {
    std::unique_lock guard(script_lock);
    int result = 0;
    if (call_fails(call::mixer_wait_event, &result)) {
        return result;
    }
    script().waited_ms = timeout;
    const auto pending = [opened] { return opened->subscribed && !script().events.empty(); };
    const std::chrono::milliseconds patience(script().skips_waits ? 0 : timeout);
    return script_changed.wait_for(guard, patience, pending) ? 1 : 0;
}

int mixer_read_event(mixer*, mixer_ctl_event* event) {
    const std::lock_guard guard(script_lock);
    int result = 0;
    if (call_fails(call::mixer_read_event, &result)) {
        return result;
    }
    if (script().events.empty()) {
        return 0;
    }
    *event = {};
    event->data.element.id.numid = script().events.front();
    script().events.pop_front();
    return 1;
}

mixer_ctl_type mixer_ctl_get_type(const mixer_ctl* control) {
    return control->state.kind;
}

const char* mixer_ctl_get_name(const mixer_ctl* control) {
    return control->state.nameless ? nullptr : control->state.name.c_str();
}

unsigned int mixer_ctl_get_num_values(const mixer_ctl* control) {
    const scripted_control& state = control->state;
    return static_cast<unsigned int>(state.kind == MIXER_CTL_TYPE_BYTE ? state.bytes.size()
                                                                       : state.values.size());
}

int mixer_ctl_get_range_min(const mixer_ctl* control) {
    return control->state.min;
}

int mixer_ctl_get_range_max(const mixer_ctl* control) {
    return control->state.max;
}

int mixer_ctl_is_access_tlv_rw(const mixer_ctl* control) {
    return control->state.tlv;
}

unsigned int mixer_ctl_get_num_enums(const mixer_ctl* control) {
    return static_cast<unsigned int>(control->state.texts.size());
}

const char* mixer_ctl_get_enum_string(mixer_ctl* control, unsigned int item) {
    const std::lock_guard guard(script_lock);
    const std::vector<std::string>& texts = control->state.texts;
    const bool failed = call_fails(call::mixer_ctl_get_enum_string);
    return failed || item >= texts.size() ? nullptr : texts[item].c_str();
}

int mixer_ctl_get_value(const mixer_ctl* control, unsigned int id) {
    return scripted(call::mixer_ctl_get_value, [=] {
        return id < control->state.values.size() ? control->state.values[id] : -EINVAL;
    });
}

int mixer_ctl_set_value(mixer_ctl* control, unsigned int id, int value) {
    return scripted(call::mixer_ctl_set_value, [=] {
        scripted_control& state = control->state;
        if (id >= state.values.size() || static_cast<int>(id) == state.refused_element) {
            return -EPERM;
        }
        state.values[id] = value;
        return 0;
    });
}

int mixer_ctl_get_array(const mixer_ctl* control, void* array, std::size_t count) {
    return scripted(call::mixer_ctl_get_array, [=] {
        if (count > control->state.bytes.size()) {
            return -EINVAL;
        }
        std::copy_n(control->state.bytes.data(), count, static_cast<unsigned char*>(array));
        return 0;
    });
}

int mixer_ctl_set_array(mixer_ctl* control, const void* array, std::size_t count) {
    return scripted(call::mixer_ctl_set_array, [=] {
        if (count > control->state.bytes.size()) {
            return -EINVAL;
        }
        std::copy_n(static_cast<const unsigned char*>(array), count, control->state.bytes.data());
        return 0;
    });
}

// The streams.

// Handles come from calloc, which no test fails: allocation faults are for the product.
pcm* pcm_open(unsigned int card, unsigned int device, unsigned int flags,
              const pcm_config* config) {
    const std::lock_guard guard(script_lock);
    if (call_fails(call::pcm_open)) {
        return nullptr;
    }
    script().opened.push_back({card, device, flags, *config});
    auto* stream = new (std::calloc(1, sizeof(pcm))) pcm{*config, {}};
    for (const auto& [rate, text] : script().refused) {
        if (rate == config->rate) {
            stream->error = text;
        }
    }
    ++script().handles;
    return stream;
}

int pcm_close(pcm* stream) {
    const std::lock_guard guard(script_lock);
    call_fails(call::pcm_close);
    --script().handles;
    std::destroy_at(stream);
    std::free(stream);
    return 0;
}

int pcm_is_ready(const pcm* stream) {
    return stream->error.empty();
}

const char* pcm_get_error(const pcm* stream) {
    return stream->error.c_str();
}

int pcm_readi(pcm* stream, void* data, unsigned int frames) {
    std::unique_lock guard(script_lock);
    int result = 0;
    if (call_fails(call::pcm_readi, &result)) {
        return result;
    }
    ++script().reads_waiting;
    const bool allowed = script_changed.wait_for(guard, std::chrono::seconds(20),
                                                 [] { return script().reads_allowed != 0; });
    --script().reads_waiting;
    if (!allowed) {
        std::fputs("a read of the card was never allowed\n", stderr);
        return -EIO;
    }
    script().reads_allowed -= script().reads_allowed > 0 ? 1 : 0;
    if (script().source) {
        return script().source(data, frames, stream->config);
    }
    std::memset(data, 0,
                std::size_t{frames} * stream->config.channels *
                    (pcm_format_to_bits(stream->config.format) / 8));
    return static_cast<int>(frames);
}

int pcm_get_htimestamp(pcm*, unsigned int* avail, timespec* ts) {
    const std::lock_guard guard(script_lock);
    int result = 0;
    if (call_fails(call::pcm_get_htimestamp, &result)) {
        return result;
    }
    *avail = script().avail;
    *ts = {};
    if (!script().times.empty()) {
        *ts = script().times.front();
        script().times.pop_front();
    }
    return 0;
}
