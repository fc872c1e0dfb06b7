#pragma once

#include <sys/types.h>
#include <tinyalsa/mixer.h>
// tinyalsa's plugin interface uses the kernel's sound records.
#include <sound/asound.h>
#include <tinyalsa/plugin.h>

#include <cstdint>
#include <string>
#include <vector>

class zel_format_converter;

/// The mixer of virtual card 70: three controls of the converter's own, then a mirror of every
/// control of the card that is captured. A slot's index in the record's array is its numid.
/// tinyalsa finds the operations in the exported table `mixer_plugin_ops`. All run on the client's
/// thread, but for `event_callback`; one thread at a time uses a record, any number of records may
/// be open. Each returns 0 or a negative error number, with errno set to its magnitude, because
/// errno is often all that tinyalsa reports.
namespace zel_format_converter_mixer_plugin {

/// The card's control k is slot k + kOwnControls.
inline constexpr unsigned int kOwnControls = 3;

/// Names of the own controls by numid; the items of "FC log level" and the level of each. Never
/// destroyed: a client's own statics may use a mixer while the process ends.
extern const std::vector<std::string>& vszMIXER_NAME_ITEMS;
extern const std::vector<std::string>& vszLOG_LEVEL_ITEMS;
extern const std::vector<std::uint32_t>& vu32LOG_LEVEL_ITEMS;

/// Makes a record with its whole control array. -22 for another card than 70 or a card control
/// that cannot be mirrored, -19 without the card's mixer, -12; `*plugin` is then left as it was.
int open(mixer_plugin** plugin, unsigned int card);
/// Releases the record; no event reaches it afterwards.
void close(mixer_plugin** plugin);
/// Has `callback` called, on the converter's worker thread, after the first block of every
/// restarted stream; null ends that. The last record that was given here is the only one served.
/// Waits for a call under way; not to be called from inside one.
int subscribe_events(mixer_plugin* plugin, mixer_event_callback callback);
/// Fills in one event when one is pending. `size` bytes then, 0 when none is, or -22 when `size`
/// has no room for one.
ssize_t read_event(mixer_plugin* plugin, snd_ctl_event* event, size_t size);

/// Values of every slot but TLV ones. The paths are text in the control's 128 bytes: reading gives
/// no terminating zero, writing needs one. -22 for a null pointer, a path or log level that cannot
/// be, or a slot that the card no longer has; -19 without the card's mixer; or the card's error.
int get(mixer_plugin* plugin, snd_control* control, snd_ctl_elem_value* value);
int put(mixer_plugin* plugin, snd_control* control, snd_ctl_elem_value* value);
/// Payload of a mirrored TLV slot, `tlv->length` bytes of it. -22 for more than the control has;
/// else the same errors.
int get_tlv(mixer_plugin* plugin, snd_control* control, snd_ctl_tlv* tlv);
int put_tlv(mixer_plugin* plugin, snd_control* control, snd_ctl_tlv* tlv);

/// [worker] What is registered with the converter; `arg` is the record.
void event_callback(void* arg);

// The steps of the above, in files of their own.
/// Builds the array of a new record. On failure the record holds none.
int add_snd_ctl(mixer_plugin* plugin);
/// Appends the mirrored controls. Goes on past a control that cannot be mirrored, so that each is
/// told, but for a lack of memory.
int add_dd_snd_ctl(mixer_plugin* plugin, mixer* mixer);
int get_from_dd(zel_format_converter& converter, snd_control* control, snd_ctl_elem_value* value);
int put_to_dd(zel_format_converter& converter, snd_control* control, snd_ctl_elem_value* value);
/// What every access checks first; false, with a message of `operation`'s, for a null pointer or a
/// nameless control.
bool valid_access(const char* operation, const mixer_plugin* plugin, const snd_control* control,
                  const void* value);

}  // namespace zel_format_converter_mixer_plugin
