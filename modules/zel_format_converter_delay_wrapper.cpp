#include "zel_format_converter_delay_wrapper.h"

#include <cerrno>
#include <new>
#include <string>

#include "zel_channel_delay.h"

namespace {
// Stays in memory: at the process's end a worker that a card holds may still use it.
zel_channel_delay& g_delay = *new zel_channel_delay;
}  // namespace

int zel_fc_lib_delay_init(const char* path, const pcm_config* config) {
    if (path == nullptr) {
        return -EINVAL;
    }
    try {
        return g_delay.init(path, config);
    } catch (const std::bad_alloc&) {
        return -ENOMEM;
    }
}

int zel_fc_lib_delay_process(const void* in, void* out, int size) {
    return g_delay.process(in, out, size);
}

int zel_fc_lib_delay_deinit() {
    return g_delay.deinit();
}
