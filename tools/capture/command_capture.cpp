// zel-fc capture: its command line.

#include <memory>

#include "capture.h"
#include "command_options.h"
#include "commands.h"

namespace {

void add_stream_options(CLI::App* capture, capture_options* options) {
    capture->add_option("out", options->out_file, "WAV file to write")
        ->envname("ZEL_CAPTURE_FILE")
        ->capture_default_str();
    add_client_options(capture, &options->client);
    add_buffer_options(capture, &options->client);
    capture->add_option("-s,--seconds", options->seconds, "Length of the recording in seconds")
        ->check(CLI::Range(0.01, 86400.0))
        ->capture_default_str();
    add_coefficient_options(capture, &options->coefficients);
    add_json_flag(capture, &options->json);
    capture->add_flag("-q,--quiet", options->quiet,
                      "Don't pass the library's messages on to the standard error stream");
}

void add_simulation_options(CLI::App* capture, capture_options* options) {
    capture->add_flag("--fast", options->fast,
                      "As fast as possible instead of by the clock (simulated card)");
    capture
        ->add_option("-w,--wav", options->card.wav_file,
                     "WAV file that the simulated card plays, over and over; - for a pipe")
        ->check((CLI::ExistingFile | CLI::IsMember({"-"})).description("FILE"));
    capture->add_option("--signal", options->card.signal,
                        "What the simulated card plays: Tones, Ramp, Chirp, Impulse, Silence");
    add_card_options(capture, &options->card, true, "");
    add_change_option(capture, &options->changes, "Set a control of card 70 while recording");
}

}  // namespace

void add_capture_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<capture_options>();
    CLI::App* capture =
        app->add_subcommand("capture", "Record from card 70, device 70 into a WAV file");
    add_stream_options(capture, options.get());
    add_simulation_options(capture, options.get());
    capture->footer(
        "On a terminal it shows a level meter: # up to the level (RMS), ! once a sample was at "
        "full\n"
        "scale. Ctrl-C ends the recording early; the file is whole up to there.\n"
        "\n"
        "Examples:\n"
        "  zel-fc capture voice.wav --seconds 10\n"
        "  zel-fc capture test.wav --signal Chirp --rate 48000 --channels 8 --bits 32\n"
        "  zel-fc capture test.wav --fast --change \"2:PCM Slave Channels=6\"");
    capture->callback([=] { *action = [=] { return run_capture(*options); }; });
}
