#pragma once

#include "scripted_tinyalsa.h"
#include "test_basics.h"
#include "zel_format_converter.h"
#include "zel_src_48k_state.h"

/// Reaches what the converter keeps to itself; a converter of its own for each test.
struct zel_format_converter_access {
    /// Those whose worker did not answer its exit command, and may still use them: to the end.
    static inline auto& left_behind = *new std::vector<zel_format_converter*>;
    struct deleter {
        void operator()(zel_format_converter* converter) const {
            if (converter->mRoutine.joinable()) {
                converter->shut_down();
            }
            if (converter->bRoutineEnded && !converter->mRoutine.joinable()) {
                delete converter;
            } else {
                left_behind.push_back(converter);
            }
        }
    };
    using owner = std::unique_ptr<zel_format_converter, deleter>;
    using block = zel_format_converter::zel_fc_pcm_info;

    static owner make() { return owner(new zel_format_converter); }

    /// The open command without the command channel: on the calling thread.
    static int open_here(zel_format_converter& fc, const pcm_config& c, unsigned int flags) {
        const ctl_cmd cmd{FC_OPEN,
                          {c.channels, c.rate, c.period_size, c.period_count,
                           static_cast<std::uint32_t>(c.format), 1, 2, 3},
                          flags};
        return fc.execute_command(cmd);
    }
    static int execute(zel_format_converter& fc, std::uint32_t code) {
        return fc.execute_command({code, {}, 0});
    }
    static int send(zel_format_converter& fc, const ctl_cmd& cmd) { return fc.send_command(&cmd); }
    static int send(zel_format_converter& fc, std::uint32_t code) {
        return send(fc, ctl_cmd{code, {}, 0});
    }
    static int create_task(zel_format_converter& fc) {
        fc.bRoutineEnded = false;
        return fc.create_fc_task();
    }
    static int destroy_task(zel_format_converter& fc) { return fc.destroy_fc_task(); }
    static void end(zel_format_converter& fc) { fc.shut_down(); }
    static void join(zel_format_converter& fc) { fc.mRoutine.join(); }
    static std::mutex& client_lock(zel_format_converter& fc) { return fc.mLock; }
    static std::string& delay_path(zel_format_converter& fc) { return fc.strDelayJsonPath; }
    static pid_t& owner_pid(zel_format_converter& fc) { return fc.s32OwnerPid; }
    static std::atomic<bool>& has_ended(zel_format_converter& fc) { return fc.bRoutineEnded; }
    static int& status(zel_format_converter& fc) { return fc.eFCStatus; }
    static int& timeout_ms(zel_format_converter& fc) { return fc.s32CmdTimeoutMs; }
    static int (&command_pipe(zel_format_converter& fc))[2] { return fc.s32CmdPipe; }
    static int (&result_pipe(zel_format_converter& fc))[2] { return fc.s32ResultPipe; }
    static int read_device(zel_format_converter& fc, timespec* ts) {
        return fc.read_pcm_device(ts);
    }
    static void check_time(zel_format_converter& fc, const timespec& before, timespec now) {
        fc.stPrevTimestamp = before;
        fc.check_timestamp(&now);
    }
    static int open_device(zel_format_converter& fc) { return fc.open_pcm_device(); }
    static int loopback_source(zel_format_converter& fc) { return fc.get_loopback_source(); }
    static int subscribe(zel_format_converter& fc) { return fc.subscribe_mixer_device(); }
    static auto truncation(zel_format_converter& fc) { return fc.fnTruncate; }
    static auto padding(zel_format_converter& fc) { return fc.fnPadding; }
    static int init_chain(zel_format_converter& fc) { return fc.init_fc_submodule(); }
    static int process(zel_format_converter& fc) { return fc.process_fc(); }
    static block* in(zel_format_converter& fc) { return fc.pmInPcmInfo.get(); }
    static block* out(zel_format_converter& fc) { return fc.pstOutInfo.get(); }
    static timespec previous(zel_format_converter& fc) { return fc.stPrevTimestamp; }
    static std::uint32_t delay_bytes(zel_format_converter& fc) { return fc.u32DelayBufSize; }
    static bool has_no_chain(zel_format_converter& fc) {
        return !fc.pu8DelayBuf && !fc.pu8MixingBuf && fc.u32DelayBufSize == 0 &&
               fc.u32MixingBufSize == 0 && !g_zel_src.bInited;
    }
    static bool holds_nothing(zel_format_converter& fc) {
        return !fc.pstPcm && !fc.pstMixer && !fc.pmInPcmInfo && !fc.pstOutInfo && !fc.pstRingBuf &&
               has_no_chain(fc);
    }
    static bool& pending(zel_format_converter& fc) { return fc.bEventPending; }
    static int check_event(zel_format_converter& fc) { return fc.check_mixer_event(); }
    static void notify(zel_format_converter& fc) { fc.notify_event(); }
};

namespace zel_test {

using fc_access = zel_format_converter_access;

/// A client's stream of two channels, four periods of one block at 48 kHz.
inline pcm_config client_config(unsigned int rate = 48000, pcm_format format = PCM_FORMAT_S16_LE) {
    pcm_config config = stream_config(2, rate, format);
    config.period_size = rate / 1000 * 32;
    config.period_count = 4;
    return config;
}

/// Opens and starts a stream; the status of what failed first.
inline int start_stream(zel_format_converter& fc, const pcm_config& config = client_config()) {
    const int opened = fc.open(&config, PCM_IN);
    return opened != 0 ? opened : fc.start();
}

/// Waits until `condition` holds, at most 2 s. What it found last.
inline bool eventually(const std::function<bool()>& condition) {
    for (int i = 0; i < 2000 && !condition(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return condition();
}

}  // namespace zel_test
