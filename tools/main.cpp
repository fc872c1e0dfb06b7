// zel-fc: the format converter from the command line.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>

#include "commands.h"
#include "exit_code.h"
#include "help_text.h"
#include "library_log.h"

namespace {

/// The sample coefficient files beside an installed tool serve when nobody names others.
void choose_coefficient_files() {
    std::error_code ignored;
    const auto self = std::filesystem::read_symlink("/proc/self/exe", ignored);
    const auto samples = self.parent_path().parent_path() / "share" / "zel_format_converter";
    if (std::filesystem::is_directory(samples, ignored)) {
        setenv("ZEL_VOICE_CONFIG_DIR", samples.c_str(), 0);
    }
}

int run(int argc, char** argv) {
    CLI::App app{"", "zel-fc"};
    app.require_subcommand(1);
    tool_action action;
    add_capture_command(&app, &action);
    add_convert_command(&app, &action);
    add_check_command(&app, &action);
    add_controls_command(&app, &action);
    add_doctor_command(&app, &action);
    add_info_command(&app, &action);
    add_plot_command(&app, &action);
    add_program_help(&app);  // behind the commands, which would inherit it
    app.set_version_flag("--version", "zel-fc " ZEL_VERSION);
    app.add_flag_callback(
           "--man",
           [&app] {
               std::fputs(manual_page(app).c_str(), stdout);
               throw CLI::Success();
           },
           "Print the manual page")
        ->group("");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_OK : EXIT_USAGE;
    }
    choose_coefficient_files();
    print_library_log(false);  // commands that pass it on say so
    return action();
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const int code = run(argc, argv);
        errno = 0;
        if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0 || !std::cout.flush()) {
            return fail(EXIT_WRITE, std::string("standard output: ") + std::strerror(errno));
        }
        return code;
    } catch (const std::exception& error) {
        return fail(EXIT_OPEN, error.what());
    }
}
