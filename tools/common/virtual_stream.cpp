#include "virtual_stream.h"

#include <unistd.h>

#include "zel_virtual_card.h"

bool virtual_stream::fail(const char* what) {
    message =
        std::string(what) + ": " + (handle != nullptr ? pcm_get_error(handle) : "out of memory");
    return false;
}

bool virtual_stream::open(const stream_format& format, bool blocking, bool starts) {
    waits = blocking;
    pcm_config config{};
    config.channels = format.channels;
    config.rate = format.rate;
    config.period_size = format.period_frames();
    config.period_count = format.period_count;
    config.format = format.bits == 32   ? PCM_FORMAT_S32_LE
                    : format.bits == 24 ? PCM_FORMAT_S24_LE
                                        : PCM_FORMAT_S16_LE;
    const unsigned int flags =
        PCM_IN | PCM_MONOTONIC | (blocking ? 0 : static_cast<unsigned int>(PCM_NONBLOCK));
    handle = pcm_open(kZelVirtualCard, kZelVirtualDevice, flags, &config);
    if (handle == nullptr || pcm_is_ready(handle) == 0) {
        return fail("cannot open card 70, device 70");
    }
    return !starts || (pcm_prepare(handle) == 0 && pcm_start(handle) == 0) ||
           fail("cannot start card 70, device 70");
}

void virtual_stream::close() {
    if (handle != nullptr) {
        pcm_close(handle);
        handle = nullptr;
    }
}

int virtual_stream::read(void* frames, std::uint32_t wanted, unsigned int patience_ms) {
    // A blocking read looks for new data only every 32 ms; this one is for those in a hurry.
    constexpr useconds_t kLookUs = 200;
    const unsigned int looks = patience_ms * 1000 / kLookUs;
    int got = pcm_readi(handle, frames, wanted);
    for (unsigned int look = 0; !waits && got == 0 && look < looks; ++look) {
        usleep(kLookUs);
        got = pcm_readi(handle, frames, wanted);
    }
    if (got < 0) {
        message = pcm_get_error(handle);
    } else if (got == 0) {
        message = "the card delivers nothing";
    }
    return got > 0 ? got : -1;
}

bool virtual_stream::newest(unsigned int* avail, timespec* time) const {
    return pcm_get_htimestamp(handle, avail, time) == 0;
}
