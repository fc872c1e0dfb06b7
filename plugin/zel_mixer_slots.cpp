#include "zel_mixer_slots.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "zel_fc_log.h"
#include "zel_format_converter_mixer_plugin.h"

namespace {

using text_owner = std::unique_ptr<char[]>;

text_owner copy_text(const char* text) {
    const std::size_t bytes = std::strlen(text) + 1;
    text_owner copy(new (std::nothrow) char[bytes]);
    if (copy) {
        std::copy_n(text, bytes, copy.get());
    }
    return copy;
}

template <typename Owner>
bool fill(snd_control* slot, const char* name, snd_ctl_elem_type_t type, Owner value) {
    text_owner own_name = copy_text(name);
    if (!own_name || !value) {
        return false;
    }
    slot->iface = SNDRV_CTL_ELEM_IFACE_MIXER;
    slot->access = SNDRV_CTL_ELEM_ACCESS_READWRITE;
    slot->name = own_name.release();
    slot->type = type;
    slot->value = value.release();
    slot->get = zel_format_converter_mixer_plugin::get;
    slot->put = zel_format_converter_mixer_plugin::put;
    return true;
}

template <typename Record>
std::unique_ptr<Record> copy_record(const Record& content) {
    return std::unique_ptr<Record>(new (std::nothrow) Record(content));
}

void release_value(const snd_control& slot) {
    switch (slot.type) {
        case SNDRV_CTL_ELEM_TYPE_ENUMERATED:
            zel_enum_deleter()(static_cast<snd_value_enum*>(slot.value));
            break;
        case SNDRV_CTL_ELEM_TYPE_INTEGER:
            delete static_cast<snd_value_int*>(slot.value);
            break;
        default:
            if (slot.access == SNDRV_CTL_ELEM_ACCESS_TLV_READWRITE) {
                delete static_cast<snd_value_tlv_bytes*>(slot.value);
            } else {
                delete static_cast<snd_value_bytes*>(slot.value);
            }
            break;
    }
}

}  // namespace

void zel_enum_deleter::operator()(snd_value_enum* record) const {
    for (unsigned int i = 0; i < record->items; ++i) {
        delete[] record->texts[i];
    }
    delete[] record->texts;
    delete record;
}

zel_enum_record zel_new_enum_record(unsigned int items) {
    std::unique_ptr<char*[]> texts(new (std::nothrow) char*[items]());
    if (!texts) {
        return nullptr;
    }
    zel_enum_record record(new (std::nothrow) snd_value_enum{items, texts.get()});
    if (record) {
        static_cast<void>(texts.release());
    }
    return record;
}

bool zel_set_enum_text(snd_value_enum* record, unsigned int item, const char* text) {
    ZEL_FC_LOGT("enum string:(%s), len:%d", text, static_cast<int>(std::strlen(text)));
    record->texts[item] = copy_text(text).release();
    return record->texts[item] != nullptr;
}

bool zel_fill_integer_slot(snd_control* slot, const char* name, const snd_value_int& content) {
    return fill(slot, name, SNDRV_CTL_ELEM_TYPE_INTEGER, copy_record(content));
}

bool zel_fill_bytes_slot(snd_control* slot, const char* name, const snd_value_bytes& content) {
    return fill(slot, name, SNDRV_CTL_ELEM_TYPE_BYTES, copy_record(content));
}

bool zel_fill_tlv_slot(snd_control* slot, const char* name, const snd_value_tlv_bytes& content) {
    if (!fill(slot, name, SNDRV_CTL_ELEM_TYPE_BYTES, copy_record(content))) {
        return false;
    }
    slot->access = SNDRV_CTL_ELEM_ACCESS_TLV_READWRITE;
    slot->get = nullptr;
    slot->put = nullptr;
    return true;
}

bool zel_fill_enum_slot(snd_control* slot, const char* name, zel_enum_record content) {
    return fill(slot, name, SNDRV_CTL_ELEM_TYPE_ENUMERATED, std::move(content));
}

void zel_release_slots(mixer_plugin* plugin) {
    if (plugin->controls != nullptr) {
        for (unsigned int i = 0; i < plugin->num_controls; ++i) {
            snd_control& slot = plugin->controls[i];
            if (slot.value != nullptr) {
                delete[] slot.name;
                release_value(slot);
            }
        }
    }
    delete[] plugin->controls;
    plugin->controls = nullptr;
    plugin->num_controls = 0;
}
