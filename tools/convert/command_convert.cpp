// zel-fc convert: its command line.

#include <memory>

#include "command_options.h"
#include "commands.h"
#include "convert.h"

void add_convert_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<convert_options>();
    CLI::App* convert = app->add_subcommand(
        "convert", "Convert a WAV file as the device would, faster than real time");
    convert->add_option("in", options->in_file, "What the card captures: a WAV file, - for a pipe")
        ->required()
        ->check((CLI::ExistingFile | CLI::IsMember({"-"})).description("FILE"));
    convert->add_option("out", options->out_file, "WAV file to write: what the client gets")
        ->required();
    add_client_options(convert, &options->client);
    add_coefficient_options(convert, &options->coefficients);
    add_card_options(convert, &options->card, false, " (default: by the file)");
    convert
        ->add_option("--tail", options->tail_seconds,
                     "Seconds of silence after the file (default: until delays and filter have "
                     "run out)")
        ->check(CLI::Range(0.0, 60.0));
    add_json_flag(convert, &options->json);
    add_log_flag(convert, &options->log);
    convert->footer(
        "The file runs through virtual card 70 itself, over a simulated card with the file's\n"
        "channels, rate and width: every sample is the one that the device delivers. The card\n"
        "delivers blocks of 32 ms; the last one is filled with silence. A 24-bit card has its\n"
        "samples in the low three bytes of a 32-bit word; the conversion to 16 bits keeps the\n"
        "word's upper half, so only the sample's top 8 bits. With --card-bits 32 a 24-bit file\n"
        "is played as 32-bit samples of the same level.\n"
        "Says on the standard error stream when a coefficient file is not what is in use.\n"
        "\n"
        "Examples:\n"
        "  zel-fc convert movie-7.1.wav voice.wav\n"
        "  zel-fc convert movie-5.1.wav out.wav --mixing new.json --rate 48000 --bits 32\n"
        "  zel-fc convert in.wav out.wav --card-layout 7.1.4 --json");
    convert->callback([=] { *action = [=] { return run_convert(*options); }; });
}
