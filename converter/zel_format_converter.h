#pragma once

#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>

#include <atomic>
#include <cstdint>
#include <ctime>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "zel_card_names.h"
#include "zel_epoll.h"
#include "zel_ring_buf.h"

/// Properties of the converter and what lies at the caller's pointer. A path is at most
/// `kMaxPathBytes` - 1 characters long.
enum property_e : std::uint32_t {
    PROP_DELAY_JSON_PATH = 0,   ///< characters of a path; get writes no terminating zero
    PROP_MIXING_JSON_PATH = 1,  ///< the same
    // What the stream's last read found, 0 before its first; get only.
    PROP_TIMESTAMP = 2,     ///< timespec: capture time of the newest block
    PROP_AVAIL_FRAMES = 3,  ///< uint32_t: frames left
    PROP_LOG_LEVEL = 4,     ///< uint32_t: process-wide log level
    PROP_COUNT = 5,
};

/// Commands to the worker; the code of the last accepted one is the converter's status.
enum : std::int32_t { FC_CLOSE = 0, FC_OPEN = 1, FC_START = 2, FC_EXIT = 3 };

/// Log levels from which a kind of message is written.
enum : std::uint32_t { FC_LOG_ERROR = 32, FC_LOG_WARN = 48, FC_LOG_INFO = 64, FC_LOG_TRACE = 80 };

/// One command on its way through the pipe, in the machine's byte order.
struct ctl_cmd {
    struct config {
        std::uint32_t channels;
        std::uint32_t rate;         ///< Hz
        std::uint32_t period_size;  ///< frames
        std::uint32_t period_count;
        std::uint32_t format;  ///< pcm_format
        std::uint32_t start_threshold;
        std::uint32_t stop_threshold;
        std::uint32_t silence_threshold;
    };
    std::uint32_t u32Cmd;
    config stConfig{};
    std::uint32_t u32Flags = 0;
};
static_assert(sizeof(ctl_cmd) == 40, "the command record has no padding");

/// The one converter of the process: reads the card's loopback capture on its worker thread
/// "FC routine", converts each 32 ms block to the client's format and keeps it for the client.
///
/// Threads: [client] any thread that calls a plugin operation, serialised by mLock but for the
/// event callback's registration; [worker] the thread "FC routine", which never takes mLock. A
/// client waits for the worker while a command is carried out, so the worker builds and releases
/// the stream undisturbed. The event callback runs on the worker and must call no client operation.
/// In a forked child, which has no worker and may have got any lock locked, all of them fail with
/// -5 at once; so they do once the process ends, but for `close`, which has nothing left to do.
class zel_format_converter {
  public:
    /// Values of a path property lie in a 128-byte area, terminating zero included.
    static constexpr std::size_t kMaxPathBytes = 128;
    /// Length of one block on both sides of the conversion.
    static constexpr unsigned int kBlockMs = 32;

    static std::atomic<std::uint32_t> u32LOG_LEVEL;

    /// [any] Builds the converter on the first call; it lives until the process ends. Its end takes
    /// its turn among the commands and waits for the worker, 1 s for each; a worker that does not
    /// answer, because a card holds it, is left behind. Throws what a failing thread does, or
    /// std::bad_alloc; the next call tries again. Throws in a child that was forked while another
    /// thread was inside the first call.
    static zel_format_converter& getInstance();

    zel_format_converter(const zel_format_converter&) = delete;
    zel_format_converter& operator=(const zel_format_converter&) = delete;

    /// [client, closed] Builds the stream for the client's configuration. 0, -22 for a
    /// configuration without a sample and when a stream is open, -19, -12, -1 or another error of
    /// the step that failed; then nothing of the stream is left. This and the other two commands:
    /// -5 or -62 when the worker does not answer (it may still carry the command out later) or has
    /// ended, the kernel's error when there is no poller to be had (-24 without a free descriptor).
    int open(const pcm_config* config, unsigned int flags);
    /// [client, any] Releases the stream. 0, or as above.
    int close();
    /// [client, open] Lets the worker capture. 0, -22 unless opened and not yet started, or as
    /// above.
    int start();
    /// [client] Replaces the callback that the worker makes after the first block of a restarted
    /// stream. An empty callable leaves none. Waits for a call under way. 0.
    int register_cb(std::function<void(void*)> callback, void* arg);
    /// [client] Withdraws the callback if it is registered with `arg`; waits in the same way, so
    /// that `arg` may be released afterwards.
    void unregister_cb(const void* arg);
    /// [client] Takes up to `bytes` bytes of interleaved frames; never waits. The number taken (0
    /// when none is there), or -22 without a stream or buffer.
    int read(void* buffer, unsigned int bytes);
    /// [client] Copies a property's value to `data`, or takes it from there. 0 or -22. `set` may
    /// throw std::bad_alloc for a path.
    int get(property_e property, void* data);
    int set(property_e property, const void* data);

    /// [any] Card number of the real capture device; 0xFFFFFFFF when none was found.
    std::uint32_t card() const { return u32Card; }
    /// [any] True when no client operation waits for a lock any more, but fails at once: in a
    /// process that was forked from the converter's, and when its own ends.
    bool refuses_all() const { return in_forked_child() || bProcessEnds; }
    /// [any] True when nobody carries out commands any more.
    bool worker_has_ended() const { return bRoutineEnded; }

  private:
    friend struct zel_format_converter_access;
    struct process_end;

