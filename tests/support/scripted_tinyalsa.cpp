#include "scripted_tinyalsa.h"

#include <zel_vad_utility.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "script_state.h"

namespace zel_test {

std::mutex script_lock;
std::condition_variable script_changed;

namespace {

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

/// Status of a call that has nothing else to do.
int status_of(call function) {
    const std::lock_guard guard(script_lock);
    int result = 0;
    call_fails(function, &result);
    return result;
}

}  // namespace

// Never destroyed: the converter may outlive the statics.
script_state& script() {
    static auto* const instance = new script_state;
    return *instance;
}

bool call_fails(call function, int* result) {
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

void reset_script() {
    const std::lock_guard guard(script_lock);
    const int handles = script().handles;
    const int reads_waiting = script().reads_waiting;
    script() = script_state{};
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

int calls_of(call function) {
    const std::lock_guard guard(script_lock);
    return script().calls[static_cast<std::size_t>(function)];
}

std::vector<opened_stream> opened_streams() {
    const std::lock_guard guard(script_lock);
    return script().opened;
}

int open_handles() {
    const std::lock_guard guard(script_lock);
    return script().handles;
}

}  // namespace zel_test

int get_json_path(std::string& path, voice_json kind) {
    const int result = zel_test::status_of(zel_test::call::get_json_path);
    if (result == 0) {
        path = kind == VOICE_JSON_DELAY ? "/nonexistent/delay.json" : ZEL_TEST_MIXING_FILE;
    }
    return result;
}

int search_snd_device(std::string, unsigned int* card, unsigned int* device) {
    const int result = zel_test::status_of(zel_test::call::search_snd_device);
    if (result == 0) {
        *card = 3;
        *device = 5;
    }
    return result;
}

int adjust_timestamp(unsigned int avail_frames, unsigned int, timespec* ts) {
    // One nanosecond a frame: visible, and easy to work out.
    ts->tv_nsec += static_cast<long>(avail_frames);
    return zel_test::status_of(zel_test::call::adjust_timestamp);
}
