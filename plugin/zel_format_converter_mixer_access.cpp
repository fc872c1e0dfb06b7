// Values of the virtual card's own controls, and its events. Runs on client threads, but for the
// event callback.

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "zel_fc_log.h"
#include "zel_format_converter_mixer_plugin.h"
#include "zel_plugin_status.h"
#include "zel_virtual_card.h"

namespace zel_format_converter_mixer_plugin {

namespace {

// Steps of these two log under their names.
constexpr const char* kGet = "get";
constexpr const char* kPut = "put";

/// In the order of their names.
enum own_control : unsigned int { DELAY_PATH, MIXING_PATH, LOG_LEVEL, NOT_OWN };
static_assert(NOT_OWN == kOwnControls);

own_control own_control_of(const snd_control* control) {
    const auto found =
        std::find(vszMIXER_NAME_ITEMS.begin(), vszMIXER_NAME_ITEMS.end(), control->name);
    return static_cast<own_control>(found - vszMIXER_NAME_ITEMS.begin());
}

int get_log_level(zel_format_converter& converter, snd_ctl_elem_value* value) {
    std::uint32_t level{};
    const int status = converter.get(PROP_LOG_LEVEL, &level);
    if (status != 0) {
        ZEL_FC_LOGE_OF(kGet, "get fail");
        return status;
    }
    const auto found = std::find(vu32LOG_LEVEL_ITEMS.begin(), vu32LOG_LEVEL_ITEMS.end(), level);
    if (found == vu32LOG_LEVEL_ITEMS.end()) {
        ZEL_FC_LOGE_OF(kGet, "FC debug value %d not defined", static_cast<int>(level));
        return -EINVAL;
    }
    value->value.enumerated.item[0] =
        static_cast<unsigned int>(found - vu32LOG_LEVEL_ITEMS.begin());
    return 0;
}

int put_log_level(zel_format_converter& converter, const snd_ctl_elem_value* value) {
    const unsigned int item = value->value.enumerated.item[0];
    if (item >= vu32LOG_LEVEL_ITEMS.size()) {
        ZEL_FC_LOGE_OF(kPut, "FC log level item %d not defined", static_cast<int>(item));
        return -EINVAL;
    }
    const std::uint32_t level = vu32LOG_LEVEL_ITEMS[item];
    return converter.set(PROP_LOG_LEVEL, &level);
}

int get_value(zel_format_converter& converter, snd_control* control, snd_ctl_elem_value* value) {
    switch (own_control_of(control)) {
        case DELAY_PATH:
            return converter.get(PROP_DELAY_JSON_PATH, value->value.bytes.data);
        case MIXING_PATH:
            return converter.get(PROP_MIXING_JSON_PATH, value->value.bytes.data);
        case LOG_LEVEL:
            return get_log_level(converter, value);
        case NOT_OWN:
            break;
    }
    const int status = get_from_dd(converter, control, value);
    if (status != 0) {
        ZEL_FC_LOGE_OF(kGet, "get from DD fail");
    }
    return status;
}

int put_value(zel_format_converter& converter, snd_control* control, snd_ctl_elem_value* value) {
    switch (own_control_of(control)) {
        case DELAY_PATH:
            return converter.set(PROP_DELAY_JSON_PATH, value->value.bytes.data);
        case MIXING_PATH:
            return converter.set(PROP_MIXING_JSON_PATH, value->value.bytes.data);
        case LOG_LEVEL:
            return put_log_level(converter, value);
        case NOT_OWN:
            break;
    }
    const int status = put_to_dd(converter, control, value);
    if (status != 0) {
        ZEL_FC_LOGE_OF(kPut, "put to DD fail");
    }
    return status;
}

/// Both directions: the checks, then `step` with the converter.
template <typename Step>
int access(const char* operation, const mixer_plugin* plugin, snd_control* control,
           snd_ctl_elem_value* value, Step step) {
    return zel_guarded([=] {
        zel_format_converter& converter = zel_format_converter::getInstance();
        return valid_access(operation, plugin, control, value) ? step(converter, control, value)
                                                               : -EINVAL;
    });
}

}  // namespace

bool valid_access(const char* operation, const mixer_plugin* plugin, const snd_control* control,
                  const void* value) {
    if (plugin == nullptr) {
        ZEL_FC_LOGE_OF(operation, "pstMixerPlugin is null");
    } else if (control == nullptr) {
        ZEL_FC_LOGE_OF(operation, "Invalid sound control");
    } else if (value == nullptr) {
        ZEL_FC_LOGE_OF(operation, "Invalid elem value");
    } else if (control->name == nullptr) {
        ZEL_FC_LOGE_OF(operation, "control name is nullptr");
    } else {
        return true;
    }
    return false;
}

int get(mixer_plugin* plugin, snd_control* control, snd_ctl_elem_value* value) {
    ZEL_FC_LOGT("+");
    const int status = access(kGet, plugin, control, value, get_value);
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

int put(mixer_plugin* plugin, snd_control* control, snd_ctl_elem_value* value) {
    ZEL_FC_LOGT("+");
    const int status = access(kPut, plugin, control, value, put_value);
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

int subscribe_events(mixer_plugin* plugin, mixer_event_callback callback) {
    ZEL_FC_LOGT("+");
    int status = -EINVAL;
    if (plugin == nullptr) {
        ZEL_FC_LOGE("pstMixerPlugin is null");
    } else {
        // The worker may be reading it this moment.
        __atomic_store_n(&plugin->priv, reinterpret_cast<void*>(callback), __ATOMIC_RELEASE);
        status = zel_guarded([=] {
            return zel_format_converter::getInstance().register_cb(event_callback, plugin);
        });
    }
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

void event_callback(void* arg) {
    ZEL_FC_LOGT("+");
    if (auto* plugin = static_cast<mixer_plugin*>(arg); plugin != nullptr) {
        const auto callback = reinterpret_cast<mixer_event_callback>(
            __atomic_load_n(&plugin->priv, __ATOMIC_ACQUIRE));
        if (callback != nullptr) {
            callback(plugin);
        }
    }
    ZEL_FC_LOGT("-");
}

ssize_t read_event(mixer_plugin* plugin, snd_ctl_event* event, size_t size) {
    ZEL_FC_LOGT("+");
    ssize_t result = -EINVAL;
    if (plugin == nullptr) {
        ZEL_FC_LOGE("pstMixerPlugin is null");
    } else if (event == nullptr) {
        ZEL_FC_LOGE("pstSndCtlEvent is null");
    } else if (size < sizeof(*event)) {
        ZEL_FC_LOGE("%d bytes have no room for an event", static_cast<int>(size));
    } else {
        *event = {};  // of type SNDRV_CTL_EVENT_ELEM
        result = 0;
        // tinyalsa counts up on the worker thread.
        if (__atomic_load_n(&plugin->event_cnt, __ATOMIC_ACQUIRE) != 0) {
            event->data.elem.mask = SNDRV_CTL_EVENT_MASK_VALUE;
            event->data.elem.id.iface = SNDRV_CTL_ELEM_IFACE_MIXER;
            event->data.elem.id.device = kZelVirtualDevice;
            result = static_cast<ssize_t>(size);
        }
    }
    ZEL_FC_LOGT("-");
    zel_with_errno(static_cast<int>(result));
    return result;
}

}  // namespace zel_format_converter_mixer_plugin
