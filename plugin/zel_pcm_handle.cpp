// Which handle has the converter's stream, and what opens, starts and closes it. Runs on client
// threads.

#include "zel_pcm_handle.h"

#include <atomic>
#include <cerrno>
#include <mutex>

#include "zel_fc_log.h"

namespace {

// The lock makes a command to the converter and noting the stream's owner one step.
std::mutex g_owner_lock;
std::atomic<const pcm_plugin*> g_owner{nullptr};

zel_pcm_handle* handle_of(pcm_plugin* plugin) {
    return static_cast<zel_pcm_handle*>(plugin->priv);
}

bool has_another_owner(const pcm_plugin* plugin) {
    const pcm_plugin* owner = g_owner;
    return owner != nullptr && owner != plugin;
}

/// Empty inside the event callback, where the converter refuses the command: the lock's holder may
/// be waiting for the very thread that makes the callback.
std::unique_lock<std::mutex> lock_owner(const zel_format_converter& converter) {
    return converter.on_worker() ? std::unique_lock<std::mutex>() : std::unique_lock(g_owner_lock);
}

}  // namespace

int zel_open_stream(pcm_plugin* plugin) {
    zel_format_converter& converter = zel_format_converter::getInstance();
    const auto lock = lock_owner(converter);
    zel_pcm_handle* handle = handle_of(plugin);
    const int status = converter.open(&handle->stConfig, static_cast<unsigned int>(plugin->mode));
    if (status == 0) {
        handle->bStarted = false;
        handle->bStartedByRead = false;
        g_owner = plugin;
    }
    return status;
}

int zel_start_stream(pcm_plugin* plugin, bool by_read) {
    zel_format_converter& converter = zel_format_converter::getInstance();
    const auto lock = lock_owner(converter);
    if (has_another_owner(plugin)) {
        ZEL_FC_LOGE("the stream belongs to another handle");
        return -EINVAL;
    }
    const int status = converter.start();
    // A worker that doesn't answer in time carries the command out later all the same.
    if (status == 0 || status == -ETIME) {
        handle_of(plugin)->bStarted = true;
        handle_of(plugin)->bStartedByRead = by_read;
    }
    return status;
}

int zel_close_stream(pcm_plugin* plugin) {
    zel_format_converter& converter = zel_format_converter::getInstance();
    const auto lock = lock_owner(converter);
    if (has_another_owner(plugin)) {
        return 0;
    }
    const int status = converter.close();
    // Given up even if that failed: tinyalsa forgets the handle all the same, and a handle that is
    // opened then must be able to close what it left.
    g_owner = nullptr;
    return status;
}

bool zel_owns_stream(const pcm_plugin* plugin) {
    return g_owner == plugin;
}
