// zel-fc-doctor, a program of its own that an image can have: it needs tinyalsa, cJSON and the log
// and nothing else. `zel-fc doctor` starts it.

#include <android/log.h>
#include <getopt.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "command_end.h"
#include "doctor.h"
#include "zel_library_mark.h"

namespace {

constexpr const char* kHelp =
    "usage: zel-fc-doctor [-r, --rate HZ] [-c, --channels COUNT] [-b, --bits 16|32]\n"
    "                     [--json] [--log] [--version]\n"
    "Tells whether card 70 works here for such a client, and if not, what to do: a line for each\n"
    "check on the way from tinyalsa to the first samples. It has no card definitions or files of\n"
    "its own: what it meets, other programs meet. Run it as the user of the process that\n"
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
    constexpr option kOptions[] = {
        {"rate", required_argument, nullptr, 'r'}, {"channels", required_argument, nullptr, 'c'},
        {"bits", required_argument, nullptr, 'b'}, {"json", no_argument, nullptr, 'j'},
        {"log", no_argument, nullptr, 'l'},        {"help", no_argument, nullptr, 'h'},
        {"version", no_argument, nullptr, 'v'},    {}};
    stream_format client;
    bool json = false;
    bool log = false;
    bool good = true;
    for (int word = 0;
         good && (word = getopt_long(argc, argv, "r:c:b:h", kOptions, nullptr)) != -1;) {
        if (word == 'h' || word == 'v') {
            std::fputs(word == 'v' ? "zel-fc-doctor " ZEL_VERSION "\n" : kHelp, stdout);
            return EXIT_OK;
        }
        json = json || word == 'j';
        log = log || word == 'l';
        good = word == 'r'   ? read_number(optarg, 1000, 1'000'000, &client.rate)
               : word == 'c' ? read_number(optarg, 1, 64, &client.channels)
               : word == 'b' ? read_number(optarg, 16, 32, &client.bits)
                             : word != '?';
    }
    if (!good || client.bits % 16 != 0 || optind < argc) {
        std::fputs(kHelp, stderr);
        return EXIT_USAGE;
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
