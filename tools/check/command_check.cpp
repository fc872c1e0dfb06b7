#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "channel_layout.h"
#include "check_print.h"
#include "coefficient_check.h"
#include "commands.h"
#include "exit_code.h"
#include "zel_channel_mixing.h"

namespace {

struct check_options {
    std::vector<std::string> files;
    unsigned int channels = 0;
    std::string layout;
    unsigned int outputs = 2;
    unsigned int rate = 48000;
    std::string kind;
    bool all = false;
    bool json = false;
};

/// What was asked for, completed by what is usual. Throws CLI::ValidationError.
check_request request_of(const check_options& options) {
    check_request request;
    request.kind = options.kind == "mixing"  ? file_kind::mixing
                   : options.kind == "delay" ? file_kind::delay
                                             : file_kind::unknown;
    if (options.channels == 0 && options.layout.empty()) {
        return request;  // without a stream, every entry is looked at
    }
    stream_request stream{options.channels, options.layout, options.outputs, options.rate};
    if (stream.channels == 0) {
        stream.channels = zel_channel_mixing::channel_count(stream.layout);
    }
    if (stream.layout.empty()) {
        stream.layout = card_layout_of(stream.channels);
    }
    if (stream.channels == 0 || stream.channels > 64) {
        throw CLI::ValidationError(
            "--layout", "\"" + stream.layout + "\" has no channel count; add --channels");
    }
    request.stream = stream;
    request.all = options.all;
    return request;
}

std::size_t terminal_width() {
    winsize size{};
    const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col >= 40;
    return known ? size.ws_col : 80;
}

bool has_problem(const file_report& report) {
    for (const finding& found : report.findings) {
        if (found.level != severity::note) {
            return true;
        }
    }
    return false;
}

exit_code run_check(const check_options& options, const check_request& request) {
    std::vector<file_report> reports;
    exit_code code = EXIT_OK;
    for (const std::string& file : options.files) {
        reports.push_back(check_file(file, request));
        if (!reports.back().readable) {
            code = EXIT_READ;
        } else if (has_problem(reports.back()) && code == EXIT_OK) {
            code = EXIT_PROBLEMS;
        }
    }
    if (options.json) {
        std::fputs(reports_json(reports).c_str(), stdout);
        return code;
    }
    const std::size_t width = terminal_width();
    for (const file_report& report : reports) {
        std::fputs(&report == &reports.front() ? "" : "\n", stdout);
        std::fputs(report_text(report, request.all, width).c_str(), stdout);
    }
    return code;
}

}  // namespace

void add_check_command(CLI::App* app, tool_action* action) {
    const auto options = std::make_shared<check_options>();
    CLI::App* check = app->add_subcommand(
        "check", "Tell what the device makes of mixing and delay coefficient files");
    check->footer(
        "Without --channels and --layout every entry is checked; with them, the entry that the\n"
        "device chooses for that stream is shown, and what stands in its way.\n"
        "Exit codes: 0 no problems, 1 usage, 3 a file cannot be read, 5 errors or warnings.");
    check->add_option("file", options->files, "Coefficient files, in JSON")->required();
    check
        ->add_option("-c,--channels", options->channels,
                     "The card's channels (default: those of the layout)")
        ->check(CLI::Range(1, 64));
    check->add_option("-l,--layout", options->layout,
                      "The card's channel layout (default: the usual one of so many channels)");
    CLI::Option* outputs =
        check->add_option("-o,--outputs", options->outputs, "The client's channels, for mixing")
            ->check(CLI::Range(1, 8))
            ->capture_default_str();
    check->add_option("-r,--rate", options->rate, "The card's rate in Hz, for delays in frames")
        ->check(CLI::Range(8000, 192000))
        ->capture_default_str();
    check->add_flag("-a,--all", options->all, "Check every entry besides");
    check
        ->add_option("--as", options->kind,
                     "Take the files for mixing or delay files (default: by their members)")
        ->check(CLI::IsMember({"mixing", "delay"}));
    check->add_flag("--json", options->json, "Print JSON for machines");
    check->callback([options, outputs, action] {
        if (outputs->count() > 0 && options->channels == 0 && options->layout.empty()) {
            throw CLI::ValidationError("--outputs", "needs --channels or --layout");
        }
        *action = [options, request = request_of(*options)] {
            return run_check(*options, request);
        };
    });
}
