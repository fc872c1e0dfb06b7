// The mixer of the scripted tinyalsa.

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>

#include "script_state.h"

using zel_test::call;
using zel_test::call_fails;
using zel_test::script;
using zel_test::script_changed;
using zel_test::script_lock;
using zel_test::scripted_control;

struct mixer {
    bool subscribed;
};

namespace {

/// What the script says a call returns, or else what `step` does.
template <typename Step>
int scripted(call function, Step step) {
    const std::lock_guard guard(script_lock);
    int result = 0;
    return call_fails(function, &result) ? result : step();
}

}  // namespace

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
    return scripted(call::mixer_subscribe_events, [] { return 0; });
}

int mixer_wait_event(mixer* opened, int timeout) {
    std::unique_lock guard(script_lock);
    int result = 0;
    if (call_fails(call::mixer_wait_event, &result)) {
        return result;
    }
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
