// zel-fc capture: its command line.

#include <memory>
#include <string>
#include <vector>

#include "capture.h"
#include "commands.h"

namespace {

/// The value of "--change": what is wrong with it, or empty.
std::string add_change(const std::string& text, capture_options* options) {
    card_change change{};
    if (!parse_card_change(text, &change)) {
        return "\"" + text + "\" is not SECONDS:CONTROL=VALUE";
    }
    options->changes.push_back(change);
    return "";
}

void add_capture_options(CLI::App* capture, capture_options* options) {
    capture->add_option("out", options->out_file, "WAV file to write")
        ->envname("ZEL_CAPTURE_FILE")
        ->capture_default_str();
    capture->add_option("-r,--rate", options->rate, "Rate in Hz (16000 to 48000)")
        ->check(CLI::Range(16000, 48000))
        ->capture_default_str();
    capture->add_option("-c,--channels", options->channels, "Channels (1 to 8)")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
    capture->add_option("-b,--bits", options->bits, "Bits per sample")
        ->check(CLI::IsMember({16, 32}))
        ->capture_default_str();
    capture->add_option("-s,--seconds", options->seconds, "Length of the recording")
        ->check(CLI::Range(0.01, 86400.0))
        ->capture_default_str();
    capture
        ->add_option("-p,--period-size", options->period_size,
                     "Frames per period (default: one block of 32 ms)")
        ->check(CLI::Range(1U, 1U << 20));
    capture->add_option("-n,--period-count", options->period_count, "Periods in the buffer")
        ->check(CLI::Range(1, 1024))
        ->capture_default_str();
    capture->add_flag("--fast", options->fast,
                      "As fast as possible instead of by the clock (simulated card)");
    capture->add_option("-w,--wav", options->wav_file, "WAV file that the simulated card plays")
        ->check(CLI::ExistingFile);
    capture->add_option("--signal", options->signal,
                        "What the simulated card plays: Tones, Ramp, Chirp, Impulse, Silence");
    capture->add_option("--card-channels", options->card_channels, "Simulated card's channels")
        ->check(CLI::Range(1, 16));
    capture->add_option("--card-rate", options->card_rate, "Simulated card's rate in Hz")
        ->check(CLI::Range(8000, 192000));
    capture->add_option("--card-bits", options->card_bits, "Simulated card's sample width")
        ->check(CLI::IsMember({16, 24, 32}));
    capture->add_option("--card-layout", options->card_layout,
                        "Simulated card's layout: 1.0, 2.0, 4.0, 5.1, 7.1, 7.1.4");
    capture->add_option_function<std::vector<std::string>>(
        "--change",
        [options](const std::vector<std::string>& texts) {
            for (const std::string& text : texts) {
                const std::string wrong = add_change(text, options);
                if (!wrong.empty()) {
                    throw CLI::ValidationError("--change", wrong);
                }
            }
        },
        "Set a control of card 70 while recording, as \"2.5:PCM Slave Channels=6\"");
}

}  // namespace

void add_capture_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<capture_options>();
    CLI::App* capture =
        app->add_subcommand("capture", "Record from card 70, device 70 into a WAV file");
    add_capture_options(capture, options.get());
    capture->callback([=] { *action = [=] { return run_capture(*options); }; });
}
