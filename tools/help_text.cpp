#include "help_text.h"

namespace {

struct titled_text {
    const char* title;
    const char* text;
};

// Lines of two columns, two blanks or more between them.
constexpr titled_text kSections[] = {
    {"Exit codes",
     "0  done\n"
     "1  the command line is wrong, or names something that isn't there\n"
     "2  a card, a mixer or an input file cannot be opened\n"
     "3  reading failed, or a conversion was interrupted before its end\n"
     "4  a file or a control cannot be written\n"
     "5  check found errors or warnings, a check of doctor failed"},
    {"Environment",
     "ZEL_VOICE_CONFIG_DIR  folder of voice_channel_mixing_coef.json and\n"
     "                      voice_channel_delay_coef.json on a host\n"
     "ZEL_LOOPBACK_CARD     settings of the simulated card: \"PCM Slave Channels=2;...\"\n"
     "ZEL_CAPTURE_FILE      where capture writes when no file is named"},
};

}  // namespace

void add_program_help(CLI::App* app) {
    app->description(
        "Records from virtual sound card 70, converts files as it would, and shows what is in "
        "force.");
    std::string text;
    for (const titled_text& section : kSections) {
        text += (text.empty() ? "" : "\n\n") + std::string(section.title) + ":";

        for (const char* c = section.text; *c != '\0'; ++c) {
            text += c == section.text || c[-1] == '\n' ? "\n  " : "";
            text += *c == '\n' ? "" : std::string(1, *c);
        }
    }
    app->footer(text + "\n\nzel-fc COMMAND --help tells more of each command.");
}
