#pragma once

#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>

#include <ctime>
#include <functional>
#include <string>
#include <vector>

// A tinyalsa and a vad utility that do what the test says. Linking it replaces both. Any thread may
// call anything here. Per-block calls allocate nothing.

namespace zel_test {

enum class call {
    pcm_open,
    pcm_readi,
    pcm_get_htimestamp,
    pcm_close,
    mixer_open,
    mixer_close,
    mixer_get_ctl_by_name,
    mixer_subscribe_events,
    mixer_wait_event,
    mixer_read_event,
    mixer_get_ctl,
    mixer_ctl_get_value,
    mixer_ctl_set_value,
    mixer_ctl_get_array,
    mixer_ctl_set_array,
    mixer_ctl_get_enum_string,
    get_json_path,
    search_snd_device,
    adjust_timestamp,
    count,
};

/// A control of the card, as tinyalsa's accessors show it.
struct scripted_control {
    std::string name = {};
    bool nameless = false;  ///< shows no name
    mixer_ctl_type kind = MIXER_CTL_TYPE_INT;
    std::vector<int> values = {};
    int min = 0;
    int max = 100;
    std::vector<std::string> texts = {};
    std::vector<unsigned char> bytes = {};
    bool tlv = false;
    int refused_element = -1;  ///< writing this one fails with -1 (EPERM)
};

struct opened_stream {
    unsigned int card, device, flags;
    pcm_config config;
};

/// Fills `frames` interleaved frames; what it returns is what pcm_readi returns.
using read_source = std::function<int(void* data, unsigned int frames, const pcm_config& config)>;

/// Back to a card that works: 48000 Hz, 2 channels, S16_LE, layout "2.0", silence, reads held.
void reset_script();

/// Replaces all controls of the card.
void set_controls(std::vector<scripted_control> controls);
scripted_control control_state(const std::string& name);
void set_control(const std::string& name, int value);
void remove_control(const std::string& name);
/// The `nth` call from now on (1 is the next) of `function` and the `times` - 1 after it give
/// `result`; functions that return a pointer give null.
void fail_call(call function, int nth, int result, int times = 1);
/// Has `step` done in each call of get_json_path from now on, which a converter's constructor
/// makes.
void on_get_json_path(std::function<void()> step);
/// Streams of that rate come back not ready, with that error text.
void refuse_rate(unsigned int rate, const std::string& text);
void set_source(read_source source);
/// Lets `blocks` more reads pass; -1 lets all pass. Others wait, at most 20 s.
void allow_reads(int blocks);
/// Reads that are held now.
int reads_waiting();
/// True when a read is held and none is allowed.
bool card_is_idle();
/// Times of the next blocks in order; without any the time stays {0, 0}.
void set_timestamps(std::vector<timespec> times, unsigned int avail);
void push_event(unsigned int numid);
/// No wait for an event waits until the next reset.
void skip_waits();
/// The last time-out that a wait for an event was given.
int last_mixer_wait_ms();

int calls_of(call function);
std::vector<opened_stream> opened_streams();
/// Streams and mixers that are open now.
int open_handles();

}  // namespace zel_test
