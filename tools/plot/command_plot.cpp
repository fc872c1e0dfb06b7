// zel-fc plot: its command line.

#include <memory>

#include "commands.h"
#include "plot.h"

void add_plot_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<matrix_options>();
    CLI::App* plot = app->add_subcommand("plot", "Draw pictures as SVG files");
    plot->require_subcommand(1);
    plot->footer(
        "Examples:\n"
        "  zel-fc plot filter filter.svg\n"
        "  zel-fc plot matrix mixing.json map.svg --card-channels 6 --card-layout 5.1");
    CLI::App* filter =
        plot->add_subcommand("filter", "Draw the 48 to 16 kHz filter's response and its limits");
    CLI::App* matrix = plot->add_subcommand(
        "matrix", "Draw the matrix that the mixing stage takes from a coefficient file");
    matrix->add_option("in", options->in_file, "Mixing coefficient file")
        ->required()
        ->check(CLI::ExistingFile);
    for (CLI::App* one : {filter, matrix}) {
        one->add_option("out", options->out_file, "SVG file to write")->required();
        one->footer("");
    }
    matrix
        ->add_option("--card-channels", options->card.channels,
                     "Card's channels (1 to 16; default: 8, or by the layout)")
        ->check(CLI::Range(1, 16));
    matrix->add_option("-c,--channels", options->out_channels, "Client's channels (1 to 8)")
        ->check(CLI::Range(1, 8))
        ->capture_default_str();
    matrix->add_option("--card-layout", options->card.layout,
                       "Card's layout (default: by the channels)");
    filter->callback([=] { *action = [=] { return plot_filter(options->out_file); }; });
    matrix->callback([=] {
        const bool named = options->card.channels != 0 || !options->card.layout.empty();
        options->card.channels = named ? options->card.channels : 8;
        *action = [=] { return plot_matrix(*options); };
    });
}
