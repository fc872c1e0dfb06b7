// The client side of the converter: construction, stream operations, reads and properties.
// Runs on client threads.

#include <unistd.h>
#include <zel_vad_utility.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "zel_card_names.h"
#include "zel_fc_log.h"
#include "zel_format_converter.h"

std::atomic<std::uint32_t> zel_format_converter::u32LOG_LEVEL{FC_LOG_INFO};

/// Shuts the converter down when the process ends.
struct zel_format_converter::process_end {
    zel_format_converter& converter;
    ~process_end() { converter.shut_down(); }
};

// The object itself stays in memory: a client's own statics may still call it, and a worker that a
// card holds still uses it. Not a static of the language's: a child forked while another thread
// builds one would wait for that thread for ever.
zel_format_converter& zel_format_converter::getInstance() {
    static std::atomic<zel_format_converter*> instance{nullptr};
    static std::atomic<pid_t> builder{0};
    zel_format_converter* converter = nullptr;
    while ((converter = instance) == nullptr) {
        pid_t other = 0;
        if (builder.compare_exchange_strong(other, getpid())) {
            try {
                instance = new zel_format_converter;
            } catch (...) {
                builder = 0;
                throw;
            }
            static const process_end end{*instance};
        } else if (other != getpid()) {
            throw std::runtime_error("forked while the converter was built");
        } else {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }
    return *converter;
}

zel_format_converter::zel_format_converter()
    : strDefaultDelayJsonPath(zel_card_names::kDelayFile),
      strDefaultMixingJsonPath(zel_card_names::kMixingFile),
      strSndDeviceName(zel_card_names::kCaptureDevice),
      strActiveCtlName(zel_card_names::kActiveControl),
      strFormatCtlName(zel_card_names::kFormatControl),
      strRateCtlName(zel_card_names::kRateControl),
      strChannelsCtlName(zel_card_names::kChannelsControl),
      strLayoutCtlName(zel_card_names::kLayoutControl) {
    if (get_json_path(strDelayJsonPath, static_cast<voice_json>(1)) != 0) {
        ZEL_FC_LOGE("can't get delay json path use default path");
        strDelayJsonPath = strDefaultDelayJsonPath;
    }
    if (get_json_path(strMixingJsonPath, static_cast<voice_json>(2)) != 0) {
        ZEL_FC_LOGE("can't get mixing json path use default path");
        strMixingJsonPath = strDefaultMixingJsonPath;
    }
    if (search_snd_device(strSndDeviceName, &u32Card, &u32Device) != 0) {
        ZEL_FC_LOGE("search snd device fail");
        u32Device = 0xFFFFFFFF;
        u32Card = 0xFFFFFFFF;
    }
    create_fc_task();
}

bool zel_format_converter::in_forked_child() const {
    return s32OwnerPid != getpid();
}

/// Leaves all as it is when a client keeps its turn: it may be the one that an interrupting signal
/// handler's exit() runs on.
void zel_format_converter::shut_down() {
    if (in_forked_child()) {
        return;
    }
    bProcessEnds = true;
    std::unique_lock lock(mLock, std::try_to_lock);
    for (int ms = 0; !lock && ms < s32CmdTimeoutMs; ++ms) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        lock.try_lock();
    }
    if (lock) {
        destroy_fc_task();
    } else {
        ZEL_FC_LOGE("a client's operation does not end");
    }
}

/// A client's turn; empty, with a message of `operation`'s, when there is none to be had.
std::unique_lock<std::mutex> zel_format_converter::lock_client(const char* operation) {
    std::unique_lock lock(mLock, std::defer_lock);
    if (in_forked_child()) {
        ZEL_FC_LOGE_OF(operation, "a forked child has no worker");
        return lock;
    }
    if (!bProcessEnds) {
        lock.lock();
    }
    if (bProcessEnds) {
        ZEL_FC_LOGI_OF(operation, "the process ends");
        return {};
    }
    return lock;
}

int zel_format_converter::open(const pcm_config* config, unsigned int flags) {
    ZEL_FC_LOGT("+");
    const auto lock = lock_client(__func__);
    ZEL_FC_LOGI("open FC with %d channel %d bits %dk flags 0x%x",
                static_cast<int>(config->channels),
                static_cast<int>(pcm_format_to_bits(config->format)),
                static_cast<int>(config->rate), flags);
    const ctl_cmd cmd{FC_OPEN,
                      {config->channels, config->rate, config->period_size, config->period_count,
                       static_cast<std::uint32_t>(config->format),
                       static_cast<std::uint32_t>(config->start_threshold),
                       static_cast<std::uint32_t>(config->stop_threshold),
                       static_cast<std::uint32_t>(config->silence_threshold)},
                      flags};
    const int result = lock ? send_command(&cmd) : -EIO;
    if (result != 0) {
        ZEL_FC_LOGE("open fc fail");
    } else {
        // What the last stream's reads found is not this one's.
        stReadTimestamp = {};
        u32AvailFrames = 0;
    }
    ZEL_FC_LOGT("-");
    return result;
}

int zel_format_converter::close() {
    ZEL_FC_LOGT("+");
    const auto lock = lock_client(__func__);
    ZEL_FC_LOGI("close");
    const ctl_cmd cmd{FC_CLOSE};
    const int result = lock ? send_command(&cmd) : in_forked_child() ? -EIO : 0;
    if (result != 0) {
        ZEL_FC_LOGE("close fc thread fail");
    }
    ZEL_FC_LOGT("-");
    return result;
}