    /// One side of the conversion: its configuration and one block of interleaved samples.
    struct zel_fc_pcm_info {
        /// Throws std::bad_alloc when the block cannot be had.
        zel_fc_pcm_info(unsigned int duration_ms, const pcm_config* config);

        pcm_config stPcmConfig;
        std::uint32_t u32Frames;
        std::unique_ptr<std::uint8_t[]> pu8Buf;
        std::uint32_t u32BufSize = 0;  ///< bytes
    };

    using truncate_fn = int (*)(void* block, unsigned int* bytes, unsigned int source_bits,
                                unsigned int target_bits);
    using delay_fn = int (*)(const void* in, void* out, int bytes);
    using mixing_fn = int (*)(const void* in, unsigned int in_bytes, void* out,
                              unsigned int out_bytes);
    using src_fn = int (*)(void* block, unsigned int* bytes);
    using padding_fn = int (*)(const void* in, unsigned int* bytes, void* out,
                               unsigned int source_bits, unsigned int target_bits);

    zel_format_converter();
    void shut_down();
    bool in_forked_child() const;
    std::unique_lock<std::mutex> lock_client(const char* operation);

    // Command channel [client, mLock held, unless said otherwise].
    int create_fc_task();
    int destroy_fc_task();
    int send_command(const ctl_cmd* cmd);
    int process_command();                    // [worker]
    int execute_command(const ctl_cmd& cmd);  // [worker]
    int open_stream(const ctl_cmd& cmd);      // [worker]
    int build_stream(const ctl_cmd& cmd);     // [worker]

    // All below: [worker].
    void* routine();
    void handle_commands(const zel_epoll& poller, int ready);
    void run_capture_cycle(timespec* ts);

    int open_pcm_device();
    int open_capture_stream(pcm_config* config);
    int fail_open(int status);
    int read_pcm_device(timespec* ts);
    void check_timestamp(const timespec* ts);
    int get_loopback_source();
    int close_pcm_device();
    int restart_fc();
    int fail_restart(int status);

    int init_fc_submodule();
    int init_delay_stage(const pcm_config& working);
    int init_mixing_stage(pcm_config* working);
    int process_fc();
    int deinit_fc_submodule();
    int clean_fc_resource();
    void drop_ring_buf();

    int subscribe_mixer_device();
    int check_mixer_event();
    int take_mixer_event(int timeout_ms, std::uint32_t* numid);
    int follow_layout();
    int get_channel_layout();
    void notify_event();

    std::string strDefaultDelayJsonPath;
    std::string strDefaultMixingJsonPath;
    std::string strSndDeviceName;
    std::string strActiveCtlName;
    std::string strFormatCtlName;
    std::string strRateCtlName;
    std::string strChannelsCtlName;
    std::string strLayoutCtlName;
    std::int32_t s32CmdTimeoutMs = 1000;
    std::uint32_t u32RestartCtlId = zel_card_names::kActiveNumber;
    std::uint32_t u32LayoutCtlId = zel_card_names::kLayoutNumber;
    std::uint32_t u32RestartLimit = 10;
    std::mutex mLock;
    std::int32_t s32CmdPipe[2] = {0, 0};
    std::int32_t s32ResultPipe[2] = {0, 0};
    std::thread mRoutine;
    std::int32_t eFCStatus = FC_CLOSE;
    std::uint32_t u32Device = 0;
    std::uint32_t u32Flags = 0;
    pcm* pstPcm = nullptr;
    mixer* pstMixer = nullptr;
    std::unique_ptr<zel_fc_pcm_info> pmInPcmInfo;
    std::unique_ptr<zel_fc_pcm_info> pstOutInfo;
    std::unique_ptr<std::uint8_t[]> pu8DelayBuf;
    std::uint32_t u32DelayBufSize = 0;
    std::unique_ptr<std::uint8_t[]> pu8MixingBuf;
    std::uint32_t u32MixingBufSize = 0;
    // Shared so that a client's read never meets a freed buffer, whatever ends the worker. Only the
    // worker replaces it, under mRingLock; a client takes its reference under the same lock.
    std::shared_ptr<zel_ring_buf> pstRingBuf;
    timespec stPrevTimestamp{};
    timespec stReadTimestamp{};
    std::uint32_t u32AvailFrames = 0;
    padding_fn fnPadding = nullptr;
    delay_fn fnDelay = nullptr;
    mixing_fn fnMixing = nullptr;
    src_fn fnSrc = nullptr;
    truncate_fn fnTruncate = nullptr;
    std::string strChannelLayout;
    std::string strDelayJsonPath;
    std::string strMixingJsonPath;
    bool bEventPending = false;
    std::function<void(void*)> fnEventCb;
    void* pEventCbArg = nullptr;
    std::uint32_t u32Card = 0;

    // Calls of the card that failed in a row since the start, in as many capture cycles.
    std::uint32_t u32CardFailures = 0;
    std::uint32_t u32OwedResults = 0;  // of commands that were sent, not yet read from the pipe
    std::atomic<bool> bRoutineEnded{false};  // the worker has ended and uses the object no more
    std::atomic<bool> bProcessEnds{false};   // the exit command is the last
    pid_t s32OwnerPid = 0;  // the process whose worker this is; a forked child has none
    // Each guards one meeting of a client with the worker outside a command: the ring reference,
    // the two path strings. Held for a copy only.
    std::mutex mRingLock;
    std::mutex mPathLock;
    // The callback and its argument, and the call itself. Never waited for under mLock.
    std::mutex mEventCbLock;
};
