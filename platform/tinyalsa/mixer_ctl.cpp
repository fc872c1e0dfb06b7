// Reading and writing a plugin mixer's controls.

#include <tinyalsa/mixer.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "mixer_record.h"

#define ZEL_EXPORT __attribute__((visibility("default")))

namespace {

bool has_tlv_access(const snd_control& slot) {
    return (slot.access & SNDRV_CTL_ELEM_ACCESS_TLV_READWRITE) != 0;
}

/// Whether the values themselves travel in TLVs. An integer control's tell of decibels.
bool is_tlv(const snd_control& slot) {
    return slot.type == SNDRV_CTL_ELEM_TYPE_BYTES && has_tlv_access(slot);
}

template <typename Record>
const Record& value_record(const mixer_ctl* control) {
    return *static_cast<const Record*>(control->slot->value);
}

bool is_type(const mixer_ctl* control, snd_ctl_elem_type_t type) {
    return control != nullptr && control->slot->type == type;
}

snd_ctl_elem_value request(const mixer_ctl* control) {
    snd_ctl_elem_value value{};
    value.id.numid = control->numid;
    return value;
}

int get(const mixer_ctl* control, snd_ctl_elem_value* value) {
    return control->slot->get == nullptr
               ? -EINVAL
               : control->slot->get(control->owner->plugin, control->slot, value);
}

int put(const mixer_ctl* control, snd_ctl_elem_value* value) {
    return control->slot->put == nullptr
               ? -EINVAL
               : control->slot->put(control->owner->plugin, control->slot, value);
}

/// Moves `count` bytes through a TLV control's own handlers.
int transfer_tlv(const mixer_ctl* control, void* to, const void* from, std::size_t count) {
    const auto& record = value_record<snd_value_tlv_bytes>(control);
    if (count > record.size) {
        return -EINVAL;
    }
    const std::unique_ptr<void, decltype(&std::free)> memory(
        std::calloc(1, sizeof(snd_ctl_tlv) + count), std::free);
    auto* tlv = static_cast<snd_ctl_tlv*>(memory.get());
    if (tlv == nullptr) {
        return -ENOMEM;
    }
    tlv->numid = control->numid;
    tlv->length = static_cast<unsigned int>(count);
    auto* payload = static_cast<char*>(memory.get()) + sizeof(snd_ctl_tlv);
    if (from != nullptr) {
        std::memcpy(payload, from, count);
        return record.put(control->owner->plugin, control->slot, tlv);
    }
    const int status = record.get(control->owner->plugin, control->slot, tlv);
    if (status == 0) {
        std::memcpy(to, payload, count);
    }
    return status;
}

/// How many of a control's elements a value record carries.
std::size_t reachable(const mixer_ctl* control) {
    constexpr std::size_t kBytes = sizeof(snd_ctl_elem_value::value.bytes.data);
    constexpr std::size_t kIntegers =
        sizeof(snd_ctl_elem_value::value.integer.value) / sizeof(long);  // and items
    return std::min<std::size_t>(mixer_ctl_get_num_values(control),
                                 is_type(control, SNDRV_CTL_ELEM_TYPE_BYTES) ? kBytes : kIntegers);
}

/// The value area that holds a control's elements, and one element's size; null for a count that
/// the control hasn't.
void* elements(const mixer_ctl* control, snd_ctl_elem_value* value, std::size_t count,
               std::size_t* element_bytes) {
    if (count == 0 || count > reachable(control)) {
        return nullptr;
    }
    switch (control->slot->type) {
        case SNDRV_CTL_ELEM_TYPE_INTEGER:
            *element_bytes = sizeof(value->value.integer.value[0]);
            return value->value.integer.value;
        case SNDRV_CTL_ELEM_TYPE_BYTES:
            *element_bytes = 1;
            return value->value.bytes.data;
        default:
            return nullptr;
    }
}

}  // namespace

