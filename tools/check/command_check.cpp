#include <algorithm>
#include <memory>

#include "coefficient_check.h"
#include "command_end.h"
#include "commands.h"
#include "simulated_card.h"

namespace {

struct check_options {
    std::vector<std::string> files;
    card_setup card;
    unsigned int outputs = 2;
    bool all = false;
    bool json = false;
};

/// What was asked for, completed by what is usual. Throws CLI::ValidationError.
std::optional<stream_request> stream_of(const check_options& options) {
    if (options.card.channels == 0 && options.card.layout.empty()) {
        return {};
    }
    const card_setup card = complete(options.card);
    const stream_request stream{static_cast<unsigned int>(card.channels), card.layout,
                                options.outputs, static_cast<unsigned int>(card.rate)};
    if (stream.channels == 0 || stream.channels > 64) {
        throw CLI::ValidationError(
            "--card-layout",
            in_quotes(stream.layout) + " has no channel count; add --card-channels");
    }
    return stream;
}

exit_code run_check(const check_options& options, const std::optional<stream_request>& stream) {
    std::vector<file_report> reports;
    exit_code code = EXIT_OK;
    for (const std::string& file : options.files) {
        const file_report& report =
            reports.emplace_back(check_file(file, stream, options.all || !stream));
        const bool clean =
            std::all_of(report.findings.begin(), report.findings.end(),
                        [](const finding& one) { return one.level == severity::note; });
        code = !report.readable ? EXIT_READ : !clean && code == EXIT_OK ? EXIT_PROBLEMS : code;
    }
    if (options.json) {
        print_json(reports_json(reports));
        return code;
    }
    for (const file_report& report : reports) {
        fmt::print("{}{}", &report == &reports.front() ? "" : "\n", report_text(report));
    }
    return code;
}

}  // namespace

void add_check_command(CLI::App* app, tool_action* action) {
    const auto options = std::make_shared<check_options>();
    CLI::App* check = app->add_subcommand(
        "check", "Tell what the device makes of mixing and delay coefficient files");
    check->footer(
        "Without --card-channels and --card-layout every entry is checked; with them, the entry "
        "that the\n"
        "device chooses for that stream is shown, and what stands in its way.\n"
        "Exit codes: 0 no problems, 1 usage, 3 a file cannot be read, 5 errors or warnings.");
    check->add_option("file", options->files, "Coefficient files, in JSON")->required();
    check
        ->add_option("--card-channels", options->card.channels,
                     "The card's channels (default: by the layout)")
        ->check(CLI::Range(1, 64));
    check->add_option("--card-layout", options->card.layout,
                      "The card's channel layout (default: by the channels)");
    options->card.rate = 48000;
    check
        ->add_option("--card-rate", options->card.rate,
                     "The card's rate in Hz, for delays in frames")
        ->check(CLI::Range(8000, 192000))
        ->capture_default_str();
    CLI::Option* outputs =
        check->add_option("-c,--channels", options->outputs, "The client's channels, for mixing")
            ->check(CLI::Range(1, 8))
            ->capture_default_str();
    check->add_flag("-a,--all", options->all, "Check every entry besides");
    check->add_flag("--json", options->json, "Print JSON for machines");
    check->callback([options, outputs, action] {
        if (outputs->count() > 0 && options->card.channels == 0 && options->card.layout.empty()) {
            throw CLI::ValidationError("--channels", "needs --card-channels or --card-layout");
        }
        *action = [options, stream = stream_of(*options)] { return run_check(*options, stream); };
    });
}
