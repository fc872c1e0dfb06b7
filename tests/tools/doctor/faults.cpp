// The doctor's program with functions of tinyalsa and of the kernel in front of the true ones, for
// the whole process: each makes the fault that ZEL_FAULT names.

#include <dlfcn.h>
#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string_view>

#define ZEL_EXPORT __attribute__((visibility("default")))
#define ZEL_TRUE(function) reinterpret_cast<decltype(&function)>(dlsym(RTLD_NEXT, #function))

namespace {

bool faulty(std::string_view name) {
    const char* fault = std::getenv("ZEL_FAULT");
    return fault != nullptr && name == fault;
}

bool g_kernels_card = false;

bool named(const mixer_ctl* control, const char* name) {
    return std::strcmp(mixer_ctl_get_name(control), name) == 0;
}

}  // namespace

extern "C" {

ZEL_EXPORT const char* pcm_get_error(const pcm* stream) {
    return faulty("no_plugins") ? "cannot open device (0) for card (9999)"
                                : ZEL_TRUE(pcm_get_error)(stream);
}

ZEL_EXPORT mixer* mixer_open(unsigned int card) {
    if (faulty("card_mixer") && card == 0) {
        errno = EACCES;
        return nullptr;
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
    if (faulty("crash")) {
        std::raise(SIGSEGV);
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
    if (faulty("half_time")) {  // within a second, 0.5 s, too
        time->tv_nsec /= 2;
        time->tv_nsec += time->tv_sec % 2 == 0 ? 0 : 500'000'000;
        time->tv_sec /= 2;
    }
    return faulty("no_time") ? -1 : status;
}

ZEL_EXPORT int pcm_readi(pcm* stream, void* frames, unsigned int count) {
    if (faulty("slow")) {
        usleep(100'000);
    }
    return ZEL_TRUE(pcm_readi)(stream, frames, count);
}

ZEL_EXPORT int access(const char* path, int mode) {
    const bool node = std::strncmp(path, "/dev/snd/", 9) == 0;
    if (node && (faulty("rights") || faulty("nodes"))) {
        g_kernels_card = true;
        errno = faulty("rights") ? EACCES : ENOENT;
        return -1;
    }
    if (faulty("search") && std::strstr(path, "libsndcardparser.so") != nullptr) {
        return -1;
    }
    return ZEL_TRUE(access)(path, mode);
}

/// A card that the nodes were asked for is none that the parser knows.
ZEL_EXPORT void* dlopen(const char* name, int flags) {
    const bool parser = name != nullptr && std::strstr(name, "libsndcardparser.so") != nullptr;
    return g_kernels_card && parser ? nullptr : ZEL_TRUE(dlopen)(name, flags);
}

}  // extern "C"
