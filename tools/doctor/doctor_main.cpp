// zel-fc-doctor, a program of its own that an image can have: it needs tinyalsa, cJSON and the log
// and nothing else. `zel-fc doctor` starts it.

#include <android/log.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "command_end.h"
#include "doctor.h"
#include "zel_library_mark.h"

namespace {

constexpr const char* kHelp =
    "usage: zel-fc-doctor [-r RATE] [-c CHANNELS] [-b 16|32] [--json] [--log] [--version]\n"
    "Tells whether card 70 works here for such a client, and if not, what to do: a line for each\n"
    "check on the way from tinyalsa to the first samples. It has no card definitions or files of\n"
    "its own: what it meets, other programs meet. Run it as the user of the process that "
    "captures.\n"
    "Default: 16000 Hz, 2 channels, 16 bits. --log: with what the library says, on a host.\n"
    "Exit codes: 0 card 70 works, perhaps with warnings, 1 usage, 4 no output, 5 a check failed.\n";

/// False for what is no number from `least` to `most`.
bool read_number(const char* text, unsigned int least, unsigned int most, unsigned int* number) {
    char* end = nullptr;
    const unsigned long value = std::strtoul(text, &end, 10);
    *number = static_cast<unsigned int>(value);
    return end != text && *end == '\0' && value >= least && value <= most;
}

}  // namespace

int main(int argc, char** argv) {
    stream_format client;
    bool json = false;
    bool log = false;
    for (int k = 1; k < argc; ++k) {
        const std::string word = argv[k];
        const char* value = k + 1 < argc ? argv[k + 1] : "";
        if (word == "--help" || word == "-h" || word == "--version") {
            std::fputs(word == "--version" ? "zel-fc-doctor " ZEL_VERSION "\n" : kHelp, stdout);
            return EXIT_OK;
        }
        if (word == "--json" || word == "--log") {
            (word == "--json" ? json : log) = true;
        } else if ((word == "-r" && read_number(value, 1000, 1'000'000, &client.rate)) ||
                   (word == "-c" && read_number(value, 1, 64, &client.channels)) ||
                   (word == "-b" && read_number(value, 16, 32, &client.bits) &&
                    client.bits % 16 == 0)) {
            ++k;
        } else {
            std::fputs(kHelp, stderr);
            return EXIT_USAGE;
        }
    }
#ifndef __ANDROID__  // which has a log of its own
    if (!log) {
        __android_log_set_logger([](const __android_log_message*) {});
    }
#endif
    const bool works = print_examination(client, json);
    if (std::fflush(stdout) != 0) {
        std::perror("zel-fc-doctor: standard output");
        return EXIT_WRITE;
    }
    return works ? EXIT_OK : EXIT_PROBLEMS;
}
