// The card's capture stream: decides its configuration from the card's slave controls, opens it,
// reads it block by block with the time of each block, and rebuilds it. Runs on the worker.

#include <zel_vad_utility.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "zel_fc_log.h"
#include "zel_format_converter.h"
#include "zel_pcm_config.h"

namespace {

constexpr std::uint64_t kNsPerSecond = 1'000'000'000;
constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr int kGlitchToleranceMs = 1;
/// 32 channels of 32 bits at 768 kHz take 3 MB. What takes more is no stream but a failure, say a
/// negative error number for a rate, and isn't worth the memory. Sizes travel on as int.
constexpr std::uint64_t kMaxBlockBytes = 16U << 20;

/// The stream format of an ALSA format code, or PCM_FORMAT_INVALID.
pcm_format format_of_alsa_code(int code) {
    switch (code) {
        case 2:
            return PCM_FORMAT_S16_LE;
        case 6:
            return PCM_FORMAT_S24_LE;
        case 10:
            return PCM_FORMAT_S32_LE;
        default:
            return PCM_FORMAT_INVALID;
    }
}

/// Wraps instead of overflowing: a card's times may be anything.
std::int64_t ns_between(const timespec& from, const timespec& to) {
    const auto seconds =
        static_cast<std::uint64_t>(to.tv_sec) - static_cast<std::uint64_t>(from.tv_sec);
    const auto ns =
        static_cast<std::uint64_t>(to.tv_nsec) - static_cast<std::uint64_t>(from.tv_nsec);
    return static_cast<std::int64_t>(seconds * kNsPerSecond + ns);
}

const char* error_text(const pcm* stream) {
    const char* text = stream != nullptr ? pcm_get_error(stream) : nullptr;
    return text != nullptr ? text : "";
}

}  // namespace

zel_format_converter::zel_fc_pcm_info::zel_fc_pcm_info(unsigned int duration_ms,
                                                       const pcm_config* config)
    : stPcmConfig(zel_copy_config(*config)), u32Frames(config->rate / 1000 * duration_ms) {
    const std::uint64_t frame_bytes =
        std::uint64_t{pcm_format_to_bits(config->format) / 8} * config->channels;
    if (u32Frames != 0 && frame_bytes > kMaxBlockBytes / u32Frames) {
        throw std::bad_alloc();
    }
    u32BufSize = static_cast<std::uint32_t>(frame_bytes * u32Frames);
    pu8Buf = std::make_unique<std::uint8_t[]>(u32BufSize);
}

int zel_format_converter::open_pcm_device() {
    pcm_config config = pstOutInfo->stPcmConfig;
    mixer_ctl* control = mixer_get_ctl_by_name(pstMixer, strFormatCtlName.c_str());
    if (control == nullptr) {
        ZEL_FC_LOGE("mixer control get fotmat ctl fail");
        return -ENODEV;
    }
    const int format_code = mixer_ctl_get_value(control, 0);
    config.format = format_of_alsa_code(format_code);
    if (config.format == PCM_FORMAT_INVALID) {
        ZEL_FC_LOGE("unknown format %d\n", format_code);
        return fail_open(-EINVAL);
    }
    control = mixer_get_ctl_by_name(pstMixer, strChannelsCtlName.c_str());
    if (control == nullptr) {
        ZEL_FC_LOGE("mixer control get channel ctl fail");
        return fail_open(-ENODEV);
    }
    config.channels = static_cast<unsigned int>(mixer_ctl_get_value(control, 0));

    int status = open_capture_stream(&config);
    if (status != 0) {
        return fail_open(status);
    }
    status = get_channel_layout();
    if (status != 0) {
        ZEL_FC_LOGE("get channel layout fail");
        return fail_open(status);
    }
    ZEL_FC_LOGI(
        "open zel-allop with %d channel %d bits %dk 0x%x flags period size %d period count %d",
        static_cast<int>(config.channels), static_cast<int>(pcm_format_to_bits(config.format)),
        static_cast<int>(config.rate), u32Flags, static_cast<int>(config.period_size),
        static_cast<int>(config.period_count));
    if (pmInPcmInfo) {
        ZEL_FC_LOGE("pmInPcmInfo already exist");
        return fail_open(-1);
    }
    try {
        pmInPcmInfo = std::make_unique<zel_fc_pcm_info>(kBlockMs, &config);
    } catch (const std::bad_alloc& exception) {
        ZEL_FC_LOGE("zel_fc_pcm_info exception %s", exception.what());
        ZEL_FC_LOGE("allocate FC pcm in info fail");
        return fail_open(-ENOMEM);
    }
    if (pmInPcmInfo->u32BufSize == 0) {
        ZEL_FC_LOGE("no sample in a block of the card");
        return fail_open(-EINVAL);
    }
    return 0;
}

