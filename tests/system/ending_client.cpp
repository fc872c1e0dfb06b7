// A client whose process ends, forks or reloads the library while its stream runs; the argument
// says how. Exit code 0 when all went as it should; that it ends at all is for the test's time-out.

#include <dlfcn.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr unsigned int kFrames = 512;

pcm* open_stream() {
    pcm_config config{};
    config.channels = 2;
    config.rate = 16000;
    config.period_size = kFrames;
    config.period_count = 4;
    config.format = PCM_FORMAT_S16_LE;
    return pcm_open(70, 70, PCM_IN | PCM_MONOTONIC, &config);
}

bool read_some(pcm* stream) {
    std::int16_t frames[2 * kFrames];
    return pcm_readi(stream, frames, kFrames) == static_cast<int>(kFrames);
}

void choose_pacing(const char* pacing) {
    mixer* card = mixer_open(0);
    mixer_ctl_set_enum_by_string(mixer_get_ctl_by_name(card, "Sim Pacing"), pacing);
    mixer_close(card);
}

std::atomic<bool> g_pauses{false};

/// Files that nobody writes, under the numbers of descriptors that are free, 0 among them.
std::vector<int> g_untouched;

void take_free_descriptors() {
    for (int i = 0; i < 8; ++i) {
        g_untouched.push_back(memfd_create("untouched", 0));
    }
}

/// Clients that open and close, and never stop.
void keep_clients_busy() {
    close(0);
    take_free_descriptors();
    g_pauses = true;
    for (int i = 0; i < 2; ++i) {
        std::thread([] {
            while (true) {
                pcm_close(open_stream());
            }
        }).detach();
    }
    usleep(50'000);
}

/// Ends the process if a command has gone into a file.
void check_untouched() {
    take_free_descriptors();  // the numbers that the library's pipes had
    usleep(50'000);
    for (const int fd : g_untouched) {
        struct stat info {};
        if (fstat(fd, &info) != 0 || info.st_size != 0) {
            std::fprintf(stderr, "%d bytes came into descriptor %d\n",
                         static_cast<int>(info.st_size), fd);
            _exit(3);
        }
    }
}

/// A client's own static, whose end comes after the library's.
struct late_client {
    mixer* controls = nullptr;
    ~late_client() {
        if (g_pauses) {
            check_untouched();
        } else if (controls != nullptr) {
            mixer_close(controls);
        }
    }
};
late_client g_late;

/// Still open when the process ends: that is the point, and no leak. Volatile, or nobody keeps it.
pcm* volatile g_stream = nullptr;

#if defined(__SANITIZE_THREAD__) || defined(ZEL_EMULATED)
constexpr int kKinds = 3;  // the runtime, or the emulator, dies of a forked child's threads
#else
constexpr int kKinds = 5;
#endif

/// What a forked child may do with its parent's stream, and get.
int child_of_a_stream(int kind, pcm* stream) {
#if defined(__SANITIZE_ADDRESS__)
    alarm(5);  // the runtime's allocator may be locked here for ever, by a thread of the parent's
#endif
    bool right = true;
    const auto begin = std::chrono::steady_clock::now();
    if (kind == 0) {
        pcm_close(stream);  // of the child's copy: the stream is its parent's
    } else if (kind == 1) {
        right = !read_some(stream) && errno == EIO;
    } else if (kind == 2) {
        mixer* const controls = mixer_open(70);
        right = mixer_subscribe_events(controls, 1) != 0;
        mixer_close(controls);
    } else if (kind == 3) {
        std::vector<std::thread> threads(16);  // with the handles of the parent's
        for (std::thread& thread : threads) {
            thread = std::thread([] {});
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    } else {
        std::thread([&] {
            pcm* const own = open_stream();
            right = pcm_is_ready(own) == 0 &&
                    std::strstr(pcm_get_error(own), std::strerror(EIO)) != nullptr;
            pcm_close(own);
        }).join();
    }
    right = right && std::chrono::steady_clock::now() - begin < std::chrono::seconds(5);
    std::exit(right ? 0 : 1);  // runs the static destructors without the worker thread
}

/// Forks while other threads of the parent are inside the library.
int fork_in_a_stream(pcm* stream) {
    std::atomic<bool> done{false}, read{true};
    std::thread reader([&] {
        while (!done && read) {
            read = read_some(stream);
        }
    });
    int failed = -1;
    for (int i = 0; i < 40 && failed < 0; ++i) {
        const int kind = i % kKinds;
        const pid_t child = fork();
        if (child == 0) {
            return child_of_a_stream(kind, stream);
        }
        int status = -1;
        waitpid(child, &status, 0);
        failed = status != 0 && status != SIGALRM ? kind : -1;
    }
    done = true;
    reader.join();
    if (failed >= 0 || !read) {
        std::fprintf(stderr, "child %d failed; the parent's reads went on: %d\n", failed,
                     static_cast<int>(read));
        return 1;
    }
    return pcm_close(stream) == 0 ? 0 : 1;
}

int reload_beside_a_stream(pcm* stream) {
    for (int i = 0; i < 200; ++i) {
        void* library = dlopen(ZEL_PLUGIN_FILE, RTLD_NOW);
        mixer* controls = mixer_open(70);
        if (library == nullptr || controls == nullptr || !read_some(stream)) {
            return 1;
        }
        mixer_close(controls);
        dlclose(library);
    }
    pcm_close(stream);
    for (int i = 0; i < 50; ++i) {  // nothing else holds the library now
        stream = open_stream();
        if (pcm_is_ready(stream) == 0 || !read_some(stream)) {
            return 1;
        }
        pcm_close(stream);
    }
    return 0;
}

}  // namespace

/// The library's, too. A pause behind it makes it likely that a client's command stands between its
/// look at the channel and its write when the process ends, which is the main thread's.
__attribute__((visibility("default"))) int epoll_ctl(int epoll, int operation, int fd,
                                                     epoll_event* event) noexcept {
    const auto result = syscall(SYS_epoll_ctl, epoll, operation, fd, event);
    if (g_pauses && gettid() != getpid()) {
        usleep(3'000);
    }
    return static_cast<int>(result);
}

int main(int argc, char** argv) {
    const std::string how = argc > 1 ? argv[1] : "";
    choose_pacing(how == "clock" ? "Clock" : "Fast");
    pcm* const stream = open_stream();
    g_stream = stream;
    if (pcm_is_ready(stream) == 0 || !read_some(stream)) {
        std::fprintf(stderr, "%s\n", pcm_get_error(stream));
        return 2;
    }
    if (how == "exit") {
        std::thread([] { std::exit(0); }).join();
    } else if (how == "_exit") {
        _exit(0);
    } else if (how == "fork") {
        return fork_in_a_stream(stream);
    } else if (how == "reload") {
        return reload_beside_a_stream(stream);
    } else if (how == "late") {
        g_late.controls = mixer_open(70);
        return mixer_subscribe_events(g_late.controls, 1);
    } else if (how == "commands") {
        pcm_close(stream);
        g_late.controls = mixer_open(70);  // keeps tinyalsa from loading its parser in two threads
        keep_clients_busy();
    } else if (how == "stuck") {
        choose_pacing("Step");  // the card delivers nothing any more
        usleep(100'000);
    }
    return 0;  // "return", "clock": from main, with the stream running
}
