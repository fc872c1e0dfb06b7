// zel-fc-doctor: `zel-fc doctor` as a program of its own, which an image can have. It needs
// tinyalsa, cJSON and the log and nothing else.

#include <getopt.h>

#include <cstdio>
#include <cstdlib>

#include "command_end.h"
#include "doctor.h"
#include "zel_library_mark.h"

namespace {

constexpr const char* kHelp =
    "usage: zel-fc-doctor [-r RATE] [-c CHANNELS] [-b 16|32] [--json | --version]\n"
    "Tells whether card 70 works here for such a client, and if not, what to do.\n"
    "Run it as the user of the process that captures. Default: 16000 Hz, 2 channels, 16 bits.\n"
    "Exit codes: 0 card 70 works, 1 the command line is wrong, 5 a check failed.\n";

/// False for what is no number from `least` to `most`.
bool read_number(unsigned int least, unsigned int most, unsigned int* number) {
    char* end = nullptr;
    const unsigned long value = std::strtoul(optarg, &end, 10);
    *number = static_cast<unsigned int>(value);
    return end != optarg && *end == '\0' && value >= least && value <= most;
}

}  // namespace

int main(int argc, char** argv) {
    stream_format client;
    bool json = false;
    bool good = true;
    constexpr option kOptions[] = {{"rate", required_argument, nullptr, 'r'},
                                   {"channels", required_argument, nullptr, 'c'},
                                   {"bits", required_argument, nullptr, 'b'},
                                   {"json", no_argument, nullptr, 'j'},
                                   {"help", no_argument, nullptr, 'h'},
                                   {"version", no_argument, nullptr, 'v'},
                                   {}};
    for (int name = 0; (name = getopt_long(argc, argv, "r:c:b:h", kOptions, nullptr)) != -1;) {
        switch (name) {
            case 'r':
                good = read_number(1000, 1'000'000, &client.rate) && good;
                break;
            case 'c':
                good = read_number(1, 64, &client.channels) && good;
                break;
            case 'b':
                good = read_number(16, 32, &client.bits) && client.bits % 16 == 0 && good;
                break;
            case 'j':
                json = true;
                break;
            case 'h':
                std::fputs(kHelp, stdout);
                return EXIT_OK;
            case 'v':
                std::puts("zel-fc-doctor " ZEL_VERSION);
                return EXIT_OK;
            default:
                good = false;
        }
    }
    if (!good || optind != argc) {
        std::fputs(kHelp, stderr);
        return EXIT_USAGE;
    }
    return print_examination(client, json) ? EXIT_OK : EXIT_PROBLEMS;
}
