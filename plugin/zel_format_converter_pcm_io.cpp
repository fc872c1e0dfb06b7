// What starts the virtual capture stream, and what moves samples and positions between the
// converter and a client of it. Runs on client threads.

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>

#include "zel_fc_log.h"
#include "zel_format_converter_pcm_plugin.h"
#include "zel_plugin_status.h"
#include "zel_stream_owner.h"

namespace zel_format_converter_pcm_plugin {

namespace {

constexpr useconds_t kWaitUs = 32'000;
constexpr std::chrono::seconds kReadTimeout{10};
// What tinyalsa notes in the record after `prepare`; its headers have no name for it.
constexpr unsigned int kPreparedState = 2;

std::size_t frame_bytes(const pcm_config& config) {
    return std::size_t{pcm_format_to_bits(config.format) / 8} * config.channels;
}

int read_converter(std::uint8_t* to, std::uint64_t bytes) {
    return zel_guarded([=] {
        return zel_format_converter::getInstance().read(
            to, static_cast<unsigned int>(std::min<std::uint64_t>(bytes, INT32_MAX)));
    });
}

/// Fills the client's buffer, sleeping whenever the ring buffer is empty. Logs under the name of
/// readi_frames.
int read_all(std::uint8_t* to, std::uint64_t bytes) {
    constexpr const char* kRead = "readi_frames";
    auto last_data = std::chrono::steady_clock::now();
    while (bytes != 0) {
        const int got = read_converter(to, bytes);
        if (got < 0) {
            return got;
        }
        if (got != 0) {
            to += got;
            bytes -= static_cast<std::uint64_t>(got);
            last_data = std::chrono::steady_clock::now();
            continue;
        }
        if (std::chrono::steady_clock::now() - last_data >= kReadTimeout) {
            ZEL_FC_LOGE_OF(kRead, "read timeout, no data for %d s",
                           static_cast<int>(kReadTimeout.count()));
            return -EIO;
        }
        if (usleep(kWaitUs) != 0) {
            ZEL_FC_LOGE_OF(kRead, "usleep fail!!");
        }
    }
    return 0;
}

int take_frames(pcm_plugin* plugin, snd_xferi* xferi) {
    const bool blocking = (plugin->mode & static_cast<int>(PCM_NONBLOCK)) == 0;
    if (blocking && xferi->frames == 0) {
        return 0;
    }
    const std::size_t frame = frame_bytes(*static_cast<const pcm_config*>(plugin->priv));
    // No buffer is larger than what pointers can tell apart.
    if (!zel_owns_stream(plugin) || xferi->frames > std::size_t{PTRDIFF_MAX} / frame) {
        return -EINVAL;
    }
    const std::uint64_t wanted = std::uint64_t{xferi->frames} * frame;
    auto* to = static_cast<std::uint8_t*>(xferi->buf);
    // No client of tinyalsa starts a capture stream; the kernel does it on the first read.
    if (zel_stream_started() == zel_started::no && xferi->frames > 0) {
        const int status =
            zel_guarded([=] { return zel_start_stream(plugin, zel_started::by_read); });
        if (status != 0) {
            return status;
        }
    }
    const int got = blocking ? read_all(to, wanted) : read_converter(to, wanted);
    if (got < 0) {
        return got;
    }
    xferi->result = blocking
                        ? static_cast<snd_pcm_sframes_t>(xferi->frames)
                        : static_cast<snd_pcm_sframes_t>(static_cast<std::size_t>(got) / frame);
    return 0;
}

/// True behind a read that has started the stream, and when the client prepares it anew after a
/// stop, which stops nothing here.
bool runs_already(const pcm_plugin* plugin) {
    const zel_started how = zel_stream_started();
    return zel_owns_stream(plugin) &&
           (how == zel_started::by_read ||
            (how == zel_started::by_client && plugin->state == kPreparedState));
}

}  // namespace

int start(pcm_plugin* plugin) {
    ZEL_FC_LOGT("+");
    int status = -EINVAL;
    if (plugin == nullptr) {
        ZEL_FC_LOGE("pstPcmPlugin is nullptr!!");
    } else if (runs_already(plugin)) {
        status = 0;
    } else {
        status = zel_guarded([=] { return zel_start_stream(plugin, zel_started::by_client); });
    }
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

int readi_frames(pcm_plugin* plugin, snd_xferi* xferi) {
    ZEL_FC_LOGT("+");
    int status = -EINVAL;
    if (plugin == nullptr || plugin->priv == nullptr) {
        ZEL_FC_LOGE("pstPcmPlugin is nullptr!!");
    } else if (xferi == nullptr) {
        ZEL_FC_LOGE("invalid SndXferi!!");
    } else if (xferi->buf == nullptr) {
        ZEL_FC_LOGE("invalid SndXferi buf!!");
    } else {
        xferi->result = 0;
        status = take_frames(plugin, xferi);
        if (status != 0) {
            ZEL_FC_LOGE("read error");
        }
    }
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

int sync_ptr(pcm_plugin* plugin, snd_pcm_sync_ptr* sync) {
    ZEL_FC_LOGT("+");
    int status = -EINVAL;
    timespec timestamp{};
    std::uint32_t avail_frames{};
    const auto get = [](property_e property, void* data) {
        return zel_guarded([=] { return zel_format_converter::getInstance().get(property, data); });
    };
    if (plugin == nullptr) {
        ZEL_FC_LOGE("pstPcmPlugin is nullptr!!");
    } else if (sync == nullptr) {
        ZEL_FC_LOGE("invalid SyncPtr!!");
    } else if (status = -1; get(PROP_TIMESTAMP, &timestamp) != 0) {
        ZEL_FC_LOGE("format converter get timestamp fail.");
    } else if (get(PROP_AVAIL_FRAMES, &avail_frames) != 0) {
        ZEL_FC_LOGE("format converter get available frame fail.");
    } else {
        auto& reported = sync->s.status;
        reported.tstamp.tv_sec = timestamp.tv_sec;
        reported.tstamp.tv_nsec = timestamp.tv_nsec;
        reported.hw_ptr = sync->c.control.appl_ptr + avail_frames;
        status = 0;
    }
    ZEL_FC_LOGT("-");
    return zel_with_errno(status);
}

}  // namespace zel_format_converter_pcm_plugin
