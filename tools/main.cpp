// zel-fc: the format converter from the command line.

#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "command_end.h"
#include "commands.h"
#include "library_log.h"
#include "program_folder.h"
#include "zel_library_mark.h"

namespace {

/// `zel-fc doctor` is a program of its own: it judges what other programs meet.
exit_code start_doctor(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    const std::string doctor = program_folder() / "zel-fc-doctor";
    execv(doctor.c_str(), arguments.data());
    return fail(EXIT_OPEN, doctor + ": " + std::strerror(errno));
}

/// What the tool has and other programs must be told of: the sample coefficient files, for when
/// nobody names others, and the card definitions, which tinyalsa finds once they are loaded.
void bring_along() {
    if (const std::string samples = sample_folder(); !samples.empty()) {
        setenv("ZEL_VOICE_CONFIG_DIR", samples.c_str(), 0);
    }
    dlopen("libsndcardparser.so", RTLD_NOW);  // found by this program's own search path
}

constexpr const char* kFooter =
    "Exit codes:\n"
    "  0  done\n"
    "  1  the command line is wrong, or names something that isn't there\n"
    "  2  a card, a mixer or an input file cannot be opened\n"
    "  3  reading failed, or a conversion was interrupted before its end\n"
    "  4  a file or a control cannot be written\n"
    "  5  check found errors or warnings, a check of doctor failed\n"
    "\n"
    "Environment:\n"
    "  ZEL_VOICE_CONFIG_DIR  folder of voice_channel_mixing_coef.json and\n"
    "                        voice_channel_delay_coef.json on a host\n"
    "  ZEL_LOOPBACK_CARD     settings of the simulated card: \"PCM Slave Channels=2;...\"\n"
    "  ZEL_CAPTURE_FILE      where capture writes when no file is named\n"
    "\n"
    "zel-fc COMMAND --help, or zel-fc help COMMAND, tells more of each command.";

/// The commands, for someone who named none of them.
exit_code no_command(const CLI::App& app, const std::string& word) {
    std::string text = word.empty() ? "name a command:" : "no command \"" + word + "\"; there are:";
    for (const CLI::App* one : app.get_subcommands([](const CLI::App*) { return true; })) {
        text += "\n  " + one->get_name() + std::string(10 - one->get_name().size(), ' ') +
                one->get_description();
    }
    return fail(EXIT_USAGE, text);
}

int run(std::vector<std::string> words) {
    CLI::App app{
        "Records from virtual sound card 70, converts files as it would, and shows what is in "
        "force.",
        "zel-fc"};
    if (!words.empty() && words.front() == "help") {
        std::rotate(words.begin(), words.begin() + 1, words.end());
        words.back() = "--help";
    }
    app.require_subcommand(1);
    tool_action action;
    add_capture_command(&app, &action);
    add_convert_command(&app, &action);
    add_check_command(&app, &action);
    add_controls_command(&app, &action);
    app.add_subcommand("doctor", "Tell whether card 70 works here, and if not, what to do");
    add_info_command(&app, &action);
    add_new_command(&app, &action);
    add_plot_command(&app, &action);
    app.footer(kFooter);  // behind the commands, which would inherit it
    app.set_version_flag("--version", "zel-fc " ZEL_VERSION);
    const std::string first = words.empty() ? "" : words.front();
    const auto named = [&](const CLI::App* one) { return one->get_name() == first; };
    if (first.empty() || (first[0] != '-' && app.get_subcommands(named).empty())) {
        return no_command(app, first);
    }
    if (first == "doctor") {
        return start_doctor(std::move(words));
    }
    try {
        std::reverse(words.begin(), words.end());
        app.parse(std::move(words));
        bring_along();
        print_library_log(false);  // commands that pass it on say so
        return action();
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_OK : EXIT_USAGE;
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const int code = run({argv + 1, argv + argc});
        errno = 0;
        if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0 && std::cout.flush()) {
            return code;
        }
        throw std::system_error(errno, std::generic_category());
    } catch (const command_failure& failure) {
        return fail(failure.code, failure.what());
    } catch (const std::system_error& error) {  // fmt's prints throw it, too
        return fail(EXIT_WRITE, "standard output: " + error.code().message());
    } catch (const std::exception& error) {
        return fail(EXIT_OPEN, error.what());
    }
}
