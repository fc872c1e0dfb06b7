// The worker thread "FC routine": sleeps until a command arrives and, while the stream is started,
// captures, converts and stores one 32 ms block after the other. The blocking read of the capture
// device sets the pace.

#include <pthread.h>
#include <sys/ioctl.h>

#include <cfenv>

#include "zel_fc_log.h"
#include "zel_format_converter.h"

namespace {

/// What the worker waits for before its next look at the status, in milliseconds.
int poll_timeout(std::int32_t status, std::uint32_t card_failures) {
    if (status != FC_START) {
        return -1;
    }
    // A card that fails again and again must not spin the CPU: from the second failure in a row
    // the worker waits one block, for commands.
    return card_failures >= 2 ? static_cast<int>(zel_format_converter::kBlockMs) : 0;
}

}  // namespace

void* zel_format_converter::routine() {
    ZEL_FC_LOGI("+");
    pthread_setname_np(pthread_self(), "FC routine");
    // Not the rounding and denormal modes of the client that happened to come first.
    std::fesetenv(FE_DFL_ENV);
    zel_epoll poller;
    timespec ts{};

    bool running = false;
    if (poller.init() < 0) {
        ZEL_FC_LOGE("epoll init fail");
    } else if (poller.set_timeout(-1) < 0) {
        ZEL_FC_LOGE("epoll set timeout fail");
    } else if (s32CmdPipe[0] <= 0 || poller.add(s32CmdPipe[0]) < 0) {
        ZEL_FC_LOGE("epoll add fd(%d) timeout fail", s32CmdPipe[0]);
    } else {
        running = true;
    }
    while (running) {
        const int ready = poller.wait();
        if (static_cast<unsigned int>(ready) > zel_epoll::kEventSlots) {
            ZEL_FC_LOGE("ezpoll_wait returen invalid value %d.", ready);
            break;
        }
        handle_commands(poller, ready);
        if (eFCStatus == FC_CLOSE) {
            ZEL_FC_LOGI("fc routine idle");
        } else if (eFCStatus == FC_START) {
            run_capture_cycle(&ts);
        } else if (eFCStatus == FC_EXIT) {
            ZEL_FC_LOGI("fc routine terminate");
            break;
        } else if (eFCStatus != FC_OPEN) {
            ZEL_FC_LOGE("Unknown command fc %d", eFCStatus);
            break;
        }
        if (poller.set_timeout(poll_timeout(eFCStatus, u32CardFailures)) < 0) {
            ZEL_FC_LOGE("epoll set timeout fail");
            break;
        }
    }

    ZEL_FC_LOGI("-");
    if (poller.deinit() < 0) {
        ZEL_FC_LOGE("epoll deinit fail");
    }
    clean_fc_resource();
    bRoutineEnded = true;
    return nullptr;
}

void zel_format_converter::handle_commands(const zel_epoll& poller, int ready) {
    for (int i = 0; i < ready; ++i) {
        const epoll_event& event = poller.astEvents[static_cast<std::size_t>(i)];
        if (event.data.fd != s32CmdPipe[0] || (event.events & EPOLLIN) == 0) {
            continue;
        }
        // The poller reports an arrival once. Commands that piled up behind a long read must all be
        // taken now, or each would be answered one command too late for ever after.
        int bytes{};
        do {
            process_command();
        } while (eFCStatus != FC_EXIT && ioctl(s32CmdPipe[0], FIONREAD, &bytes) == 0 && bytes > 0);
    }
}

/// Speaks in the name of `routine`.
void zel_format_converter::run_capture_cycle(timespec* ts) {
    constexpr const char* kRoutine = "routine";
    if (check_mixer_event() != 0) {
        ZEL_FC_LOGE_OF(kRoutine, "check mixer event fail");
        return;
    }
    if (read_pcm_device(ts) != 0) {
        ZEL_FC_LOGE_OF(kRoutine, "read pcm device fail");
        ++u32CardFailures;
        return;
    }
    u32CardFailures = 0;
    if (process_fc() != 0) {
        ZEL_FC_LOGE_OF(kRoutine, "process_fc format converter fail");
        return;
    }
    if (pstRingBuf->write(pstOutInfo->pu8Buf.get(), pstOutInfo->u32BufSize, ts) != 0) {
        ZEL_FC_LOGE_OF(kRoutine, "write to ring buffer fail");
        return;
    }
    notify_event();
}
