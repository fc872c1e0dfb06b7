// A client whose process ends, forks or reloads the library while its stream runs; the argument
// says how. Exit code 0 when all went as it should; that it ends at all is for the test's time-out.

#include <dlfcn.h>
#include <sys/wait.h>
#include <tinyalsa/mixer.h>
#include <tinyalsa/pcm.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

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

/// A client's own static, whose end comes after the library's.
struct late_client {
    mixer* controls = nullptr;
    ~late_client() {
        if (controls != nullptr) {
            mixer_close(controls);
        }
    }
};
late_client g_late;

/// Still open when the process ends: that is the point, and no leak. Volatile, or nobody keeps it.
pcm* volatile g_stream = nullptr;

int fork_in_a_stream(pcm* stream) {
    for (const bool closes : {false, true}) {
        const pid_t child = fork();
        if (child == 0) {
            if (closes) {
                pcm_close(stream);  // of the child's copy: the stream is its parent's
            }
            std::exit(0);  // runs the static destructors without the worker thread
        }
        int status = -1;
        waitpid(child, &status, 0);
        if (status != 0 || !read_some(stream)) {
            return 1;
        }
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
    } else if (how == "stuck") {
        choose_pacing("Step");  // the card delivers nothing any more
        usleep(100'000);
    }
    return 0;  // "return", "clock": from main, with the stream running
}
