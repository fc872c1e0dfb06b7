#include "zel_format_converter_mixing_wrapper.h"

#include <utility>

#include "zel_channel_mixing.h"

namespace {
// Stays in memory: at the process's end a worker that a card holds may still use it.
zel_channel_mixing& g_mixing = *new zel_channel_mixing;
}  // namespace

// The interface takes its strings by value. NOLINTBEGIN(performance-unnecessary-value-param)

int zel_fc_lib_mixing_init(std::string path, std::string layout, const pcm_config* in,
                           const pcm_config* out) {
    return g_mixing.init(std::move(path), layout, in, out);
}

int zel_fc_lib_mixing_process(const void* in, unsigned int in_size, void* out,
                              unsigned int out_size) {
    return g_mixing.process(in, in_size, out, out_size);
}

int zel_fc_lib_mixing_channel_change(std::string layout) {
    return g_mixing.channel_change(layout);
}

int zel_fc_lib_mixing_deinit() {
    return g_mixing.deinit();
}

// NOLINTEND(performance-unnecessary-value-param)
