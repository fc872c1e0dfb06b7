// The card's mixer, as tinyalsa's plugin interface has it. Every record shows the same controls;
// the values are the card's.

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>
#include <vector>

#include "loopback_card.h"

#define ZEL_EXPORT __attribute__((visibility("default")))

namespace {

/// A mixer record with its control slots and their value records.
struct record {
    mixer_plugin plugin{};
    snd_control controls[CTL_COUNT]{};
    snd_value_int integers[CTL_COUNT]{};
    snd_value_enum enums[CTL_COUNT]{};
    snd_value_bytes bytes[CTL_COUNT]{};
    snd_value_tlv_bytes tlvs[CTL_COUNT]{};
};

int with_errno(int status) {
    if (status < 0) {
        errno = -status;
    }
    return status;
}

unsigned int id_of(mixer_plugin* plugin, const snd_control* control) {
    return static_cast<unsigned int>(control - plugin->controls);
}

int get(mixer_plugin* plugin, snd_control* control, snd_ctl_elem_value* value) {
    loopback_card& card = loopback_card::instance();
    const unsigned int id = id_of(plugin, control);
    const control_info& info = info_of(id);
    if (info.kind == value_kind::bytes) {
        const std::vector<unsigned char> bytes = card.bytes(id);
        std::memcpy(value->value.bytes.data, bytes.data(), bytes.size());
        return 0;
    }
    for (unsigned int i = 0; i < info.count; ++i) {
        if (info.kind == value_kind::integer) {
            value->value.integer.value[i] = card.integer(id, i);
        } else {
            value->value.enumerated.item[i] = static_cast<unsigned int>(card.integer(id, i));
        }
    }
    return 0;
}

int put(mixer_plugin* plugin, snd_control* control, snd_ctl_elem_value* value) {
    const unsigned int id = id_of(plugin, control);
    const control_info& info = info_of(id);
    if (info.kind == value_kind::bytes) {
        return with_errno(
            loopback_card::instance().set_bytes(id, value->value.bytes.data, info.count));
    }
    std::vector<int> wanted(info.count);
    for (unsigned int i = 0; i < info.count; ++i) {
        const long element = info.kind == value_kind::integer
                                 ? value->value.integer.value[i]
                                 : static_cast<long>(value->value.enumerated.item[i]);
        if (element < info.min || element > info.max) {
            return with_errno(-EINVAL);
        }
        wanted[i] = static_cast<int>(element);
    }
    return with_errno(loopback_card::instance().set_integers(id, wanted));
}

unsigned char* payload_of(snd_ctl_tlv* tlv) {
    return reinterpret_cast<unsigned char*>(tlv) + sizeof(snd_ctl_tlv);
}

int get_tlv(mixer_plugin* plugin, snd_control* control, snd_ctl_tlv* tlv) {
    const std::vector<unsigned char> bytes =
        loopback_card::instance().bytes(id_of(plugin, control));
    if (tlv->length > bytes.size()) {
        return with_errno(-EINVAL);
    }
    std::memcpy(payload_of(tlv), bytes.data(), tlv->length);
    return 0;
}

int put_tlv(mixer_plugin* plugin, snd_control* control, snd_ctl_tlv* tlv) {
    return with_errno(
        loopback_card::instance().set_bytes(id_of(plugin, control), payload_of(tlv), tlv->length));
}

void fill_slot(record* opened, unsigned int id) {
    const control_info& info = info_of(id);
    snd_control& slot = opened->controls[id];
    slot.iface = SNDRV_CTL_ELEM_IFACE_MIXER;
    slot.access = SNDRV_CTL_ELEM_ACCESS_READWRITE;
    slot.name = info.name;
    slot.get = get;
    slot.put = put;
    switch (info.kind) {
        case value_kind::integer:
            slot.type = SNDRV_CTL_ELEM_TYPE_INTEGER;
            opened->integers[id] = {info.count, info.min, info.max, 1};
            slot.value = &opened->integers[id];
            break;
        case value_kind::enumerated:
            slot.type = SNDRV_CTL_ELEM_TYPE_ENUMERATED;
            opened->enums[id] = {static_cast<unsigned int>(info.max) + 1,
                                 const_cast<char**>(info.texts)};
            slot.value = &opened->enums[id];
            break;
        case value_kind::bytes:
            slot.type = SNDRV_CTL_ELEM_TYPE_BYTES;
            opened->bytes[id] = {info.count};
            slot.value = &opened->bytes[id];
            break;
        case value_kind::tlv_bytes:
            slot.type = SNDRV_CTL_ELEM_TYPE_BYTES;
            slot.access = SNDRV_CTL_ELEM_ACCESS_TLV_READWRITE;
            opened->tlvs[id] = {info.count, get_tlv, put_tlv};
            slot.value = &opened->tlvs[id];
            slot.get = nullptr;
            slot.put = nullptr;
            break;
    }
}

int open(mixer_plugin** plugin, unsigned int card) {
    auto* opened = new (std::nothrow) record;
    if (opened == nullptr) {
        return with_errno(-ENOMEM);
    }
    for (unsigned int id = 0; id < CTL_COUNT; ++id) {
        fill_slot(opened, id);
    }
    opened->plugin.card = card;
    opened->plugin.controls = opened->controls;
    opened->plugin.num_controls = CTL_COUNT;
    *plugin = &opened->plugin;
    return 0;
}

void close(mixer_plugin** plugin) {
    loopback_card::instance().unsubscribe(*plugin);
    // tinyalsa makes the descriptor after `open` and leaves it behind.
    if ((*plugin)->eventfd > 0) {
        ::close((*plugin)->eventfd);
    }
    delete reinterpret_cast<record*>(*plugin);
    *plugin = nullptr;
}

int subscribe_events(mixer_plugin* plugin, mixer_event_callback callback) {
    if (callback != nullptr) {
        loopback_card::instance().subscribe(plugin, callback);
    } else {
        loopback_card::instance().unsubscribe(plugin);
    }
    return 0;
}

ssize_t read_event(mixer_plugin* plugin, snd_ctl_event* event, size_t size) {
    if (size < sizeof(*event)) {
        return with_errno(-EINVAL);
    }
    *event = {};
    unsigned int id = 0;
    if (!loopback_card::instance().next_event(plugin, &id)) {
        return 0;
    }
    event->type = SNDRV_CTL_EVENT_ELEM;
    event->data.elem.mask = SNDRV_CTL_EVENT_MASK_VALUE;
    event->data.elem.id.numid = id;
    event->data.elem.id.iface = SNDRV_CTL_ELEM_IFACE_MIXER;
    return sizeof(*event);
}

constexpr struct mixer_plugin_ops make_table() {
    struct mixer_plugin_ops table {};
    table.open = open;
    table.close = close;
    table.subscribe_events = subscribe_events;
    table.read_event = read_event;
    return table;
}

}  // namespace

extern "C" {
ZEL_EXPORT extern const struct mixer_plugin_ops mixer_plugin_ops;
constinit const struct mixer_plugin_ops mixer_plugin_ops = make_table();
}
