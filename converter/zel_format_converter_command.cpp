// The command channel: clients write 40-byte records into one pipe, the worker carries each out and
// writes a 4-byte result into the other. Results carry no name but come in the order of the
// commands; so a sender skips as many as earlier senders, who had given up, are still owed.

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <exception>
#include <new>

#include "zel_fc_log.h"
#include "zel_format_converter.h"

namespace {

/// Another number instead of 0, which stands for "not open" here and is free to be handed out in a
/// process without standard input.
bool make_usable(std::int32_t* fd) {
    if (*fd == 0) {
        *fd = fcntl(0, F_DUPFD_CLOEXEC, 1);
        ::close(0);
    }
    return *fd > 0;
}

void close_pipe(std::int32_t (&ends)[2]) {
    for (std::int32_t& fd : ends) {
        if (fd > 0) {
            ::close(fd);
        }
        fd = 0;
    }
}

bool create_pipe(std::int32_t (&ends)[2]) {
    if (pipe2(ends, O_NONBLOCK | O_CLOEXEC) != 0) {
        return false;
    }
    const bool first = make_usable(&ends[0]);
    return make_usable(&ends[1]) && first;
}

/// The signals that the worker leaves to other threads: the host process's handlers have no
/// business on a real-time thread. Those of a fault are its own; blocked, they would end the
/// process without the crash handler's report.
sigset_t foreign_signals() {
    sigset_t set{};
    sigfillset(&set);
    for (const int fault : {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP, SIGSYS, SIGABRT}) {
        sigdelset(&set, fault);
    }
    return set;
}

}  // namespace

