// The card's controls behind the virtual card's mixer: the mirrored slots, and every access passed
// on. Nothing of the card is kept: each access opens its mixer anew. Runs on client threads.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <limits>
#include <memory>
#include <new>

#include "zel_fc_log.h"
#include "zel_format_converter_mixer_plugin.h"
#include "zel_mixer_slots.h"
#include "zel_plugin_status.h"

namespace zel_format_converter_mixer_plugin {

namespace {

struct mixer_closer {
    void operator()(mixer* opened) const { mixer_close(opened); }
};

/// One control of the freshly opened card, for one operation, whose name all messages bear;
/// without one, `status` tells why.
struct card_control {
    const char* operation;
    std::unique_ptr<mixer, mixer_closer> card;
    mixer_ctl* control = nullptr;
    int status = 0;
};

card_control open_card_control(const char* operation, unsigned int card_number,
                               unsigned int numid) {
    card_control opened{operation, {mixer_open(card_number), {}}};
    if (!opened.card) {
        ZEL_FC_LOGE_OF(operation, "mixer open card %d fail", static_cast<int>(card_number));
        opened.status = -ENODEV;
        return opened;
    }
    const unsigned int index = numid - kOwnControls;
    opened.control = mixer_get_ctl(opened.card.get(), index);
    if (opened.control == nullptr) {
        ZEL_FC_LOGE_OF(operation, "Unknown mixer ID %d in submodule", static_cast<int>(index));
        opened.status = -EINVAL;
    }
    return opened;
}

/// The card decides how many elements there are; the value record has room for so many only.
bool fits_record(const char* operation, const snd_control& slot, const snd_ctl_elem_value& value,
                 unsigned int count) {
    const std::size_t room = slot.type == SNDRV_CTL_ELEM_TYPE_BYTES
                                 ? std::size(value.value.bytes.data)
                                 : std::size(value.value.integer.value);
    if (count > room) {
        ZEL_FC_LOGE_OF(operation, "control has %d elements, more than %d", static_cast<int>(count),
                       static_cast<int>(room));
    }
    return count <= room;
}

/// The card may have other controls by now, and arrays of other kinds have longer elements.
bool holds_bytes(const card_control& opened) {
    const int kind = mixer_ctl_get_type(opened.control);
    if (kind != MIXER_CTL_TYPE_BYTE) {
        ZEL_FC_LOGE_OF(opened.operation, "control is of kind %d now, not of bytes", kind);
    }
    return kind == MIXER_CTL_TYPE_BYTE;
}

int read_bytes(const card_control& opened, void* bytes, unsigned int count) {
    if (!holds_bytes(opened)) {
        return -EINVAL;
    }
    const int status = mixer_ctl_get_array(opened.control, bytes, count);
    if (status != 0) {
        ZEL_FC_LOGE_OF(opened.operation, "mixer_ctl_get_array fail %d", status);
    }
    return status;
}

int write_bytes(const card_control& opened, void* bytes, unsigned int count) {
    if (!holds_bytes(opened)) {
        return -EINVAL;
    }
    const int status = mixer_ctl_set_array(opened.control, bytes, count);
    if (status != 0) {
        ZEL_FC_LOGE_OF(opened.operation, "mixer_ctl_set_array fail %d", status);
    }
    return status;
}

/// A value beyond what the card's interface takes is beyond the control's range, too.
int clamp_to_int(long value) {
    return static_cast<int>(
        std::clamp<long>(value, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
}

// The mirroring of one control logs under the name of add_dd_snd_ctl.
constexpr const char* kAdd = "add_dd_snd_ctl";

int no_memory(const char* name) {
    ZEL_FC_LOGE_OF(kAdd, "no memory to mirror \"%s\"", name);
    return -ENOMEM;
}

int mirror_integer(snd_control* slot, mixer_ctl* control, const char* name) {
    const snd_value_int range{mixer_ctl_get_num_values(control), mixer_ctl_get_range_min(control),
                              mixer_ctl_get_range_max(control), 0};
    ZEL_FC_LOGT_OF(kAdd, "name=%s type=%d count=%d, min=%d, max=%d, step=%d\n", name,
                   MIXER_CTL_TYPE_INT, static_cast<int>(range.count), range.min, range.max,
                   range.step);
    return zel_fill_integer_slot(slot, name, range) ? 0 : no_memory(name);
}

int mirror_enumerated(snd_control* slot, mixer_ctl* control, const char* name) {
    const unsigned int items = mixer_ctl_get_num_enums(control);
    const std::unique_ptr<const char*[]> texts(new (std::nothrow) const char*[items]);
    if (!texts) {
        return no_memory(name);
    }
    ZEL_FC_LOGT_OF(kAdd, "name=%s type=%d items=%d", name, MIXER_CTL_TYPE_ENUM,
                   static_cast<int>(items));
    for (unsigned int i = 0; i < items; ++i) {
        texts[i] = mixer_ctl_get_enum_string(control, i);
        if (texts[i] == nullptr) {
            ZEL_FC_LOGE_OF(kAdd, "Fail to get enum string");
            return -EINVAL;
        }
        ZEL_FC_LOGT_OF(kAdd, "enum string:(%s), len:%d", texts[i],
                       static_cast<int>(std::strlen(texts[i])));
    }
    return zel_fill_enum_slot(slot, name, texts.get(), items) ? 0 : no_memory(name);
}

int mirror_bytes(snd_control* slot, mixer_ctl* control, const char* name) {
    const unsigned int size = mixer_ctl_get_num_values(control);
    if (mixer_ctl_is_access_tlv_rw(control) != 0) {
        ZEL_FC_LOGT_OF(kAdd, "TLV access name=%s type=%d size=%d", name, MIXER_CTL_TYPE_BYTE,
                       static_cast<int>(size));
        return zel_fill_tlv_slot(slot, name, {size, get_tlv, put_tlv}) ? 0 : no_memory(name);
    }
    ZEL_FC_LOGT_OF(kAdd, "ELEM access name=%s type=%d size=%d", name, MIXER_CTL_TYPE_BYTE,
                   static_cast<int>(size));
    return zel_fill_bytes_slot(slot, name, {size}) ? 0 : no_memory(name);
}

int mirror(snd_control* slot, mixer_ctl* control) {
    const int kind = control != nullptr ? mixer_ctl_get_type(control) : MIXER_CTL_TYPE_UNKNOWN;
    const char* name = control != nullptr ? mixer_ctl_get_name(control) : nullptr;
    ZEL_FC_LOGT_OF(kAdd, "add %s", name != nullptr ? name : "");
    if (kind != MIXER_CTL_TYPE_INT && kind != MIXER_CTL_TYPE_ENUM && kind != MIXER_CTL_TYPE_BYTE) {
        ZEL_FC_LOGE_OF(kAdd, "Unknown eMixerCtlType:%d", kind);
        return -EINVAL;
    }
    if (name == nullptr) {
        ZEL_FC_LOGE_OF(kAdd, "Fail to get name");
        return -EINVAL;
    }
    return kind == MIXER_CTL_TYPE_INT    ? mirror_integer(slot, control, name)
           : kind == MIXER_CTL_TYPE_ENUM ? mirror_enumerated(slot, control, name)
                                         : mirror_bytes(slot, control, name);
}

/// The record's length field also tells the room behind it, so the control's size is the one bound.
bool valid_tlv_slot(const card_control& opened, const snd_control& slot, const snd_ctl_tlv& tlv) {
    if (slot.type != SNDRV_CTL_ELEM_TYPE_BYTES) {
        ZEL_FC_LOGE_OF(opened.operation, "snd ctl type %d is not valid",
                       static_cast<int>(slot.type));
        return false;
    }
    if (slot.access != SNDRV_CTL_ELEM_ACCESS_TLV_READWRITE) {
        ZEL_FC_LOGE_OF(opened.operation, "snd ctl access %d is not valid",
                       static_cast<int>(slot.access));
        return false;
    }
    const unsigned int size = static_cast<const snd_value_tlv_bytes*>(slot.value)->size;
    if (tlv.length > size) {
        ZEL_FC_LOGE_OF(opened.operation, "tlv length %d is more than the control's %d bytes",
                       static_cast<int>(tlv.length), static_cast<int>(size));
        return false;
    }
    return true;
}

/// Both directions: the checks, then `transfer` with the card's control.
int access_tlv(const char* operation, const mixer_plugin* plugin, const snd_control* control,
               snd_ctl_tlv* tlv, int (*transfer)(const card_control&, void*, unsigned int)) {
    return zel_guarded([=]() -> int {
        const zel_format_converter& converter = zel_format_converter::getInstance();
        if (!valid_access(operation, plugin, control, tlv)) {
            return -EINVAL;
        }
        const card_control opened = open_card_control(operation, converter.card(), tlv->numid);
        if (opened.status != 0) {
            return opened.status;
        }
        return valid_tlv_slot(opened, *control, *tlv) ? transfer(opened, tlv + 1, tlv->length)
                                                      : -EINVAL;
    });
}

}  // namespace

int add_dd_snd_ctl(mixer_plugin* plugin, mixer* mixer) {
    int status = 0;
    for (unsigned int k = 0; k < mixer_get_num_ctls(mixer); ++k) {
        const int mirrored = mirror(&plugin->controls[k + kOwnControls], mixer_get_ctl(mixer, k));
        if (mirrored == -ENOMEM) {
            return -ENOMEM;
        }
        status = mirrored != 0 ? mirrored : status;
    }
    return status;
}

int get_from_dd(zel_format_converter& converter, snd_control* control, snd_ctl_elem_value* value) {
    const card_control opened = open_card_control(__func__, converter.card(), value->id.numid);
    if (opened.status != 0) {
        return opened.status;
    }
    const unsigned int count = mixer_ctl_get_num_values(opened.control);
    if (!fits_record(__func__, *control, *value, count)) {
        return -EINVAL;
    }
    if (control->type == SNDRV_CTL_ELEM_TYPE_BYTES) {
        return read_bytes(opened, value->value.bytes.data, count);
    }
    for (unsigned int i = 0; i < count; ++i) {
        if (control->type == SNDRV_CTL_ELEM_TYPE_INTEGER) {
            value->value.integer.value[i] = mixer_ctl_get_value(opened.control, i);
        } else if (control->type == SNDRV_CTL_ELEM_TYPE_ENUMERATED) {
            value->value.enumerated.item[i] =
                static_cast<unsigned int>(mixer_ctl_get_value(opened.control, 0));
        }
    }
    return 0;
}

int put_to_dd(zel_format_converter& converter, snd_control* control, snd_ctl_elem_value* value) {
    const card_control opened = open_card_control(__func__, converter.card(), value->id.numid);
    if (opened.status != 0) {
        return opened.status;
    }
    const unsigned int count = mixer_ctl_get_num_values(opened.control);
    if (!fits_record(__func__, *control, *value, count)) {
        return -EINVAL;
    }
    if (control->type == SNDRV_CTL_ELEM_TYPE_BYTES) {
        return write_bytes(opened, value->value.bytes.data, count);
    }
    int status = 0;
    for (unsigned int i = 0; i < count; ++i) {
        const int element = control->type == SNDRV_CTL_ELEM_TYPE_INTEGER
                                ? clamp_to_int(value->value.integer.value[i])
                                : static_cast<int>(value->value.enumerated.item[i]);
        status = mixer_ctl_set_value(opened.control, i, element);
    }
    if (status != 0) {
        ZEL_FC_LOGE("mixer_ctl_set_value fail %d", status);
    }
    return status;
}

int get_tlv(mixer_plugin* plugin, snd_control* control, snd_ctl_tlv* tlv) {
    ZEL_FC_LOGT("+");
    const int status = access_tlv(__func__, plugin, control, tlv, read_bytes);
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

int put_tlv(mixer_plugin* plugin, snd_control* control, snd_ctl_tlv* tlv) {
    ZEL_FC_LOGT("+");
    const int status = access_tlv(__func__, plugin, control, tlv, write_bytes);
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

}  // namespace zel_format_converter_mixer_plugin
