// zel-fc: the format converter from the command line.

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <filesystem>

#include "capture.h"
#include "command_check.h"
#include "controls.h"
#include "exit_code.h"

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

/// The subcommands of "controls" and what each does.
void add_controls_options(CLI::App* controls, controls_options* options,
                          exit_code (**action)(const controls_options&)) {
    controls->require_subcommand(1);
    controls->add_option("-D,--card", options->card, "Card")->capture_default_str();
    CLI::App* list = controls->add_subcommand("list", "List all controls");
    CLI::App* get = controls->add_subcommand("get", "Print a control's value");
    CLI::App* set = controls->add_subcommand("set", "Set a control");
    for (CLI::App* one : {get, set}) {
        one->add_option("control", options->control, "Name or number")->required();
    }
    set->add_option("value", options->values,
                    "One for every element or one for all: numbers, an item, a text or hex:0102ff")
        ->required();
    for (CLI::App* one : {list, get, set}) {
        one->fallthrough();
    }
    list->callback([action] { *action = list_controls; });
    get->callback([action] { *action = get_control; });
    set->callback([action] { *action = set_control; });
}

int run(int argc, char** argv) {
    CLI::App app{"The format converter's tool: records from virtual sound card 70."};
    app.require_subcommand(1);
    capture_options recording;
    add_capture_options(
        app.add_subcommand("capture", "Record from card 70, device 70 into a WAV file"),
        &recording);
    controls_options access;
    exit_code (*access_controls)(const controls_options&) = nullptr;
    add_controls_options(app.add_subcommand("controls", "List, read and write a card's controls"),
                         &access, &access_controls);
    int check_code = -1;
    add_check_command(&app, &check_code);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EXIT_OK : EXIT_USAGE;
    }
    if (check_code >= 0) {
        return check_code;
    }
    choose_coefficient_files();
    return access_controls != nullptr ? access_controls(access) : run_capture(recording);
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        return fail(EXIT_OPEN, error.what());
    }
}