extern "C" {

ZEL_EXPORT unsigned int mixer_ctl_get_id(const mixer_ctl* control) {
    // From 0 on for a kernel's card, whose numbers begin with 1; a plugin's begin with 0.
    return control != nullptr ? control->numid - 1 : ~0U;
}

ZEL_EXPORT const char* mixer_ctl_get_name(const mixer_ctl* control) {
    return control != nullptr ? control->slot->name : nullptr;
}

ZEL_EXPORT mixer_ctl_type mixer_ctl_get_type(const mixer_ctl* control) {
    if (is_type(control, SNDRV_CTL_ELEM_TYPE_INTEGER)) {
        return MIXER_CTL_TYPE_INT;
    }
    if (is_type(control, SNDRV_CTL_ELEM_TYPE_ENUMERATED)) {
        return MIXER_CTL_TYPE_ENUM;
    }
    return is_type(control, SNDRV_CTL_ELEM_TYPE_BYTES) ? MIXER_CTL_TYPE_BYTE
                                                       : MIXER_CTL_TYPE_UNKNOWN;
}

ZEL_EXPORT const char* mixer_ctl_get_type_string(const mixer_ctl* control) {
    switch (mixer_ctl_get_type(control)) {
        case MIXER_CTL_TYPE_INT:
            return "INT";
        case MIXER_CTL_TYPE_ENUM:
            return "ENUM";
        case MIXER_CTL_TYPE_BYTE:
            return "BYTE";
        default:
            return "Unknown";
    }
}

ZEL_EXPORT unsigned int mixer_ctl_get_num_values(const mixer_ctl* control) {
    switch (mixer_ctl_get_type(control)) {
        case MIXER_CTL_TYPE_INT:
            return value_record<snd_value_int>(control).count;
        case MIXER_CTL_TYPE_ENUM:
            return 1;
        case MIXER_CTL_TYPE_BYTE:
            return is_tlv(*control->slot) ? value_record<snd_value_tlv_bytes>(control).size
                                          : value_record<snd_value_bytes>(control).size;
        default:
            return 0;
    }
}

ZEL_EXPORT unsigned int mixer_ctl_get_num_enums(const mixer_ctl* control) {
    return is_type(control, SNDRV_CTL_ELEM_TYPE_ENUMERATED)
               ? value_record<snd_value_enum>(control).items
               : 0;
}

ZEL_EXPORT const char* mixer_ctl_get_enum_string(mixer_ctl* control, unsigned int item) {
    return item < mixer_ctl_get_num_enums(control)
               ? value_record<snd_value_enum>(control).texts[item]
               : nullptr;
}

ZEL_EXPORT int mixer_ctl_is_access_tlv_rw(const mixer_ctl* control) {
    return control != nullptr && has_tlv_access(*control->slot);
}

ZEL_EXPORT int mixer_ctl_get_value(const mixer_ctl* control, unsigned int id) {
    if (control == nullptr || id >= reachable(control)) {
        return -EINVAL;
    }
    snd_ctl_elem_value value = request(control);
    const int status = get(control, &value);
    if (status != 0) {
        return status;
    }
    switch (control->slot->type) {
        case SNDRV_CTL_ELEM_TYPE_INTEGER:
            return static_cast<int>(value.value.integer.value[id]);
        case SNDRV_CTL_ELEM_TYPE_ENUMERATED:
            return static_cast<int>(value.value.enumerated.item[id]);
        default:
            return value.value.bytes.data[id];
    }
}

ZEL_EXPORT int mixer_ctl_set_value(mixer_ctl* control, unsigned int id, int wanted) {
    if (control == nullptr || id >= reachable(control)) {
        return -EINVAL;
    }
    snd_ctl_elem_value value = request(control);
    const int status = get(control, &value);
    if (status != 0) {
        return status;
    }
    switch (control->slot->type) {
        case SNDRV_CTL_ELEM_TYPE_INTEGER:
            if (wanted < mixer_ctl_get_range_min(control) ||
                wanted > mixer_ctl_get_range_max(control)) {
                return -EINVAL;
            }
            value.value.integer.value[id] = wanted;
            break;
        case SNDRV_CTL_ELEM_TYPE_ENUMERATED:
            value.value.enumerated.item[id] = static_cast<unsigned int>(wanted);
            break;
        default:
            value.value.bytes.data[id] = static_cast<unsigned char>(wanted);
            break;
    }
    return put(control, &value);
}

ZEL_EXPORT int mixer_ctl_get_array(const mixer_ctl* control, void* array, std::size_t count) {
    if (control == nullptr || array == nullptr) {
        return -EINVAL;
    }
    if (is_tlv(*control->slot)) {
        return transfer_tlv(control, array, nullptr, count);
    }
    snd_ctl_elem_value value = request(control);
    std::size_t element_bytes = 0;
    const void* from = elements(control, &value, count, &element_bytes);
    if (from == nullptr) {
        return -EINVAL;
    }
    const int status = get(control, &value);
    if (status == 0) {
        std::memcpy(array, from, count * element_bytes);
    }
    return status;
}

ZEL_EXPORT int mixer_ctl_set_array(mixer_ctl* control, const void* array, std::size_t count) {
    if (control == nullptr || array == nullptr) {
        return -EINVAL;
    }
    if (is_tlv(*control->slot)) {
        return transfer_tlv(control, nullptr, array, count);
    }
    snd_ctl_elem_value value = request(control);
    std::size_t element_bytes = 0;
    void* to = elements(control, &value, count, &element_bytes);
    if (to == nullptr) {
        return -EINVAL;
    }
    std::memcpy(to, array, count * element_bytes);
    return put(control, &value);
}

ZEL_EXPORT int mixer_ctl_set_enum_by_string(mixer_ctl* control, const char* string) {
    for (unsigned int i = 0; string != nullptr && i < mixer_ctl_get_num_enums(control); ++i) {
        if (std::strcmp(mixer_ctl_get_enum_string(control, i), string) == 0) {
            snd_ctl_elem_value value = request(control);
            value.value.enumerated.item[0] = i;
            return put(control, &value);
        }
    }
    return -EINVAL;
}

ZEL_EXPORT int mixer_ctl_get_range_min(const mixer_ctl* control) {
    return is_type(control, SNDRV_CTL_ELEM_TYPE_INTEGER) ? value_record<snd_value_int>(control).min
                                                         : -EINVAL;
}

ZEL_EXPORT int mixer_ctl_get_range_max(const mixer_ctl* control) {
    return is_type(control, SNDRV_CTL_ELEM_TYPE_INTEGER) ? value_record<snd_value_int>(control).max
                                                         : -EINVAL;
}

}  // extern "C"
