// The streams of the scripted tinyalsa.

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>

#include "script_state.h"

using zel_test::call;
using zel_test::call_fails;
using zel_test::script;
using zel_test::script_changed;
using zel_test::script_lock;

struct pcm {
    pcm_config config;
    std::string error;
};

// Handles come from malloc, as a C library's do: a test's allocation faults are for the product.
pcm* pcm_open(unsigned int card, unsigned int device, unsigned int flags,
              const pcm_config* config) {
    const std::lock_guard guard(script_lock);
    if (call_fails(call::pcm_open)) {
        return nullptr;
    }
    auto* stream = new (std::malloc(sizeof(pcm))) pcm{*config, {}};
    for (const auto& [rate, text] : script().refused) {
        if (rate == config->rate) {
            stream->error = text;
        }
    }
    script().opened.push_back({card, device, flags, *config});
    ++script().handles;
    return stream;
}

int pcm_close(pcm* stream) {
    const std::lock_guard guard(script_lock);
    call_fails(call::pcm_close);
    --script().handles;
    std::destroy_at(stream);
    std::free(stream);
    return 0;
}

int pcm_is_ready(const pcm* stream) {
    return stream->error.empty();
}

const char* pcm_get_error(const pcm* stream) {
    return stream->error.c_str();
}

unsigned int pcm_format_to_bits(pcm_format format) {
    switch (format) {
        case PCM_FORMAT_S32_LE:
        case PCM_FORMAT_S32_BE:
        case PCM_FORMAT_S24_LE:
        case PCM_FORMAT_S24_BE:
            return 32;
        case PCM_FORMAT_S24_3LE:
        case PCM_FORMAT_S24_3BE:
            return 24;
        case PCM_FORMAT_S8:
            return 8;
        default:
            return 16;
    }
}

int pcm_readi(pcm* stream, void* data, unsigned int frames) {
    std::unique_lock guard(script_lock);
    int result = 0;
    if (call_fails(call::pcm_readi, &result)) {
        return result;
    }
    ++script().reads_waiting;
    script_changed.wait(guard, [] { return script().reads_allowed != 0; });
    --script().reads_waiting;
    script().reads_allowed -= script().reads_allowed > 0 ? 1 : 0;
    if (script().source) {
        return script().source(data, frames, stream->config);
    }
    std::memset(data, 0,
                std::size_t{frames} * stream->config.channels *
                    (pcm_format_to_bits(stream->config.format) / 8));
    return static_cast<int>(frames);
}

int pcm_get_htimestamp(pcm*, unsigned int* avail, timespec* ts) {
    const std::lock_guard guard(script_lock);
    int result = 0;
    if (call_fails(call::pcm_get_htimestamp, &result)) {
        return result;
    }
    *avail = script().avail;
    *ts = {};
    if (!script().times.empty()) {
        *ts = script().times.front();
        script().times.pop_front();
    }
    return 0;
}
