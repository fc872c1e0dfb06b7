#include "command_end.h"

#include <strings.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "card_state.h"

namespace fs = std::filesystem;

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

void on_interrupt(int /*signal*/) {
    g_interrupted = 1;
}

/// One file, which need not be there yet.
bool same_file(const std::string& a, const std::string& b) {
    std::error_code ignored;
    return !a.empty() && (fs::equivalent(a, b, ignored) ||
                          fs::weakly_canonical(a, ignored) == fs::weakly_canonical(b, ignored));
}

}  // namespace

exit_code fail(exit_code code, const std::string& text) {
    std::fprintf(stderr, "zel-fc: %s\n", text.c_str());
    return code;
}

void warn(const std::string& text) {
    std::fprintf(stderr, "zel-fc: warning: %s\n", text.c_str());
}

void catch_interrupts() {
    struct sigaction action {};
    action.sa_handler = on_interrupt;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

bool interrupted() {
    return g_interrupted != 0;
}

void replace_file(const std::string& path, const std::string& text) {
    std::error_code ignored;
    const fs::path target = fs::weakly_canonical(path, ignored);  // where links lead
    const std::string file = target.empty() ? path : target.string();
    const std::string beside = file + ".new" + std::to_string(getpid());
    fs::copy_file(file, beside, ignored);  // for its permissions
    if (!(std::ofstream(beside, std::ios::binary) << text << std::flush) ||
        std::rename(beside.c_str(), file.c_str()) != 0) {
        const int error = errno;
        std::remove(beside.c_str());
        throw command_failure(EXIT_WRITE, path + ": " + std::strerror(error));
    }
}

void check_output(const std::string& out, const char* extension, std::vector<std::string> inputs) {
    const std::string named = fs::path(out).extension();
    if (!named.empty() && strcasecmp(named.c_str(), extension) != 0) {
        throw command_failure(EXIT_USAGE, out + ": what is written is no " + named +
                                              " file; name it " + fs::path(out).stem().string() +
                                              extension);
    }
    std::error_code ignored;
    if (out == "-" || (fs::exists(out, ignored) && !fs::is_regular_file(out, ignored) &&
                       !fs::is_directory(out, ignored))) {
        throw command_failure(EXIT_USAGE,
                              out + ": no pipe or device: the file's head is written last");
    }
    const card_state card = read_card_state();
    inputs.insert(inputs.end(), {card.mixing_path, card.delay_path, card.wav_file});
    for (const std::string& input : inputs) {
        if (same_file(input, out)) {
            throw command_failure(EXIT_USAGE, "the output would overwrite " + input);
        }
    }
}
