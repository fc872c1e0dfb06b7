// The card's capture stream, as tinyalsa's plugin interface has it.

#include <android/log.h>

#include <cerrno>
#include <chrono>
#include <new>
#include <thread>

#include "loopback_card.h"
#include "loopback_clock.h"
#include "loopback_source.h"

#define ZEL_EXPORT __attribute__((visibility("default")))

namespace {

constexpr unsigned int kCaptureFlag = 0x10000000;
constexpr unsigned int kMaxPeriods = 1024;
constexpr unsigned int kMaxPeriodBytes = 1U << 22;

struct stream {
    pcm_plugin record{};
    pcm_plugin_hw_constraints limits{};
    loopback_source source;
    loopback_clock clock;
    bool configured = false;
};

stream* stream_of(pcm_plugin* plugin) {
    return static_cast<stream*>(plugin->priv);
}

int with_errno(int status) {
    if (status < 0) {
        errno = -status;
    }
    return status;
}

unsigned int interval_min(const snd_pcm_hw_params& params, int interval) {
    return params.intervals[interval - SNDRV_PCM_HW_PARAM_FIRST_INTERVAL].min;
}

int open(pcm_plugin** plugin, unsigned int card, unsigned int device, unsigned int flags) {
    if (plugin == nullptr || (flags & kCaptureFlag) == 0) {
        return with_errno(-EINVAL);
    }
    auto* opened = new (std::nothrow) stream;
    if (opened == nullptr) {
        return with_errno(-ENOMEM);
    }
    opened->limits.access = 1U << SNDRV_PCM_ACCESS_RW_INTERLEAVED;
    opened->limits.format = 1U << SNDRV_PCM_FORMAT_S16_LE | 1U << SNDRV_PCM_FORMAT_S24_LE |
                            1U << SNDRV_PCM_FORMAT_S32_LE;
    opened->limits.bit_width = {16, 32};
    opened->limits.channels = {1, 16};
    opened->limits.rate = {8000, 192000};
    opened->limits.periods = {1, kMaxPeriods};
    opened->limits.period_bytes = {64, kMaxPeriodBytes};
    opened->record.card = card;
    opened->record.device = device;
    opened->record.mode = static_cast<int>(flags);
    opened->record.constraints = &opened->limits;
    opened->record.priv = opened;
    *plugin = &opened->record;
    return 0;
}

int close(pcm_plugin* plugin) {
    delete stream_of(plugin);
    return 0;
}

int hw_params(pcm_plugin* plugin, snd_pcm_hw_params* params) {
    loopback_card& card = loopback_card::instance();
    if (card.take_fault(CTL_FAULT_OPEN)) {
        return with_errno(-EIO);
    }
    const unsigned int channels = interval_min(*params, SNDRV_PCM_HW_PARAM_CHANNELS);
    const unsigned int rate = interval_min(*params, SNDRV_PCM_HW_PARAM_RATE);
    const int format = card.integer(CTL_SLAVE_FORMAT);
    const unsigned int formats =
        params->masks[SNDRV_PCM_HW_PARAM_FORMAT - SNDRV_PCM_HW_PARAM_FIRST_MASK].bits[0];
    if (channels != static_cast<unsigned int>(card.integer(CTL_SLAVE_CHANNELS)) ||
        rate != static_cast<unsigned int>(card.integer(CTL_SLAVE_RATE)) || format > 31 ||
        formats != 1U << format || (stream_of(plugin)->limits.format & formats) == 0) {
        return with_errno(-EINVAL);
    }
    // tinyalsa lets requests above a maximum through.
    const unsigned int period = interval_min(*params, SNDRV_PCM_HW_PARAM_PERIOD_SIZE);
    const unsigned int periods = interval_min(*params, SNDRV_PCM_HW_PARAM_PERIODS);
    const unsigned int frame_bytes = channels * (format == SNDRV_PCM_FORMAT_S16_LE ? 2 : 4);
    if (period > kMaxPeriodBytes / frame_bytes || periods > kMaxPeriods) {
        return with_errno(-EINVAL);
    }
    stream* opened = stream_of(plugin);
    int status = 0;
    try {
        status = opened->source.open(channels, rate, format);
    } catch (const std::bad_alloc&) {
        status = -ENOMEM;
    }
    if (status != 0) {
        return with_errno(status);
    }
    opened->clock.configure(rate, period, period * periods);
    opened->configured = true;
    return 0;
}

int sw_params(pcm_plugin*, snd_pcm_sw_params*) {
    return 0;
}

/// A read starts this card, as it starts a kernel's. A tinyalsa from before `drain` lets reads
/// through only to a stream that calls itself running; its pcm_start then finds the stream started
/// already.
template <typename Table>
void allow_read([[maybe_unused]] pcm_plugin* plugin) {
    constexpr unsigned int kPrepared = 2;
    constexpr unsigned int kRunning = 3;
    if constexpr (!requires(Table table) { table.drain; }) {
        if (plugin->state == kPrepared) {
            plugin->state = kRunning;
        }
    }
}

int sync_ptr(pcm_plugin* plugin, snd_pcm_sync_ptr* sync) {
    allow_read<struct pcm_plugin_ops>(plugin);
    timespec time{};
    const std::uint32_t avail = stream_of(plugin)->clock.avail(&time);
    sync->s.status.hw_ptr = sync->c.control.appl_ptr + avail;
    sync->s.status.tstamp.tv_sec = time.tv_sec;
    sync->s.status.tstamp.tv_nsec = time.tv_nsec;
    return 0;
}

int writei_frames(pcm_plugin*, snd_xferi*) {
    return with_errno(-EBADFD);
}

int readi_frames(pcm_plugin* plugin, snd_xferi* transfer) {
    stream* opened = stream_of(plugin);
    transfer->result = 0;
    if (!opened->configured || transfer->buf == nullptr) {
        return with_errno(-EBADFD);
    }
    loopback_card& card = loopback_card::instance();
    card.count_read();
    if (const int stall_ms = card.take_value(CTL_FAULT_STALL); stall_ms > 0) {
        std::this_thread::sleep_for(std::chrono::milliseconds(stall_ms));
    }
    opened->clock.jump(card.take_value(CTL_FAULT_CLOCK_JUMP));
    if (card.take_fault(CTL_FAULT_READ_ERROR)) {
        return with_errno(-EIO);
    }
    auto wanted = static_cast<std::uint32_t>(transfer->frames);
    if (card.take_fault(CTL_FAULT_SHORT_READ)) {
        wanted /= 2;
    }
    auto* out = static_cast<unsigned char*>(transfer->buf);
    std::uint32_t done = 0;
    while (done < wanted) {
        const std::int64_t ready = opened->clock.wait_for(wanted - done);
        if (ready < 0) {
            return with_errno(static_cast<int>(ready));
        }
        const auto frames = static_cast<std::uint32_t>(ready);
        opened->source.fill(opened->clock.position(), frames, out);
        opened->clock.advance(frames);
        out += std::size_t{frames} * opened->source.frame_bytes();
        done += frames;
    }
    transfer->result = static_cast<snd_pcm_sframes_t>(done);
    return 0;
}

// NOLINTNEXTLINE(readability-non-const-parameter): tinyalsa's table has this signature.
int ttstamp(pcm_plugin* plugin, int* type) {
    stream_of(plugin)->clock.use_monotonic(*type == SNDRV_PCM_TSTAMP_TYPE_MONOTONIC);
    return 0;
}

int prepare(pcm_plugin* plugin) {
    stream_of(plugin)->clock.stop();
    return 0;
}

int start(pcm_plugin* plugin) {
    loopback_clock& clock = stream_of(plugin)->clock;
    if (!clock.started()) {
        clock.start();
    }
    return 0;
}

// Not in the table of tinyalsa before 2023.
[[maybe_unused]] int drain(pcm_plugin*) {
    return 0;
}

int drop(pcm_plugin* plugin) {
    stream_of(plugin)->clock.stop();
    return 0;
}

int ioctl(pcm_plugin*, int, void*) {
    return with_errno(-ENOTTY);
}

void* mmap(pcm_plugin*, void*, size_t, int, int, off_t) {
    errno = EOPNOTSUPP;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): what mmap itself returns when it fails.
    return reinterpret_cast<void*>(std::intptr_t{-1});
}

int munmap(pcm_plugin*, void*, size_t) {
    return 0;
}

int poll(pcm_plugin*, pollfd* pfd, nfds_t count, int) {
    for (nfds_t i = 0; i < count; ++i) {
        pfd[i].revents = POLLIN;
    }
    return static_cast<int>(count);
}

template <typename Table>
constexpr Table make_table() {
    Table table{};
    table.open = open;
    table.close = close;
    table.hw_params = hw_params;
    table.sw_params = sw_params;
    table.sync_ptr = sync_ptr;
    table.writei_frames = writei_frames;
    table.readi_frames = readi_frames;
    table.ttstamp = ttstamp;
    table.prepare = prepare;
    table.start = start;
    if constexpr (requires { table.drain; }) {
        table.drain = drain;
    }
    table.drop = drop;
    table.ioctl = ioctl;
    table.mmap = mmap;
    table.munmap = munmap;
    table.poll = poll;
    return table;
}

}  // namespace

extern "C" {
ZEL_EXPORT extern const struct pcm_plugin_ops pcm_plugin_ops;
constinit const struct pcm_plugin_ops pcm_plugin_ops = make_table<struct pcm_plugin_ops>();
}
