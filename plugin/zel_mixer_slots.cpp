#include "zel_mixer_slots.h"

#include <cstdlib>
#include <cstring>

#include "zel_format_converter_mixer_plugin.h"

namespace {

/// Takes `value` over; null when there was no memory for it.
bool fill(snd_control* slot, const char* name, snd_ctl_elem_type_t type, void* value) {
    char* own_name = value != nullptr ? strdup(name) : nullptr;
    if (own_name == nullptr) {
        std::free(value);
        return false;
    }
    slot->iface = SNDRV_CTL_ELEM_IFACE_MIXER;
    slot->access = SNDRV_CTL_ELEM_ACCESS_READWRITE;
    slot->name = own_name;
    slot->type = type;
    slot->value = value;
    slot->get = zel_format_converter_mixer_plugin::get;
    slot->put = zel_format_converter_mixer_plugin::put;
    return true;
}

template <typename Record>
void* copy_of(const Record& content) {
    void* copy = std::malloc(sizeof(content));
    return copy != nullptr ? std::memcpy(copy, &content, sizeof(content)) : nullptr;
}

}  // namespace

bool zel_fill_integer_slot(snd_control* slot, const char* name, const snd_value_int& content) {
    return fill(slot, name, SNDRV_CTL_ELEM_TYPE_INTEGER, copy_of(content));
}

bool zel_fill_bytes_slot(snd_control* slot, const char* name, const snd_value_bytes& content) {
    return fill(slot, name, SNDRV_CTL_ELEM_TYPE_BYTES, copy_of(content));
}

bool zel_fill_tlv_slot(snd_control* slot, const char* name, const snd_value_tlv_bytes& content) {
    if (!fill(slot, name, SNDRV_CTL_ELEM_TYPE_BYTES, copy_of(content))) {
        return false;
    }
    slot->access = SNDRV_CTL_ELEM_ACCESS_TLV_READWRITE;
    slot->get = nullptr;
    slot->put = nullptr;
    return true;
}

// One block: the record, the pointers to its texts, the texts.
bool zel_fill_enum_slot(snd_control* slot, const char* name, const char* const* texts,
                        unsigned int items) {
    std::size_t bytes = sizeof(snd_value_enum) + items * sizeof(char*);
    for (unsigned int i = 0; i < items; ++i) {
        bytes += std::strlen(texts[i]) + 1;
    }
    auto* record = static_cast<snd_value_enum*>(std::malloc(bytes));
    if (record != nullptr) {
        record->items = items;
        record->texts = reinterpret_cast<char**>(record + 1);
        auto* text = reinterpret_cast<char*>(record->texts + items);
        for (unsigned int i = 0; i < items; ++i) {
            record->texts[i] = text;
            text = stpcpy(text, texts[i]) + 1;
        }
    }
    return fill(slot, name, SNDRV_CTL_ELEM_TYPE_ENUMERATED, record);
}

void zel_release_slots(mixer_plugin* plugin) {
    for (unsigned int i = 0; plugin->controls != nullptr && i < plugin->num_controls; ++i) {
        // Const only to tinyalsa.
        std::free(const_cast<char*>(plugin->controls[i].name));
        std::free(plugin->controls[i].value);
    }
    delete[] plugin->controls;
}
