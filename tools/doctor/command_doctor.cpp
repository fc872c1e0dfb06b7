// zel-fc doctor: its command line.

#include <memory>

#include "command_options.h"
#include "commands.h"
#include "doctor.h"
#include "library_log.h"

namespace {

struct doctor_options {
    stream_format client;
    bool json = false;
    bool log = false;
};

exit_code run_doctor(const doctor_options& options) {
    print_library_log(options.log);
    return print_examination(options.client, options.json) ? EXIT_OK : EXIT_PROBLEMS;
}

}  // namespace

void add_doctor_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<doctor_options>();
    CLI::App* doctor =
        app->add_subcommand("doctor", "Tell whether card 70 works here, and if not, what to do");
    add_client_options(doctor, &options->client);
    add_json_flag(doctor, &options->json);
    add_log_flag(doctor, &options->log);
    doctor->footer(
        "Follows the way from tinyalsa to the first samples, a line for each check: what was seen\n"
        "and, where something is wrong, the remedy. It has no card definitions or files of its "
        "own:\n"
        "what it meets, other programs meet. zel-fc-doctor is the same, as an image has it.\n"
        "Exit codes: 0 card 70 works, perhaps with warnings, 1 usage, 5 a check failed.");
    doctor->callback([=] { *action = [=] { return run_doctor(*options); }; });
}
