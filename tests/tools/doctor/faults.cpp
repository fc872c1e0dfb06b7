// The doctor's program with functions of tinyalsa and of the kernel in front of the true ones, for
// the whole process: each makes a fault of those that ZEL_FAULT names.

#include <dlfcn.h>
#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#define ZEL_EXPORT __attribute__((visibility("default")))
#define ZEL_TRUE(function) reinterpret_cast<decltype(&function)>(dlsym(RTLD_NEXT, #function))

namespace {

bool faulty(std::string_view name) {
    const char* fault = std::getenv("ZEL_FAULT");
    return fault != nullptr && std::string_view(fault).find(name) != std::string_view::npos;
}

bool is_first() {
    static bool asked = false;
    return !std::exchange(asked, true);
}

const pcm* unread = nullptr;  ///< of which a read has failed

bool named(const mixer_ctl* control, const char* name) {
    return std::strcmp(mixer_ctl_get_name(control), name) == 0;
}

}  // namespace

extern "C" {

ZEL_EXPORT std::FILE* fopen(const char* path, const char* mode) {
    static char status[] = "state: RUNNING\nowner_pid   : 4711\n";
    if (faulty("busy") && std::strcmp(path, "/proc/asound/card0/pcm0c/sub0/status") == 0) {
        return fmemopen(status, sizeof(status) - 1, "r");
    }
    const bool other = faulty("no_plugins") && std::strstr(path, "libtinyalsa") != nullptr;
    return ZEL_TRUE(fopen)(other ? "/proc/version" : path, mode);
}

ZEL_EXPORT pcm_params* pcm_params_get(unsigned int card, unsigned int device, unsigned int flags) {
    return faulty("no_definitions") && is_first() ? nullptr
                                                  : ZEL_TRUE(pcm_params_get)(card, device, flags);
}

ZEL_EXPORT int pcm_close(pcm* stream) {
    unread = stream == unread ? nullptr : unread;
    return ZEL_TRUE(pcm_close)(stream);
}

ZEL_EXPORT int pcm_prepare(pcm* stream) {
    return stream == unread ? -1 : ZEL_TRUE(pcm_prepare)(stream);
}

ZEL_EXPORT int pcm_readi(pcm* stream, void* data, unsigned int frames) {
    const bool by_client = frames == 512;
    if (faulty("unstarted") && by_client && is_first()) {
        unread = stream;
        errno = EBADFD;
        return -1;
    }
    if (faulty("slow_card") && !by_client) {
        usleep(256'000);
    }
    return ZEL_TRUE(pcm_readi)(stream, data, frames);
}

ZEL_EXPORT mixer* mixer_open(unsigned int card) {
    if (faulty("card_mixer") && card == 0) {
        errno = EACCES;
        return nullptr;
    }
    if (faulty("crash") && card == 70) {
        std::abort();
    }
    if (faulty("slow_open") && card == 0) {
        usleep(400'000);
    }
    return ZEL_TRUE(mixer_open)(card);
}

ZEL_EXPORT mixer_ctl* mixer_get_ctl_by_name(mixer* opened, const char* name) {
    const bool hidden = faulty("missing_control") && std::strcmp(name, "PCM Slave Rate") == 0;
    return hidden ? nullptr : ZEL_TRUE(mixer_get_ctl_by_name)(opened, name);
}

ZEL_EXPORT mixer_ctl_type mixer_ctl_get_type(const mixer_ctl* control) {
    if (faulty("boolean") && named(control, "Loopback Volume")) {
        return MIXER_CTL_TYPE_BOOL;
    }
    return faulty("kind") && named(control, "PCM Slave Channels")
               ? MIXER_CTL_TYPE_ENUM
               : ZEL_TRUE(mixer_ctl_get_type)(control);
}

ZEL_EXPORT unsigned int mixer_ctl_get_id(const mixer_ctl* control) {
    return ZEL_TRUE(mixer_ctl_get_id)(control) + (faulty("numbers") ? 2 : 0);
}

ZEL_EXPORT int mixer_ctl_get_value(const mixer_ctl* control, unsigned int element) {
    if (faulty("hang")) {
        pause();
    }
    return faulty("format") && named(control, "PCM Slave Format")
               ? 3
               : ZEL_TRUE(mixer_ctl_get_value)(control, element);
}

ZEL_EXPORT const char* mixer_ctl_get_enum_string(mixer_ctl* control, unsigned int item) {
    return faulty("item") && item == 8 ? nullptr
                                       : ZEL_TRUE(mixer_ctl_get_enum_string)(control, item);
}

ZEL_EXPORT int pcm_get_htimestamp(pcm* stream, unsigned int* avail, timespec* time) {
    const int status = ZEL_TRUE(pcm_get_htimestamp)(stream, avail, time);
    static std::atomic<int> calls{0};
    const int call = ++calls;
    time->tv_nsec += faulty("late_time") && call % 15 == 0 ? 5'000'000 : 0;
    time->tv_sec += faulty("lost_time") && call > 20 ? 1 : 0;
    if (faulty("half_time")) {  // within a second, 0.5 s, too
        time->tv_nsec /= 2;
        time->tv_nsec += time->tv_sec % 2 == 0 ? 0 : 500'000'000;
        time->tv_sec /= 2;
    }
    return faulty("no_time") ? -1 : status;
}

ZEL_EXPORT int access(const char* path, int mode) {
    if (faulty("rights") && std::strncmp(path, "/dev/snd/", 9) == 0) {
        errno = EACCES;
        return -1;
    }
    return ZEL_TRUE(access)(path, mode);
}

}  // extern "C"
