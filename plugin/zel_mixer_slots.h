#pragma once

#include <sound/asound.h>
#include <tinyalsa/plugin.h>

#include <memory>

// Building and releasing the slots of a mixer record's control array. A filled slot owns its name
// and its value record; a slot without a value record is empty. All builders copy what they are
// given and leave the slot empty when memory is short. One thread at a time uses a record.

struct zel_enum_deleter {
    void operator()(snd_value_enum* record) const;
};
using zel_enum_record = std::unique_ptr<snd_value_enum, zel_enum_deleter>;

/// A record of so many items, all without text yet; null when memory is short.
zel_enum_record zel_new_enum_record(unsigned int items);
/// Gives an item a copy of `text`. False when memory is short.
bool zel_set_enum_text(snd_value_enum* record, unsigned int item, const char* text);

bool zel_fill_integer_slot(snd_control* slot, const char* name, const snd_value_int& content);
bool zel_fill_bytes_slot(snd_control* slot, const char* name, const snd_value_bytes& content);
bool zel_fill_tlv_slot(snd_control* slot, const char* name, const snd_value_tlv_bytes& content);
bool zel_fill_enum_slot(snd_control* slot, const char* name, zel_enum_record content);

/// Releases all slots and the array; the record then has no controls.
void zel_release_slots(mixer_plugin* plugin);
