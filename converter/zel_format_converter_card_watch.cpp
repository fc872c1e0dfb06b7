// Watching the card: its mixer with the event subscription, its channel layout, and the news of a
// restarted stream for the client. Runs on the worker.

#include <cerrno>
#include <new>

#include "zel_fc_log.h"
#include "zel_format_converter.h"

int zel_format_converter::subscribe_mixer_device() {
    pstMixer = mixer_open(u32Card);
    if (pstMixer == nullptr) {
        ZEL_FC_LOGE("open mixer fail");
        return -1;
    }
    if (mixer_subscribe_events(pstMixer, 1) < 0) {
        ZEL_FC_LOGE("subscribe mixer fail\n");
        return -1;
    }
    bEventPending = false;
    return 0;
}

/// The card's changes are not followed yet: a stream keeps the settings it was opened with.
int zel_format_converter::check_mixer_event() {
    return 0;
}

int zel_format_converter::get_channel_layout() {
    mixer_ctl* control = mixer_get_ctl_by_name(pstMixer, strLayoutCtlName.c_str());
    if (control == nullptr) {
        ZEL_FC_LOGE("mixer control get active ID fail");
        return -EINVAL;
    }
    const int item = mixer_ctl_get_value(control, 0);
    const char* text =
        item < 0 ? nullptr : mixer_ctl_get_enum_string(control, static_cast<unsigned int>(item));
    if (text == nullptr) {
        ZEL_FC_LOGE("get channel layout name fail");
        return -EINVAL;
    }
    try {
        strChannelLayout = text;
    } catch (const std::bad_alloc&) {
        ZEL_FC_LOGE("get channel layout name fail");
        return -ENOMEM;
    }
    return 0;
}

void zel_format_converter::notify_event() {
    if (!bEventPending) {
        return;
    }
    std::function<void(void*)> callback;
    void* arg = nullptr;
    {
        const std::lock_guard lock(mEventCbLock);
        callback = fnEventCb;
        arg = pEventCbArg;
    }
    if (callback) {
        callback(arg);
    }
    bEventPending = false;
}
