// zel-fc new: its command line.

#include <memory>

#include "commands.h"
#include "new_coefficients.h"

void add_new_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<new_options>();
    CLI::App* command = app->add_subcommand("new", "Write an entry of a coefficient file");
    command->require_subcommand(1);
    command->footer(
        "Examples:\n"
        "  zel-fc new mixing --card 7.1 --to 2 --gain FC=-3dB --gain LFE=-10dB --normalise\n"
        "  zel-fc new mixing --card 5.1 --to 4 weights.csv --unit percent --into mixing.json\n"
        "  zel-fc new delay --card 5.1 --metres 3,3,2.7,3,1.7,1.7 -o delay.json");
    CLI::App* mixing = command->add_subcommand("mixing", "Weights, after ITU-R BS.775 or a table");
    CLI::App* delay = command->add_subcommand("delay", "Delays of the card's channels");
    for (CLI::App* one : {mixing, delay}) {
        one->footer("");
        one->add_option("--card", options->layout, "The card's layout, such as 5.1")
            ->required()
            ->check([](const std::string& layout) {
                const bool good = layout.find_first_not_of("0123456789.") == std::string::npos &&
                                  layout.find_first_of("123456789") != std::string::npos;
                return good && layout.size() < 12 ? "" : "no layout such as 5.1";
            });
        CLI::Option* out = one->add_option("-o,--out", options->out_file,
                                           "File to write (default: the standard output)");
        one->add_option("--into", options->into_file,
                        "File that gets the entry, in its right place")
            ->check(CLI::ExistingFile)
            ->excludes(out);
    }
    mixing->add_option("--to", options->outputs, "The client's channels (1 to 8)")
        ->check(CLI::Range(1, 8))
        ->capture_default_str();
    CLI::Option* gains = mixing->add_option("--gain", options->gains,
                                            "NAMES=GAIN of input channels: FC=-3dB, BL,BR=0.5");
    mixing->add_flag("--normalise", options->normalise,
                     "Scale the matrix so that no output's weights add up to more than 1");
    mixing
        ->add_option("table", options->table,
                     "Weights as CSV, a row for each output; comma, semicolon or tab")
        ->check(CLI::ExistingFile)
        ->excludes(gains);
    mixing->add_option("--unit", options->unit, "Of the table: factor, db or percent")
        ->check(CLI::IsMember({"factor", "db", "percent"}));
    CLI::Option* ms = delay->add_option("--ms", options->ms, "Delays in milliseconds: 3,1,0")
                          ->delimiter(',')
                          ->check(CLI::NonNegativeNumber);
    delay->add_option("--metres", options->metres, "Distances of the speakers instead, at 343 m/s")
        ->delimiter(',')
        ->check(CLI::NonNegativeNumber)
        ->excludes(ms);
    mixing->callback([=] { *action = [=] { return new_mixing(*options); }; });
    delay->callback([=] { *action = [=] { return new_delay(*options); }; });
}
