// Watching the card: its mixer with the event subscription, what its change events lead to, its
// channel layout, and the news of a restarted stream for the client. Runs on the worker.

#include <cerrno>
#include <new>

#include "zel_fc_log.h"
#include "zel_format_converter.h"
#include "zel_format_converter_mixing_wrapper.h"

namespace {
constexpr const char* kCheck = "check_mixer_event";
}

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

/// Handles at most one event, unless a restart fails: then newer events come first in the waits
/// between the attempts.
int zel_format_converter::check_mixer_event() {
    constexpr int kRetryWaitMs = 32;
    for (std::uint32_t failures = 0;;) {
        std::uint32_t numid{};
        const int taken = take_mixer_event(failures == 0 ? 0 : kRetryWaitMs, &numid);
        if (taken < 0 || (taken == 0 && failures == 0)) {
            return taken;
        }
        if (taken == 1 && numid != u32RestartCtlId && numid != u32LayoutCtlId) {
            ZEL_FC_LOGE("unexpected event %d", static_cast<int>(numid));
            return -EINVAL;
        }
        if (taken == 1 && numid == u32RestartCtlId) {
            get_loopback_source();
        }
        const bool restarts = taken == 0 || numid == u32RestartCtlId;
        int status = -ENOMEM;
        try {
            status = restarts ? restart_fc() : follow_layout();
        } catch (const std::bad_alloc&) {
            if (restarts) {
                fail_restart(status);
            }
        }
        if (!restarts) {
            return status;
        }
        if (status == 0) {
            bEventPending = true;
            return 0;
        }
        ZEL_FC_LOGE("restart fc fail count %d", static_cast<int>(failures));
        if (++failures >= u32RestartLimit) {
            ZEL_FC_LOGE("fatal error can't open DD more than %d times", static_cast<int>(failures));
            return status;
        }
    }
}

/// 1 with an event's control id, 0 when none came in time, or the card's error. Speaks in the name
/// of check_mixer_event, as `follow_layout` does.
int zel_format_converter::take_mixer_event(int timeout_ms, std::uint32_t* numid) {
    const int waited = mixer_wait_event(pstMixer, timeout_ms);
    if (waited < 0) {
        ZEL_FC_LOGE_OF(kCheck, "mixer wait event fail (%d)", waited);
        ++u32CardFailures;
        return waited;
    }
    mixer_ctl_event event{};
    const int size = waited == 1 ? mixer_read_event(pstMixer, &event) : 0;
    if (size < 0) {
        ZEL_FC_LOGE_OF(kCheck, "mixer consume event fail(%d)", size);
        ++u32CardFailures;
        return size;
    }
    *numid = event.data.element.id.numid;
    // A wake-up without an event leaves the record empty.
    if (size == 0 && *numid == 0) {
        ZEL_FC_LOGT_OF(kCheck, "no event received");
        return 0;
    }
    return 1;
}

int zel_format_converter::follow_layout() {
    int status = get_channel_layout();
    if (status != 0) {
        ZEL_FC_LOGE_OF(kCheck, "get channel layout fail");
        return status;
    }
    status = zel_fc_lib_mixing_channel_change(strChannelLayout);
    if (status != 0) {
        ZEL_FC_LOGE_OF(kCheck, "change channel layout fail");
    }
    return status;
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
    strChannelLayout = text;
    return 0;
}

void zel_format_converter::notify_event() {
    if (!bEventPending) {
        return;
    }
    {
        const std::lock_guard lock(mEventCbLock);
        if (fnEventCb) {
            fnEventCb(pEventCbArg);
        }
    }
    bEventPending = false;
}
