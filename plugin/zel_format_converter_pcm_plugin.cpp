// Life of a handle of the virtual capture stream: open, parameters, close, and the operations that
// capture does not need. Runs on client threads.

#include "zel_format_converter_pcm_plugin.h"

#include <sys/mman.h>

#include <cstdint>

#include "zel_fc_log.h"
#include "zel_plugin_status.h"
#include "zel_stream_owner.h"
#include "zel_virtual_card.h"

namespace zel_format_converter_pcm_plugin {

namespace {

constexpr unsigned int kMaxChannels = 8;

constexpr pcm_plugin_hw_constraints kConstraints = [] {
    pcm_plugin_hw_constraints limits{};
    limits.access = 3;
    limits.format = (1U << SNDRV_PCM_FORMAT_S16_LE) | (1U << SNDRV_PCM_FORMAT_S32_LE);
    limits.bit_width.min = 16;
    limits.bit_width.max = 32;
    limits.channels.min = 1;
    limits.channels.max = kMaxChannels;
    limits.rate.min = 16000;
    limits.rate.max = 48000;
    limits.periods.min = 1;
    limits.periods.max = 128;
    limits.period_bytes.min = 256;
    limits.period_bytes.max = 4096;
    return limits;
}();

/// The record that tinyalsa sees and what hangs on it, in one allocation.
struct handle_record {
    pcm_plugin stPlugin{};
    pcm_plugin_hw_constraints stConstraints = kConstraints;
    pcm_config stConfig{};  ///< the client's stream; all zero until hw_params
};

std::uint32_t interval_min(const snd_pcm_hw_params& params, int interval) {
    return params.intervals[interval - SNDRV_PCM_HW_PARAM_FIRST_INTERVAL].min;
}

std::uint32_t format_mask(const snd_pcm_hw_params& params) {
    constexpr auto kFormat = SNDRV_PCM_HW_PARAM_FORMAT - SNDRV_PCM_HW_PARAM_FIRST_MASK;
    return params.masks[kFormat].bits[0];
}

/// A client that takes 8 bits a sample has no room for the 16 that it would be given. tinyalsa
/// refuses no format.
bool has_no_room(const snd_pcm_hw_params& params) {
    constexpr std::uint32_t kNarrow = (1U << SNDRV_PCM_FORMAT_S8) | (1U << SNDRV_PCM_FORMAT_U8);
    const std::uint32_t mask = format_mask(params);
    return mask != 0 && (mask & ~kNarrow) == 0;
}

/// The width decides; but tinyalsa always names 16 bits there and keeps what the client asked for
/// in the format mask only, so a mask that names just one of our formats decides over it. Logs
/// under the name of hw_params.
void take_format(const snd_pcm_hw_params& params, pcm_config* config) {
    constexpr const char* kParams = "hw_params";
    const std::uint32_t bits = interval_min(params, SNDRV_PCM_HW_PARAM_SAMPLE_BITS);
    if (bits == 32) {
        config->format = PCM_FORMAT_S32_LE;
    } else if (bits == 16) {
        config->format = PCM_FORMAT_S16_LE;
    }
    const std::uint32_t mask = format_mask(params);
    const bool s16 = (mask & (1U << SNDRV_PCM_FORMAT_S16_LE)) != 0;
    const bool s32 = (mask & (1U << SNDRV_PCM_FORMAT_S32_LE)) != 0;
    if (s16 != s32) {
        config->format = s32 ? PCM_FORMAT_S32_LE : PCM_FORMAT_S16_LE;
    } else if (!s16 && bits != 16 && bits != 32) {
        ZEL_FC_LOGW_OF(kParams, "sample width %d is neither 16 nor 32 bits, %d bits are delivered",
                       static_cast<int>(bits),
                       static_cast<int>(pcm_format_to_bits(config->format)));
    } else if (!s16) {
        ZEL_FC_LOGW_OF(kParams, "sample format is neither S16_LE nor S32_LE, %d bits are delivered",
                       static_cast<int>(pcm_format_to_bits(config->format)));
    }
}

void take_params(const snd_pcm_hw_params& params, pcm_config* config) {
    config->channels = interval_min(params, SNDRV_PCM_HW_PARAM_CHANNELS);
    config->rate = interval_min(params, SNDRV_PCM_HW_PARAM_RATE);
    config->period_size = interval_min(params, SNDRV_PCM_HW_PARAM_PERIOD_SIZE);
    config->period_count = interval_min(params, SNDRV_PCM_HW_PARAM_PERIODS);
    take_format(params, config);
}

}  // namespace

int open(pcm_plugin** plugin, unsigned int card, unsigned int device, unsigned int flags) {
    ZEL_FC_LOGT("+");
    ZEL_FC_LOGT("card=%d, device=%d flags=0x%x", static_cast<int>(card), static_cast<int>(device),
                flags);
    int status = -EINVAL;
    if (plugin == nullptr) {
        ZEL_FC_LOGE("invalid plugin");
    } else if ((flags & PCM_IN) == 0) {
        ZEL_FC_LOGE("invaild flag type %x!!", flags);
    } else if (card != kZelVirtualCard || device != kZelVirtualDevice) {
        ZEL_FC_LOGE("invaild card(%d) or device(%d)!!", static_cast<int>(card),
                    static_cast<int>(device));
    } else if (auto* record = new (std::nothrow) handle_record; record == nullptr) {
        ZEL_FC_LOGE("no memory for the plugin record");
        status = -ENOMEM;
    } else {
        record->stPlugin.card = kZelVirtualCard;
        record->stPlugin.device = kZelVirtualDevice;
        record->stPlugin.constraints = &record->stConstraints;
        record->stPlugin.mode = static_cast<int>(flags);
        record->stPlugin.priv = &record->stConfig;
        *plugin = &record->stPlugin;
        status = 0;
    }
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

int close(pcm_plugin* plugin) {
    ZEL_FC_LOGT("+");
    int status = -EINVAL;
    if (plugin == nullptr) {
        ZEL_FC_LOGE("pstPcmPlugin is nullptr!!");
    } else if (status = zel_guarded([=] { return zel_close_stream(plugin); }); status != 0) {
        ZEL_FC_LOGE("format converter close fail.");
    } else {
        delete reinterpret_cast<handle_record*>(plugin);
    }
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

int hw_params(pcm_plugin* plugin, snd_pcm_hw_params* params) {
    ZEL_FC_LOGT("+");
    int status = -EINVAL;
    if (plugin == nullptr) {
        ZEL_FC_LOGE("pstPcmPlugin is nullptr!!");
    } else if (plugin->priv == nullptr) {
        ZEL_FC_LOGE("priv invalid!!");
    } else if (params == nullptr) {
        ZEL_FC_LOGE("invalid parameter!!");
    } else {
        auto* config = static_cast<pcm_config*>(plugin->priv);
        const pcm_config before = *config;
        take_params(*params, config);
        const unsigned int channels = config->channels;
        if (channels == 0 || channels > kMaxChannels) {
            ZEL_FC_LOGE("channel num %d out of limit %d", static_cast<int>(channels),
                        static_cast<int>(kMaxChannels));
        } else if (has_no_room(*params)) {
            ZEL_FC_LOGE("samples of 8 bits have no room for 16");
        } else if (status = zel_guarded([=] { return zel_open_stream(plugin); }); status != 0) {
            ZEL_FC_LOGE("format converter open fail.");
        }
        if (status != 0 && zel_owns_stream(plugin)) {
            // The stream that this handle has goes on, in the format it was opened with.
            *config = before;
        }
    }
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

int sw_params(pcm_plugin* plugin, snd_pcm_sw_params* params) {
    ZEL_FC_LOGT("+");
    int status = -EINVAL;
    if (plugin == nullptr) {
        ZEL_FC_LOGE("pstPcmPlugin is nullptr!!");
    } else if (params == nullptr) {
        ZEL_FC_LOGE("invalid sw param!!");
    } else {
        status = 0;
    }
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

int prepare(pcm_plugin* plugin) {
    ZEL_FC_LOGT("+");
    int status = 0;
    if (plugin == nullptr) {
        ZEL_FC_LOGE("pstPcmPlugin is nullptr!!");
        status = -EINVAL;
    }
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

namespace {

/// What a capture stream does not need: the checks are all. `argument` is the one whose lack has
/// the message `missing`.
int not_supported(const char* operation, const pcm_plugin* plugin, const void* argument,
                  const char* missing) {
    ZEL_FC_LOGT_OF(operation, "+");
    int status = -EINVAL;
    if (plugin == nullptr) {
        ZEL_FC_LOGE_OF(operation, "pstPcmPlugin is nullptr!!");
    } else if (argument == nullptr) {
        ZEL_FC_LOGE_OF(operation, "%s", missing);
    } else {
        ZEL_FC_LOGW_OF(operation, "not supported");
        status = 0;
    }
    ZEL_FC_LOGT_OF(operation, "-");
    return zel_with_errno(status);
}

}  // namespace

int writei_frames(pcm_plugin* plugin, snd_xferi* xferi) {
    return xferi == nullptr ? not_supported(__func__, plugin, nullptr, "pstSndXferi is nullptr!!")
                            : not_supported(__func__, plugin, xferi->buf, "invalid SndXferi buf!!");
}

// NOLINTNEXTLINE(readability-non-const-parameter): tinyalsa's table has this signature.
int ttstamp(pcm_plugin* plugin, int* tstamp) {
    return not_supported(__func__, plugin, tstamp, "pTstamp is nullptr!!");
}

int drain(pcm_plugin* plugin) {
    return not_supported(__func__, plugin, plugin, "pstPcmPlugin is nullptr!!");
}

int drop(pcm_plugin* plugin) {
    return not_supported(__func__, plugin, plugin, "pstPcmPlugin is nullptr!!");
}

int ioctl(pcm_plugin* plugin, int /*cmd*/, void* arg) {
    return not_supported(__func__, plugin, arg, "arg is nullptr!!");
}

void* map(pcm_plugin* /*plugin*/, void* /*addr*/, size_t /*length*/, int /*prot*/, int /*flags*/,
          off_t /*offset*/) {
    ZEL_FC_LOGT("+");
    ZEL_FC_LOGW("not supported");
    ZEL_FC_LOGT("-");
    errno = EOPNOTSUPP;
    return MAP_FAILED;
}

int munmap(pcm_plugin* plugin, void* addr, size_t /*length*/) {
    return not_supported(__func__, plugin, addr, "pAddr is nullptr!!");
}

int poll(pcm_plugin* plugin, pollfd* pfd, nfds_t /*count*/, int /*timeout*/) {
    return not_supported(__func__, plugin, pfd, "pfd is nullptr!!");
}

}  // namespace zel_format_converter_pcm_plugin