int zel_format_converter::create_fc_task() {
    const bool commands = create_pipe(s32CmdPipe);
    if (!commands) {
        ZEL_FC_LOGE("create command pipe error");
    }
    const bool results = create_pipe(s32ResultPipe);
    if (!results) {
        ZEL_FC_LOGE("create result pipe error");
    }
    if (!commands || !results) {  // the worker ends without them
        close_pipe(s32CmdPipe);
        close_pipe(s32ResultPipe);
    }
    s32OwnerPid = getpid();
    const sigset_t foreign = foreign_signals();
    sigset_t before{};
    pthread_sigmask(SIG_BLOCK, &foreign, &before);
    try {
        mRoutine = std::thread(&zel_format_converter::routine, this);
    } catch (const std::exception& error) {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        ZEL_FC_LOGE("create routine thread fail %s", error.what());
        close_pipe(s32CmdPipe);
        close_pipe(s32ResultPipe);
        throw;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return 0;
}

int zel_format_converter::destroy_fc_task() {
    const ctl_cmd cmd{FC_EXIT};
    // Without its pipe the worker has ended at its start; without its poller it ends, too.
    if (s32CmdPipe[1] > 0 && send_command(&cmd) != 0 && !bRoutineEnded) {
        ZEL_FC_LOGE("fc routine does not end");
        return 0;
    }
    mRoutine.join();
    close_pipe(s32CmdPipe);
    close_pipe(s32ResultPipe);
    return 0;
}

int zel_format_converter::send_command(const ctl_cmd* cmd) {
    const int code = static_cast<int>(cmd->u32Cmd);
    if (s32CmdPipe[1] <= 0) {  // then none of the four is open
        ZEL_FC_LOGE("command channel is not open");
        return -EIO;
    }
    if (bRoutineEnded) {
        ZEL_FC_LOGE("command %d finds no worker, it has ended", code);
        return -ETIME;
    }
    zel_epoll poller;
    int status = poller.init();
    if (status < 0) {
        ZEL_FC_LOGE("epoll init fail");
        return status;
    }
    status = poller.set_timeout(s32CmdTimeoutMs);
    if (status < 0) {
        ZEL_FC_LOGE("epoll set timeout fail");
        return status;
    }
    status = poller.add(s32ResultPipe[0]);
    if (status < 0) {
        ZEL_FC_LOGE("epoll add fd(%d) fail", s32ResultPipe[0]);
        return status;
    }
    if (::write(s32CmdPipe[1], cmd, sizeof(*cmd)) != static_cast<ssize_t>(sizeof(*cmd))) {
        ZEL_FC_LOGE("write fc control command fail");
        return -EIO;
    }
    ++u32OwedResults;
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(s32CmdTimeoutMs);
    while (true) {
        const int ready = poller.wait();
        if (ready < 0) {
            ZEL_FC_LOGE("epoll wait fail %d", ready);
            return -EIO;
        }
        if (ready == 0) {
            ZEL_FC_LOGE("wait command %d result timeout", code);
            return -ETIME;
        }
        std::int32_t result{};
        constexpr auto kSize = static_cast<ssize_t>(sizeof(result));
        ssize_t size{};
        // The poller tells of an arrival once, so all that has arrived is taken.
        while ((size = ::read(s32ResultPipe[0], &result, sizeof(result))) == kSize) {
            if (--u32OwedResults == 0) {
                return result;
            }
        }
        if (size != -1 || errno != EAGAIN) {
            ZEL_FC_LOGE("read command %d result size %d incorrect %d errno %d", code,
                        static_cast<int>(size), static_cast<int>(kSize), errno);
            return -EIO;
        }
        poller.set_timeout(zel_epoll::remaining_ms(end));
    }
}

int zel_format_converter::process_command() {
    ctl_cmd cmd{};
    std::int32_t result = -EIO;
    if (::read(s32CmdPipe[0], &cmd, sizeof(cmd)) != static_cast<ssize_t>(sizeof(cmd))) {
        ZEL_FC_LOGE("read command size fail errno(%d)", errno);
    } else {
        ZEL_FC_LOGI("process %d", static_cast<int>(cmd.u32Cmd));
        result = execute_command(cmd);
    }
    if (::write(s32ResultPipe[1], &result, sizeof(result)) < static_cast<ssize_t>(sizeof(result))) {
        ZEL_FC_LOGE("write fc control fd(%d) result fail errno(%d)", s32ResultPipe[1], errno);
    }
    return 0;
}

// Its steps log under its name.
namespace {
constexpr const char* kProcess = "process_command";
}

int zel_format_converter::execute_command(const ctl_cmd& cmd) {
    const int code = static_cast<int>(cmd.u32Cmd);
    switch (cmd.u32Cmd) {
        case FC_CLOSE:
        case FC_EXIT:
            clean_fc_resource();
            eFCStatus = code;
            return 0;
        case FC_OPEN:
            if (eFCStatus == FC_CLOSE) {
                return open_stream(cmd);
            }
            break;
        case FC_START:
            if (eFCStatus != FC_OPEN) {
                ZEL_FC_LOGE_OF(kProcess, "error to start fc thread before open");
                return -EINVAL;
            }
            ZEL_FC_LOGI_OF(kProcess, "start fc thread");
            u32CardFailures = 0;
            eFCStatus = FC_START;
            return 0;
        case 4:
            break;
        default:
            return -EINVAL;
    }
    ZEL_FC_LOGE_OF(kProcess, "unexpected behavior eFCStatuS %d received %d", eFCStatus, code);
    return -EINVAL;
}

int zel_format_converter::open_stream(const ctl_cmd& cmd) {
    int status = -ENOMEM;
    try {
        status = build_stream(cmd);
    } catch (const std::bad_alloc& exception) {
        ZEL_FC_LOGE_OF(kProcess, "open stream exception %s", exception.what());
    }
    if (status != 0) {
        clean_fc_resource();
        return status;
    }
    eFCStatus = FC_OPEN;
    return 0;
}

int zel_format_converter::build_stream(const ctl_cmd& cmd) {
    u32Flags = cmd.u32Flags;
    pcm_config config{};
    config.channels = cmd.stConfig.channels;
    config.rate = cmd.stConfig.rate;
    config.period_size = cmd.stConfig.period_size;
    config.period_count = cmd.stConfig.period_count;
    config.format = static_cast<pcm_format>(cmd.stConfig.format);
    config.start_threshold = cmd.stConfig.start_threshold;
    config.stop_threshold = cmd.stConfig.stop_threshold;
    config.silence_threshold = cmd.stConfig.silence_threshold;
    try {
        pstOutInfo = std::make_unique<zel_fc_pcm_info>(kBlockMs, &config);
    } catch (const std::bad_alloc& exception) {
        ZEL_FC_LOGE_OF(kProcess, "zel_fc_pcm_info exception %s", exception.what());
        return -ENOMEM;
    }
    if (pstOutInfo->u32BufSize == 0) {
        ZEL_FC_LOGE_OF(kProcess, "no sample in a block of the client");
        return -EINVAL;
    }
    if (subscribe_mixer_device() != 0) {
        ZEL_FC_LOGE_OF(kProcess, "subscribe mixer device fail");
        return -1;
    }
    get_loopback_source();
    int status = open_pcm_device();
    if (status != 0) {
        ZEL_FC_LOGE_OF(kProcess, "open pcm device fail");
        return status;
    }
    status = init_fc_submodule();
    if (status != 0) {
        ZEL_FC_LOGE_OF(kProcess, "init format converter sub module fail");
        return status;
    }
    auto ring = std::make_shared<zel_ring_buf>(&pstOutInfo->stPcmConfig, int{kBlockMs});
    const std::lock_guard lock(mRingLock);
    pstRingBuf = std::move(ring);
    return 0;
}