int zel_format_converter::start() {
    ZEL_FC_LOGT("+");
    const auto lock = lock_client(__func__);
    const ctl_cmd cmd{FC_START};
    const int result = lock ? send_command(&cmd) : -EIO;
    if (result != 0) {
        ZEL_FC_LOGE("start fc thread fail");
    }
    ZEL_FC_LOGT("-");
    return result;
}

int zel_format_converter::register_cb(std::function<void(void*)> callback, void* arg) {
    ZEL_FC_LOGT("+");
    int result = -EIO;
    if (!in_forked_child()) {
        const std::lock_guard lock(mEventCbLock);
        fnEventCb = std::move(callback);
        pEventCbArg = arg;
        result = 0;
    }
    ZEL_FC_LOGT("-");
    return result;
}

void zel_format_converter::unregister_cb(const void* arg) {
    if (in_forked_child()) {
        return;
    }
    const std::lock_guard lock(mEventCbLock);
    if (pEventCbArg == arg) {
        fnEventCb = nullptr;
    }
}

int zel_format_converter::read(void* buffer, unsigned int bytes) {
    ZEL_FC_LOGT("+");
    int result = -EIO;
    std::shared_ptr<zel_ring_buf> ring;
    const auto lock = lock_client(__func__);
    if (lock) {
        {
            const std::lock_guard ring_lock(mRingLock);
            ring = pstRingBuf;
        }
        result = ring ? ring->read_pcm(buffer, bytes) : -EINVAL;
    }
    if (result < 0) {
        ZEL_FC_LOGE("read error");
    } else if (ring->get_info(&stReadTimestamp, &u32AvailFrames) != 0) {
        ZEL_FC_LOGE("read ring buf info fail");
    }
    ZEL_FC_LOGT("-");
    return result;
}

namespace {

bool valid_property(const char* operation, property_e property, const void* data) {
    if (property >= PROP_COUNT) {
        ZEL_FC_LOGE_OF(operation, "invalid property %d", static_cast<int>(property));
        return false;
    }
    if (data == nullptr) {
        ZEL_FC_LOGE_OF(operation, "invalid data");
        return false;
    }
    return true;
}

/// Copies the path's characters, without a terminating zero, if they fit the property's area.
int copy_path(const std::string& path, void* data) {
    if (path.size() >= zel_format_converter::kMaxPathBytes) {
        ZEL_FC_LOGE_OF("get", "path of %d characters does not fit", static_cast<int>(path.size()));
        return -EINVAL;
    }
    std::memcpy(data, path.data(), path.size());
    return 0;
}

int assign_path(std::string& path, const void* data) {
    const auto* text = static_cast<const char*>(data);
    const std::size_t length = strnlen(text, zel_format_converter::kMaxPathBytes);
    if (length == zel_format_converter::kMaxPathBytes) {
        ZEL_FC_LOGE_OF("set", "path is longer than %d characters",
                       static_cast<int>(zel_format_converter::kMaxPathBytes) - 1);
        return -EINVAL;
    }
    path.assign(text, length);
    return 0;
}

}  // namespace

int zel_format_converter::get(property_e property, void* data) {
    ZEL_FC_LOGT("+");
    const auto lock = lock_client(__func__);
    int result = !lock ? -EIO : valid_property(__func__, property, data) ? 0 : -EINVAL;
    if (result == 0) {
        switch (property) {
            case PROP_DELAY_JSON_PATH: {
                const std::lock_guard path_lock(mPathLock);
                result = copy_path(strDelayJsonPath, data);
                break;
            }
            case PROP_MIXING_JSON_PATH: {
                const std::lock_guard path_lock(mPathLock);
                result = copy_path(strMixingJsonPath, data);
                break;
            }
            case PROP_TIMESTAMP:
                std::memcpy(data, &stReadTimestamp, sizeof(stReadTimestamp));
                break;
            case PROP_AVAIL_FRAMES:
                std::memcpy(data, &u32AvailFrames, sizeof(u32AvailFrames));
                break;
            case PROP_LOG_LEVEL: {
                const std::uint32_t level = u32LOG_LEVEL;
                std::memcpy(data, &level, sizeof(level));
                break;
            }
            case PROP_COUNT:
                break;
        }
    }
    ZEL_FC_LOGT("-");
    return result;
}

int zel_format_converter::set(property_e property, const void* data) {
    ZEL_FC_LOGT("+");
    const auto lock = lock_client(__func__);
    int result = !lock ? -EIO : valid_property(__func__, property, data) ? 0 : -EINVAL;
    if (result == 0) {
        switch (property) {
            case PROP_DELAY_JSON_PATH: {
                const std::lock_guard path_lock(mPathLock);
                result = assign_path(strDelayJsonPath, data);
                break;
            }
            case PROP_MIXING_JSON_PATH: {
                const std::lock_guard path_lock(mPathLock);
                result = assign_path(strMixingJsonPath, data);
                break;
            }
            case PROP_LOG_LEVEL: {
                std::uint32_t level{};
                std::memcpy(&level, data, sizeof(level));
                u32LOG_LEVEL = level;
                break;
            }
            default:
                ZEL_FC_LOGE("undefine %d property", static_cast<int>(property));
                break;
        }
    }
    ZEL_FC_LOGT("-");
    return result;
}
