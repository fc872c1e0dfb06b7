// Mixers of plugin cards: opening, finding controls, events.

#include <poll.h>
#include <sys/eventfd.h>
#include <tinyalsa/mixer.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>
#include <new>

#include "mixer_record.h"

#define ZEL_EXPORT __attribute__((visibility("default")))

namespace {

/// Called by the plugin, on a thread of its choice, when an event is there to be read.
void on_event(mixer_plugin* plugin) {
    pthread_mutex_lock(&plugin->mutex);
    // Atomic besides: plugins look at the count without the lock.
    __atomic_add_fetch(&plugin->event_cnt, 1, __ATOMIC_RELEASE);
    const std::uint64_t one = 1;
    static_cast<void>(::write(plugin->eventfd, &one, sizeof(one)) == sizeof(one));
    pthread_mutex_unlock(&plugin->mutex);
}

bool known_type(snd_ctl_elem_type_t type) {
    return type == SNDRV_CTL_ELEM_TYPE_INTEGER || type == SNDRV_CTL_ELEM_TYPE_ENUMERATED ||
           type == SNDRV_CTL_ELEM_TYPE_BYTES;
}

bool take_controls(mixer* opened) {
    opened->controls.resize(opened->plugin->num_controls);
    for (unsigned int i = 0; i < opened->plugin->num_controls; ++i) {
        snd_control* slot = &opened->plugin->controls[i];
        if (slot->name == nullptr || slot->value == nullptr || !known_type(slot->type)) {
            return false;
        }
        opened->controls[i] = {opened, i, slot};
    }
    return true;
}

/// Counts `events` as dealt with, or as many as there are.
void settle(mixer_plugin* plugin, int events) {
    pthread_mutex_lock(&plugin->mutex);
    const int settled = std::min(events, plugin->event_cnt);
    if (settled > 0 && __atomic_sub_fetch(&plugin->event_cnt, settled, __ATOMIC_RELEASE) == 0) {
        std::uint64_t pending = 0;
        static_cast<void>(::read(plugin->eventfd, &pending, sizeof(pending)) == sizeof(pending));
    }
    pthread_mutex_unlock(&plugin->mutex);
}

}  // namespace

extern "C" {

ZEL_EXPORT mixer* mixer_open(unsigned int card) {
    try {
        auto opened = std::make_unique<mixer>();
        if (!opened->node.load(card_node::kind::mixer, card, 0)) {
            errno = ENODEV;
            return nullptr;
        }
        opened->ops = static_cast<const mixer_plugin_ops*>(opened->node.ops());
        if (opened->ops->open(&opened->plugin, card) != 0 || opened->plugin == nullptr) {
            opened->plugin = nullptr;
            return nullptr;
        }
        opened->plugin->eventfd = eventfd(0, EFD_CLOEXEC);
        pthread_mutex_init(&opened->plugin->mutex, nullptr);
        opened->name = opened->node.name();
        if (opened->plugin->eventfd < 0 || !take_controls(opened.get())) {
            opened.reset();
            errno = EINVAL;
            return nullptr;
        }
        return opened.release();
    } catch (const std::bad_alloc&) {
        errno = ENOMEM;
        return nullptr;
    }
}

ZEL_EXPORT void mixer_close(mixer* opened) {
    delete opened;
}

ZEL_EXPORT const char* mixer_get_name(const mixer* opened) {
    return opened != nullptr ? opened->name.c_str() : nullptr;
}

ZEL_EXPORT unsigned int mixer_get_num_ctls(const mixer* opened) {
    return opened != nullptr ? static_cast<unsigned int>(opened->controls.size()) : 0;
}

ZEL_EXPORT unsigned int mixer_get_num_ctls_by_name(const mixer* opened, const char* name) {
    unsigned int count = 0;
    if (opened != nullptr && name != nullptr) {
        for (const mixer_ctl& control : opened->controls) {
            count += std::strcmp(control.slot->name, name) == 0;
        }
    }
    return count;
}

ZEL_EXPORT mixer_ctl* mixer_get_ctl(mixer* opened, unsigned int id) {
    return opened != nullptr && id < opened->controls.size() ? &opened->controls[id] : nullptr;
}

ZEL_EXPORT mixer_ctl* mixer_get_ctl_by_name(mixer* opened, const char* name) {
    if (opened != nullptr && name != nullptr) {
        for (mixer_ctl& control : opened->controls) {
            if (std::strcmp(control.slot->name, name) == 0) {
                return &control;
            }
        }
    }
    return nullptr;
}

ZEL_EXPORT int mixer_subscribe_events(mixer* opened, int subscribe) {
    if (opened == nullptr) {
        return -EINVAL;
    }
    const int status =
        opened->ops->subscribe_events(opened->plugin, subscribe != 0 ? on_event : nullptr);
    if (status == 0) {
        opened->plugin->subscribed = subscribe != 0;
        if (subscribe == 0) {
            settle(opened->plugin, std::numeric_limits<int>::max());
        }
    }
    return status;
}

ZEL_EXPORT int mixer_wait_event(mixer* opened, int timeout) {
    if (opened == nullptr) {
        return -EINVAL;
    }
    pollfd pfd{opened->plugin->eventfd, POLLIN, 0};
    const int ready = ::poll(&pfd, 1, timeout);
    if (ready < 0) {
        return -errno;
    }
    if (ready == 0) {
        return 0;
    }
    return (pfd.revents & (POLLERR | POLLNVAL)) != 0 ? -ENODEV : 1;
}

ZEL_EXPORT int mixer_read_event(mixer* opened, mixer_ctl_event* event) {
    if (opened == nullptr || event == nullptr) {
        return -EINVAL;
    }
    static_assert(sizeof(mixer_ctl_event) == sizeof(snd_ctl_event));
    mixer_plugin* plugin = opened->plugin;
    // What is counted from here on may have come too late for the plugin to deliver it.
    const bool announced = __atomic_load_n(&plugin->event_cnt, __ATOMIC_ACQUIRE) > 0;
    const ssize_t size =
        opened->ops->read_event(plugin, reinterpret_cast<snd_ctl_event*>(event), sizeof(*event));
    if (size < 0) {
        return static_cast<int>(size);
    }
    settle(plugin, announced ? 1 : 0);
    return size == sizeof(*event) ? 1 : 0;
}

ZEL_EXPORT int mixer_consume_event(mixer* opened) {
    mixer_ctl_event event{};
    return mixer_read_event(opened, &event);
}

}  // extern "C"
