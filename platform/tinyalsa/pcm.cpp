// Streams of plugin cards: opening with its parameters, reading, positions, closing.

#include <sys/mman.h>
#include <tinyalsa/pcm.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <new>

#include "card_node.h"
#include "hw_params.h"

#define ZEL_EXPORT __attribute__((visibility("default")))

struct pcm {
    card_node node;
    const pcm_plugin_ops* ops = nullptr;
    pcm_plugin* plugin = nullptr;
    pcm_config config{};
    unsigned int flags = 0;
    unsigned int buffer_size = 0;  // frames
    bool ready = false;
    char error[256] = "";
};

namespace {

constexpr auto kStatusOffset = static_cast<off_t>(0x80000000);

/// Notes why an operation failed: `what`, and errno's text when there is one. Returns -1.
int fail(pcm* stream, int error, const char* what) {
    if (error != 0) {
        std::snprintf(stream->error, sizeof(stream->error), "%s: %s", what, std::strerror(error));
    } else {
        std::snprintf(stream->error, sizeof(stream->error), "%s", what);
    }
    errno = error != 0 ? error : EINVAL;
    return -1;
}

int sync_position(pcm* stream, snd_pcm_sync_ptr* sync) {
    *sync = {};
    sync->flags =
        SNDRV_PCM_SYNC_PTR_APPL | SNDRV_PCM_SYNC_PTR_AVAIL_MIN | SNDRV_PCM_SYNC_PTR_HWSYNC;
    return stream->ops->sync_ptr(stream->plugin, sync);
}

int set_hw_params(pcm* stream) {
    snd_pcm_hw_params params = request_hw_params(stream->config, (stream->flags & PCM_MMAP) != 0,
                                                 *stream->plugin->constraints);
    if (alsa_format(stream->config.format) < 0) {
        return fail(stream, EINVAL, "cannot set hw params");
    }
    errno = 0;
    if (stream->ops->hw_params(stream->plugin, &params) != 0) {
        return fail(stream, errno, "cannot set hw params");
    }
    stream->plugin->state = PCM_PLUG_STATE_SETUP;
    stream->buffer_size = stream->config.period_size * stream->config.period_count;
    return 0;
}

int set_sw_params(pcm* stream) {
    snd_pcm_sw_params params{};
    params.tstamp_mode = SNDRV_PCM_TSTAMP_ENABLE;
    params.period_step = 1;
    params.avail_min = stream->config.avail_min != 0 ? stream->config.avail_min : 1;
    params.start_threshold =
        stream->config.start_threshold != 0 ? stream->config.start_threshold : 1;
    params.stop_threshold = stream->config.stop_threshold != 0 ? stream->config.stop_threshold
                                                               : 10UL * stream->buffer_size;
    params.silence_threshold = stream->config.silence_threshold;
    params.silence_size = stream->config.silence_size;
    params.boundary = stream->buffer_size;
    errno = 0;
    if (stream->ops->sw_params(stream->plugin, &params) != 0) {
        return fail(stream, errno, "cannot set sw params");
    }
    return 0;
}

int open_stream(pcm* stream, unsigned int card, unsigned int device) {
    if (!stream->node.load(card_node::kind::pcm, card, device)) {
        char what[160];
        std::snprintf(what, sizeof(what), "no device (hw/plugin) for card(%u), device(%u) (%.100s)",
                      card, device, stream->node.error().c_str());
        return fail(stream, ENODEV, what);
    }
    stream->ops = static_cast<const pcm_plugin_ops*>(stream->node.ops());
    const bool capture = (stream->flags & PCM_IN) != 0;
    if (!stream->node.offers(capture ? "capture" : "playback")) {
        return fail(stream, ENODEV, capture ? "device has no capture" : "device has no playback");
    }
    errno = 0;
    if (stream->ops->open(&stream->plugin, card, device, stream->flags) != 0 ||
        stream->plugin == nullptr) {
        stream->plugin = nullptr;
        return fail(stream, errno, "cannot open device");
    }
    stream->plugin->state = PCM_PLUG_STATE_OPEN;
    if (set_hw_params(stream) != 0 || set_sw_params(stream) != 0) {
        return -1;
    }
    void* status =
        stream->ops->mmap(stream->plugin, nullptr, 4096, PROT_READ, MAP_SHARED, kStatusOffset);
    if (status != MAP_FAILED) {
        stream->ops->munmap(stream->plugin, status, 4096);
    }
    if ((stream->flags & PCM_MMAP) != 0) {
        return fail(stream, EOPNOTSUPP, "failed to mmap buffer");
    }
    int monotonic = SNDRV_PCM_TSTAMP_TYPE_MONOTONIC;
    if ((stream->flags & PCM_MONOTONIC) != 0 &&
        stream->ops->ttstamp(stream->plugin, &monotonic) != 0) {
        return fail(stream, errno, "cannot set timestamp type");
    }
    return 0;
}

void close_plugin(pcm* stream) {
    if (stream->plugin != nullptr) {
        stream->ops->close(stream->plugin);
        stream->plugin = nullptr;
    }
    stream->node.unload();
}

int prepare(pcm* stream) {
    if (stream->plugin->state == PCM_PLUG_STATE_SETUP) {
        errno = 0;
        if (stream->ops->prepare(stream->plugin) != 0) {
            return fail(stream, errno, "cannot prepare channel");
        }
        stream->plugin->state = PCM_PLUG_STATE_PREPARED;
        snd_pcm_sync_ptr sync{};
        return sync_position(stream, &sync) != 0 ? fail(stream, errno, "cannot sync position") : 0;
    }
    return 0;
}

}  // namespace

