// zel-fc capture: records from the virtual card, with a level meter and a summary.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>

#include "capture/stream_monitor.h"
#include "card_controls.h"
#include "command_options.h"
#include "commands.h"
#include "library_log.h"
#include "recording.h"
#include "status_line.h"
#include "zel_virtual_card.h"

namespace {

/// A control's new value at a time of the recording.
struct card_change {
    double seconds;
    std::string control;
    std::string value;
};

struct capture_options {
    std::string out_file = "capture.wav";
    stream_format client;
    double seconds = 5;
    card_setup card;
    coefficient_paths coefficients;
    bool fast = false;
    std::vector<card_change> changes;  ///< while it records
    bool json = false;
    bool quiet = false;  ///< without the library's messages
};

/// A recording and all that is learnt on the way.
class capture {
  public:
    /// Throws when the stream doesn't open.
    capture(const capture_options& asked, const played_sound& sound, simulated_card* card);
    exit_code run();

  private:
    void make(const card_change& change, bool tries, exit_code otherwise) const;
    void follow(const void* block, std::uint32_t frames);
    void show_meter();
    void tell(const std::string& news);
    void print_summary() const;

    const capture_options& options;
    mixer_owner handle = open_mixer(kZelVirtualCard);
    std::vector<card_change> changes = options.changes;  ///< to come, by time
    recording record{options.client, options.out_file};
    card_feeder feeder;
    status_line screen{!options.json};
    level_meter look{options.client.channels, options.client.bits};  ///< since the last look
    std::unique_ptr<stream_monitor> monitor{};
    unsigned int restarts = 0;
    std::vector<std::string> events{};
};

capture::capture(const capture_options& asked, const played_sound& sound, simulated_card* card)
    : options(asked),
      // One block at a time, so that changes of the card come when they are due.
      feeder(card, asked.client.rate, read_card_state().rate, 1) {
    std::stable_sort(changes.begin(), changes.end(),
                     [](const auto& a, const auto& b) { return a.seconds < b.seconds; });
    for (const card_change& change : changes) {
        make(change, true, EXIT_USAGE);
    }
    if (handle) {
        mixer_subscribe_events(handle.get(), 1);
    }
    record.open(!options.fast, options.changes.empty() ? sound.path() : "");
    monitor = std::make_unique<stream_monitor>(options.client.rate, record.stream.buffer_frames(),
                                               options.client.block_frames());
}

/// `tries`: only looks whether it can be made. Throws when not.
void capture::make(const card_change& change, bool tries, exit_code otherwise) const {
    mixer_ctl* control =
        handle ? mixer_get_ctl_by_name(handle.get(), change.control.c_str()) : nullptr;
    const std::string wrong =
        control == nullptr ? "no such control" : set_control(control, change.value, tries);
    if (!wrong.empty()) {
        throw command_failure(otherwise, '"' + change.control + "\": " + wrong);
    }
}

void capture::tell(const std::string& news) {
    screen.clear();
    if (!options.json) {
        fmt::print("{}\n", news);
        std::fflush(stdout);
    }
}

/// The time, and for each channel a bar from -60 to 0 dBFS; "!" behind it when a sample was at full
/// scale.
void capture::show_meter() {
    const std::size_t room = screen.room();
    if (room == 0) {
        return;
    }
    std::string text = fmt::format("{:.1f} s of {:.1f} s", record.seconds(), options.seconds);
    const std::size_t share = room / look.channels();
    const std::size_t others = std::min(share, text.size() / look.channels() + 5);
    const std::size_t width = std::clamp<std::size_t>(share - others, 4, 24);
    for (unsigned int c = 0; c < look.channels(); ++c) {
        text += fmt::format("  {}{}{}", c, bar_text(look.rms_dbfs(c) / 60 + 1, width),
                            record.level.peak_dbfs(c) > -0.001 ? "!" : "");
    }
    screen.show(text.substr(0, room));
    look = level_meter(options.client.channels, options.client.bits);
}

/// After each block: what has become of the stream, and the changes that are due.
void capture::follow(const void* block, std::uint32_t frames) {
    unsigned int avail = 0;
    timespec newest{};
    if (record.stream.newest(&avail, &newest)) {
        monitor->add(frames, avail, newest);
    }
    look.add(block, frames);
    show_meter();
    std::vector<std::string> news;
    for (; !changes.empty() && changes.front().seconds <= record.seconds();
         changes.erase(changes.begin())) {
        make(changes.front(), false, EXIT_READ);
        news.push_back(changes.front().control + " = " + changes.front().value);
    }
    for (mixer_ctl_event event{}; handle && mixer_wait_event(handle.get(), 0) == 1 &&
                                  mixer_read_event(handle.get(), &event) == 1;) {
        ++restarts;
        record.chain = chain_for(options.client);
        news.emplace_back("the capture was restarted");
    }
    for (const std::string& text : news) {
        events.push_back(fmt::format("{:.2f} s: {}", record.seconds(), text));
        tell(events.back());
    }
}

void capture::print_summary() const {
    fmt::print("{}\n", record.info().text(options.out_file));
    record.chain.print();
    record.level.print();
    fmt::print("timestamp gaps: {}   overruns: {}   frames lost: {}   restarts: {}\n",
               monitor->gaps(), monitor->overruns(), monitor->lost_frames(), restarts);
}

exit_code capture::run() {
    const auto total =
        static_cast<std::uint64_t>(std::llround(options.seconds * options.client.rate));
    const exit_code code =
        record.run(options.fast ? &feeder : nullptr, total,
                   [this](const void* block, std::uint32_t frames) { follow(block, frames); });
    screen.clear();
    if (code == EXIT_WRITE && record.done == 0) {
        return code;
    }
    if (interrupted()) {
        tell("interrupted");
    }
    record.tell_warnings();
    for (const card_change& change : changes) {
        warn(fmt::format("\"{}={}\" was not made: the recording had ended", change.control,
                         change.value));
    }
    if (!options.json) {
        print_summary();
        return code;
    }
    json all = record.summary();
    all.update({{"timestamp_gaps", monitor->gaps()},
                {"overruns", monitor->overruns()},
                {"frames_lost", monitor->lost_frames()},
                {"restarts", restarts},
                {"events", events}});
    print_json(all);
    return code;
}

exit_code run_capture(const capture_options& options) {
    print_library_log(!options.quiet);
    const std::string& file = options.card.wav_file;
    const played_sound sound = file.empty() ? played_sound() : played_sound(file);
    std::vector<std::string> inputs{file};
    for (const card_change& change : options.changes) {
        inputs.push_back(change.value);  // perhaps a path
    }
    simulated_card card;
    prepare_recording(&card, options.card, sound, options.coefficients, options.out_file, inputs);
    if (options.fast) {
        card.step();
    }
    return capture(options, sound, &card).run();
}

/// Of "SECONDS:CONTROL=VALUE".
card_change change_of(const std::string& text) {
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::size_t equals = text.find('=', colon);
    double seconds = -1;
    int used = 0;
    std::sscanf(text.c_str(), "%lf%n", &seconds, &used);
    if (equals == std::string::npos || equals == colon + 1 || !(seconds >= 0) ||
        static_cast<std::size_t>(used) != colon) {
        throw CLI::ValidationError("--change", '"' + text + "\" is not SECONDS:CONTROL=VALUE");
    }
    return {seconds, text.substr(colon + 1, equals - colon - 1), text.substr(equals + 1)};
}

}  // namespace

