#include "zel_stream_owner.h"

#include <atomic>
#include <cerrno>
#include <mutex>

#include "zel_fc_log.h"

namespace {

// The lock makes a command to the converter and noting the stream's owner one step. Never
// destroyed: a client's own statics may close a stream while the process ends.
std::mutex& g_owner_lock = *new std::mutex;
std::atomic<const pcm_plugin*> g_owner{nullptr};
std::atomic<zel_started> g_started{zel_started::no};

/// A handle's turn to give a command, unless the stream is another handle's.
class command_turn {
  public:
    // Who may hold the lock for ever when it refuses all, the converter refuses.
    command_turn(const zel_format_converter& converter, const pcm_plugin* plugin)
        : lock(!converter.refuses_all() && may_command(plugin) ? std::unique_lock(g_owner_lock)
                                                               : std::unique_lock<std::mutex>()),
          granted(may_command(plugin)) {}
    explicit operator bool() const { return granted; }

  private:
    static bool may_command(const pcm_plugin* plugin) {
        const pcm_plugin* owner = g_owner;
        return owner == nullptr || owner == plugin;
    }

    std::unique_lock<std::mutex> lock;
    bool granted;  ///< once the lock is held
};

int refuse(const char* operation) {
    ZEL_FC_LOGE_OF(operation, "the stream belongs to another handle");
    return -EINVAL;
}

}  // namespace

int zel_open_stream(pcm_plugin* plugin) {
    zel_format_converter& converter = zel_format_converter::getInstance();
    // Claimed first, so that others are refused at once while the command is under way.
    const pcm_plugin* owner = nullptr;
    const bool claimed = g_owner.compare_exchange_strong(owner, plugin);
    if (!claimed && owner != plugin && !converter.refuses_all()) {
        return refuse("hw_params");
    }
    const command_turn turn(converter, plugin);
    const int status = converter.open(static_cast<const pcm_config*>(plugin->priv),
                                      static_cast<unsigned int>(plugin->mode));
    if (status == 0) {
        g_started = zel_started::no;
    } else if (claimed) {
        g_owner = nullptr;
    }
    return status;
}

int zel_start_stream(pcm_plugin* plugin, zel_started how) {
    zel_format_converter& converter = zel_format_converter::getInstance();
    const command_turn turn(converter, plugin);
    if (!turn && !converter.refuses_all()) {
        return refuse("start");
    }
    const int status = converter.start();
    // A worker that doesn't answer in time carries the command out later all the same.
    if (status == 0 || (status == -ETIME && !converter.worker_has_ended())) {
        g_started = how;
    }
    return status;
}

int zel_close_stream(pcm_plugin* plugin) {
    zel_format_converter& converter = zel_format_converter::getInstance();
    const command_turn turn(converter, plugin);
    if (!turn) {
        return 0;
    }
    const int status = converter.close();
    // Given up even if that failed: tinyalsa forgets the handle all the same, and a handle that is
    // opened then must be able to close what it left. Another may have claimed the stream already.
    const pcm_plugin* own = plugin;
    g_owner.compare_exchange_strong(own, nullptr);
    return status;
}

bool zel_owns_stream(const pcm_plugin* plugin) {
    return g_owner == plugin;
}

zel_started zel_stream_started() {
    return g_started;
}