extern "C" {

ZEL_EXPORT pcm* pcm_open(unsigned int card, unsigned int device, unsigned int flags,
                         const pcm_config* config) {
    auto* stream = new (std::nothrow) pcm;
    if (stream == nullptr) {
        return nullptr;
    }
    stream->flags = flags;
    if (config == nullptr) {
        fail(stream, EINVAL, "no configuration");
        return stream;
    }
    stream->config = *config;
    try {
        stream->ready = open_stream(stream, card, device) == 0;
    } catch (const std::bad_alloc&) {
        fail(stream, ENOMEM, "cannot open device");
    }
    if (!stream->ready) {
        const int error = errno;
        close_plugin(stream);
        errno = error;
    }
    return stream;
}

ZEL_EXPORT int pcm_close(pcm* stream) {
    if (stream == nullptr) {
        return 0;
    }
    close_plugin(stream);
    delete stream;
    return 0;
}

ZEL_EXPORT int pcm_is_ready(const pcm* stream) {
    return stream != nullptr && stream->ready;
}

ZEL_EXPORT const char* pcm_get_error(const pcm* stream) {
    return stream != nullptr ? stream->error : "no stream";
}

ZEL_EXPORT unsigned int pcm_get_channels(const pcm* stream) {
    return stream->config.channels;
}
ZEL_EXPORT unsigned int pcm_get_rate(const pcm* stream) {
    return stream->config.rate;
}
ZEL_EXPORT pcm_format pcm_get_format(const pcm* stream) {
    return stream->config.format;
}
ZEL_EXPORT unsigned int pcm_get_buffer_size(const pcm* stream) {
    return stream->buffer_size;
}
ZEL_EXPORT const pcm_config* pcm_get_config(const pcm* stream) {
    return stream != nullptr ? &stream->config : nullptr;
}

ZEL_EXPORT unsigned int pcm_frames_to_bytes(const pcm* stream, unsigned int frames) {
    return frames * stream->config.channels * (pcm_format_to_bits(stream->config.format) / 8);
}

ZEL_EXPORT unsigned int pcm_bytes_to_frames(const pcm* stream, unsigned int bytes) {
    const unsigned int frame = pcm_frames_to_bytes(stream, 1);
    return frame != 0 ? bytes / frame : 0;
}

ZEL_EXPORT int pcm_prepare(pcm* stream) {
    return pcm_is_ready(stream) ? prepare(stream) : -1;
}

ZEL_EXPORT int pcm_start(pcm* stream) {
    if (!pcm_is_ready(stream)) {
        errno = EBADFD;
        return -1;
    }
    snd_pcm_sync_ptr sync{};
    if (sync_position(stream, &sync) != 0 || prepare(stream) != 0 ||
        sync_position(stream, &sync) != 0) {
        return fail(stream, errno, "cannot start channel");
    }
    if (stream->plugin->state != PCM_PLUG_STATE_RUNNING) {
        errno = 0;
        if (stream->ops->start(stream->plugin) != 0) {
            return fail(stream, errno, "cannot start channel");
        }
        stream->plugin->state = PCM_PLUG_STATE_RUNNING;
    }
    return 0;
}

ZEL_EXPORT int pcm_stop(pcm* stream) {
    if (!pcm_is_ready(stream)) {
        errno = EBADFD;
        return -1;
    }
    errno = 0;
    if (stream->ops->drop(stream->plugin) != 0) {
        return fail(stream, errno, "cannot stop channel");
    }
    stream->plugin->state = PCM_PLUG_STATE_SETUP;
    return 0;
}

ZEL_EXPORT int pcm_drain(pcm* stream) {
    if (!pcm_is_ready(stream) || stream->ops->drain == nullptr) {
        errno = ENOSYS;
        return -1;
    }
    errno = 0;
    return stream->ops->drain(stream->plugin) != 0 ? fail(stream, errno, "cannot drain channel")
                                                   : 0;
}

ZEL_EXPORT int pcm_readi(pcm* stream, void* data, unsigned int frame_count) {
    if (!pcm_is_ready(stream) || (stream->flags & PCM_IN) == 0) {
        errno = EINVAL;
        return -1;
    }
    if (frame_count > INT_MAX) {
        errno = EINVAL;
        return -1;
    }
    snd_pcm_sync_ptr sync{};
    if (stream->plugin->state < PCM_PLUG_STATE_PREPARED) {
        if (sync_position(stream, &sync) != 0 || prepare(stream) != 0) {
            return fail(stream, errno, "cannot prepare channel");
        }
    } else {
        sync_position(stream, &sync);
    }
    snd_xferi transfer{0, data, frame_count};
    errno = 0;
    if (stream->ops->readi_frames(stream->plugin, &transfer) != 0) {
        return fail(stream, errno, "cannot read stream data");
    }
    return static_cast<int>(transfer.result);
}

ZEL_EXPORT int pcm_get_htimestamp(pcm* stream, unsigned int* avail, timespec* tstamp) {
    if (!pcm_is_ready(stream) || avail == nullptr || tstamp == nullptr) {
        return -1;
    }
    snd_pcm_sync_ptr sync{};
    if (sync_position(stream, &sync) != 0) {
        return -1;
    }
    const auto& status = sync.s.status;
    if (status.tstamp.tv_sec == 0 && status.tstamp.tv_nsec == 0) {
        return -1;
    }
    tstamp->tv_sec = status.tstamp.tv_sec;
    tstamp->tv_nsec = status.tstamp.tv_nsec;
    *avail = static_cast<unsigned int>(status.hw_ptr - sync.c.control.appl_ptr);
    return 0;
}

ZEL_EXPORT int pcm_wait(pcm* stream, int timeout) {
    if (!pcm_is_ready(stream)) {
        errno = EBADFD;
        return -1;
    }
    pollfd pfd{-1, POLLIN | POLLERR | POLLNVAL, 0};
    const int status = stream->ops->poll(stream->plugin, &pfd, 1, timeout);
    return status < 0 ? -errno : status;
}

}  // extern "C"
