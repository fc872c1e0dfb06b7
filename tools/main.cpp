// zel-fc: the format converter from the command line.

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <filesystem>

#include "capture.h"

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

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"The format converter's tool: records from virtual sound card 70."};
    app.require_subcommand(1);
    capture_options options;
    CLI::App* capture =
        app.add_subcommand("capture", "Record from card 70, device 70 into a WAV file");
    capture->add_option("out", options.out_file, "WAV file to write")->capture_default_str();
    capture->add_option("-r,--rate", options.rate, "Rate in Hz (16000 to 48000)")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    capture->add_option("-c,--channels", options.channels, "Channels (1 to 8)")
        ->check(CLI::Range(1, 64))
        ->capture_default_str();
    capture->add_option("-b,--bits", options.bits, "Bits per sample")
        ->check(CLI::IsMember({16, 32}))
        ->capture_default_str();
    capture->add_option("-s,--seconds", options.seconds, "Length of the recording")
        ->check(CLI::Range(0.01, 86400.0))
        ->capture_default_str();
    capture
        ->add_option("-p,--period-size", options.period_size,
                     "Frames per period (default: one block of 32 ms)")
        ->check(CLI::Range(1U, 1U << 20));
    capture->add_option("-n,--period-count", options.period_count, "Periods in the buffer")
        ->check(CLI::Range(1, 1024))
        ->capture_default_str();
    capture->add_flag("--fast", options.fast,
                      "As fast as possible instead of by the clock (simulated card)");
    capture->add_option("-w,--wav", options.wav_file, "WAV file that the simulated card plays")
        ->check(CLI::ExistingFile);
    capture->add_option("--signal", options.signal,
                        "What the simulated card plays: Tones, Ramp, Chirp, Impulse, Silence");
    capture->add_option("--card-channels", options.card_channels, "Simulated card's channels")
        ->check(CLI::Range(1, 16));
    capture->add_option("--card-rate", options.card_rate, "Simulated card's rate in Hz")
        ->check(CLI::Range(8000, 192000));
    capture->add_option("--card-bits", options.card_bits, "Simulated card's sample width")
        ->check(CLI::IsMember({16, 24, 32}));
    capture->add_option("--card-layout", options.card_layout,
                        "Simulated card's layout: 1.0, 2.0, 4.0, 5.1, 7.1, 7.1.4");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_OK : EXIT_USAGE;
    }
    choose_coefficient_files();
    return run_capture(options);
}