/// Opens the stream at the client's rate and, while the card refuses the parameters and its rate
/// control names another rate than the one just tried, at that rate. Speaks in
/// the name of open_pcm_device.
int zel_format_converter::open_capture_stream(pcm_config* config) {
    // The client's wish not to block is between it and the ring buffer: the worker's read of the
    // card must block, it sets the pace.
    const unsigned int flags = u32Flags & ~static_cast<unsigned int>(PCM_NONBLOCK);
    constexpr const char* kOpen = "open_pcm_device";
    while (true) {
        if (pstPcm != nullptr) {
            pcm_close(pstPcm);
        }
        pstPcm = pcm_open(u32Card, u32Device, flags, config);
        if (pstPcm != nullptr && pcm_is_ready(pstPcm)) {
            return 0;
        }
        if (std::strstr(error_text(pstPcm), "cannot set hw params") == nullptr) {
            ZEL_FC_LOGE_OF(kOpen, "open pcm device fail (%s)", error_text(pstPcm));
            return -1;
        }
        mixer_ctl* control = mixer_get_ctl_by_name(pstMixer, strRateCtlName.c_str());
        if (control == nullptr) {
            ZEL_FC_LOGE_OF(kOpen, "mixer control get rate ctl fail");
            return -1;
        }
        const auto card_rate = static_cast<unsigned int>(mixer_ctl_get_value(control, 0));
        if (card_rate == config->rate) {
            ZEL_FC_LOGE_OF(kOpen, "open pcm device fail (%s)", error_text(pstPcm));
            return -1;
        }
        config->rate = card_rate;
    }
}

int zel_format_converter::fail_open(int status) {
    close_pcm_device();
    return status;
}

int zel_format_converter::read_pcm_device(timespec* ts) {
    if (pstPcm == nullptr) {
        ZEL_FC_LOGE("pcm not open yet");
        return -EINVAL;
    }
    const int frames = pcm_readi(pstPcm, pmInPcmInfo->pu8Buf.get(), pmInPcmInfo->u32Frames);
    if (static_cast<unsigned int>(frames) != pmInPcmInfo->u32Frames) {  // an error, too
        ZEL_FC_LOGE("read size incorrect u32ReadFrame %d request %d", frames,
                    static_cast<int>(pmInPcmInfo->u32Frames));
        return -EIO;
    }
    unsigned int avail{};
    if (pcm_get_htimestamp(pstPcm, &avail, ts) >= 0) {
        adjust_timestamp(avail, pmInPcmInfo->stPcmConfig.rate, ts);
        check_timestamp(ts);
        stPrevTimestamp = *ts;
    } else {
        ZEL_FC_LOGW("pcm_get_htimestamp get timstamp error : %s", error_text(pstPcm));
    }
    return 0;
}

void zel_format_converter::check_timestamp(const timespec* ts) {
    ZEL_FC_LOGT("+");
    // A time of 0 is none. As the current one it is before all others, which nobody is told of.
    const bool comparable = stPrevTimestamp.tv_sec != 0 || stPrevTimestamp.tv_nsec != 0;
    if (comparable && u32LOG_LEVEL >= FC_LOG_WARN) {
        if (ts->tv_sec == stPrevTimestamp.tv_sec && ts->tv_nsec == stPrevTimestamp.tv_nsec) {
            ZEL_FC_LOGW("timestamp (%ld,%ld) no update", static_cast<long>(ts->tv_sec),
                        static_cast<long>(ts->tv_nsec));
        }
        const std::int64_t interval = ns_between(stPrevTimestamp, *ts);
        if (interval > (kBlockMs + kGlitchToleranceMs) * kNsPerMs) {
            ZEL_FC_LOGW(
                "timestamp glitch %lld ms more than %d ms;current (%ld,%ld), previous (%ld,%ld)",
                static_cast<long long>(interval / kNsPerMs - kBlockMs), kGlitchToleranceMs,
                static_cast<long>(ts->tv_sec), static_cast<long>(ts->tv_nsec),
                static_cast<long>(stPrevTimestamp.tv_sec),
                static_cast<long>(stPrevTimestamp.tv_nsec));
        }
    }
    ZEL_FC_LOGT("-");
}

int zel_format_converter::get_loopback_source() {
    mixer_ctl* control = mixer_get_ctl_by_name(pstMixer, strActiveCtlName.c_str());
    if (control == nullptr) {
        ZEL_FC_LOGE("mixer control get active ID fail");
        return -1;
    }
    if (mixer_ctl_get_value(control, 0) != 0) {
        ZEL_FC_LOGI("SW loopback");
    } else {
        ZEL_FC_LOGI("I2S loopback");
    }
    return 0;
}

int zel_format_converter::close_pcm_device() {
    pmInPcmInfo.reset();
    if (pstPcm != nullptr) {
        pcm_close(pstPcm);
        pstPcm = nullptr;
    }
    stPrevTimestamp = {};
    return 0;
}

int zel_format_converter::restart_fc() {
    int status = deinit_fc_submodule();
    if (status != 0) {
        ZEL_FC_LOGE("fc submodule deinit fail");
        return fail_restart(status);
    }
    close_pcm_device();
    status = open_pcm_device();
    if (status != 0) {
        ZEL_FC_LOGE("open pcm device fail");
        return fail_restart(status);
    }
    status = init_fc_submodule();
    if (status != 0) {
        ZEL_FC_LOGE("init format converter sub module fail");
        return fail_restart(status);
    }
    return 0;
}

/// Leaves neither a stream nor a chain behind.
int zel_format_converter::fail_restart(int status) {
    deinit_fc_submodule();
    close_pcm_device();
    return status;
}