void add_capture_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<capture_options>();
    CLI::App* capture =
        app->add_subcommand("capture", "Record from card 70, device 70 into a WAV file");
    capture->add_option("out", options->out_file, "WAV file to write")
        ->envname("ZEL_CAPTURE_FILE")
        ->capture_default_str();
    add_client_options(capture, &options->client);
    add_buffer_options(capture, &options->client);
    capture->add_option("-s,--seconds", options->seconds, "Length of the recording in seconds")
        ->check(number_from(0.01, 86400))
        ->capture_default_str();
    add_coefficient_options(capture, &options->coefficients);
    add_json_flag(capture, &options->json);
    capture->add_flag("-q,--quiet", options->quiet,
                      "Don't pass the library's messages on to the standard error stream");
    capture->add_flag("--fast", options->fast,
                      "As fast as possible instead of by the clock (simulated card)");
    capture
        ->add_option("-w,--wav", options->card.wav_file,
                     "WAV file that the simulated card plays, over and over; - for a pipe")
        ->check((CLI::ExistingFile | CLI::IsMember({"-"})).description("FILE"));
    capture->add_option("--signal", options->card.signal,
                        "What the simulated card plays: Tones, Ramp, Chirp, Impulse, Silence");
    add_card_options(capture, &options->card, true, "");
    capture
        ->add_option_function<std::vector<std::string>>(
            "--change",
            [options](const std::vector<std::string>& texts) {
                std::transform(texts.begin(), texts.end(), std::back_inserter(options->changes),
                               change_of);
            },
            "Set a control of card 70 while recording, as \"2.5:PCM Slave Channels=6\"")
        ->type_name("CHANGE");
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
