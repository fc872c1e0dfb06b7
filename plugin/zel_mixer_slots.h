#pragma once

#include <sound/asound.h>
#include <tinyalsa/plugin.h>

// Building and releasing the slots of a mixer record's control array. A filled slot owns its name
// and its value record, each one block of malloc, so that a slot whose type a client has changed is
// released all the same; a slot without a value record is empty. All builders copy what they are
// given and leave the slot empty (false) when memory is short. One thread at a time uses a record.

bool zel_fill_integer_slot(snd_control* slot, const char* name, const snd_value_int& content);
bool zel_fill_bytes_slot(snd_control* slot, const char* name, const snd_value_bytes& content);
bool zel_fill_tlv_slot(snd_control* slot, const char* name, const snd_value_tlv_bytes& content);
bool zel_fill_enum_slot(snd_control* slot, const char* name, const char* const* texts,
                        unsigned int items);

/// Releases all slots and the array; the record then has no controls.
void zel_release_slots(mixer_plugin* plugin);
