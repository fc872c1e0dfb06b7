#include "capture.h"

#include <tinyalsa/mixer.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "level_meter.h"
#include "library_log.h"
#include "overload_watch.h"
#include "status_line.h"
#include "stream_monitor.h"
#include "zel_virtual_card.h"

namespace {

/// A recording and all that is learnt on the way.
struct session {
    const capture_options& options;
    virtual_stream& stream;
    card_feeder& feeder;
    simulated_card& card;
    status_line screen;
    level_meter level;
    level_meter look;  ///< of what came since the last look at the screen
    stream_monitor monitor;
    card_changes changes;
    struct mixer* mixer;  ///< of card 70, or null
    chain_report chain;
    std::unique_ptr<overload_watch> overloads;  ///< of a file's one pass, over a card that stays
    std::uint64_t played_frames;                ///< of the card, in that pass
    unsigned int restarts = 0;
    std::vector<std::string> events{};
    std::uint64_t done = 0;
};

std::uint64_t frames_of(const capture_options& options) {
    return static_cast<std::uint64_t>(std::llround(options.seconds * options.client.rate));
}

void tell(session& s, const std::string& news) {
    s.screen.clear();
    if (!s.options.json) {
        std::printf("%s\n", news.c_str());
        std::fflush(stdout);
    }
}

/// The time, and for each channel a bar from -60 to 0 dBFS; "!" behind it when a sample was at full
/// scale.
void show_meter(session& s) {
    const std::size_t room = s.screen.room();
    if (room == 0) {
        return;
    }
    const unsigned int channels = s.look.channels();
    char time[48];
    std::snprintf(time, sizeof(time), "%.1f s of %.1f s",
                  static_cast<double>(s.done) / s.options.client.rate, s.options.seconds);
    std::string text = time;
    const std::size_t width = std::clamp<std::size_t>(
        room / channels - std::min<std::size_t>(room / channels, text.size() / channels + 5), 4,
        24);
    for (unsigned int c = 0; c < channels; ++c) {
        text += "  " + std::to_string(c) + bar_text(s.look.rms_dbfs(c) / 60 + 1, width) +
                (s.level.peak_dbfs(c) > -0.001 ? "!" : "");
    }
    s.screen.show(text.substr(0, room));
    s.look = level_meter(channels, s.options.client.bits);
}

/// Makes the changes that are due, and hears of the stream's restarts.
std::string follow_card(session& s) {
    const double seconds = static_cast<double>(s.done) / s.options.client.rate;
    std::vector<std::string> news;
    const std::string wrong = s.changes.make_due(seconds, &news);
    for (mixer_ctl_event event{}; s.mixer != nullptr && mixer_wait_event(s.mixer, 0) == 1 &&
                                  mixer_read_event(s.mixer, &event) == 1;) {
        ++s.restarts;
        s.chain = chain_for(s.options.client);
        news.emplace_back("the capture was restarted");
    }
    for (const std::string& text : news) {
        char time[32];
        std::snprintf(time, sizeof(time), "%.2f s: ", seconds);
        s.events.push_back(time + text);
        tell(s, s.events.back());
    }
    return wrong;
}

void follow_file(session& s, std::uint32_t frames) {
    const std::uint64_t of_card = std::uint64_t{frames} * s.chain.card.rate / s.options.client.rate;
    const std::uint64_t now = std::min(of_card, s.played_frames);
    if (s.overloads) {
        s.overloads->play(static_cast<std::size_t>(now));
        s.played_frames -= now;
    }
}

exit_code record(session& s, wav_writer& file) {
    const stream_format& client = s.options.client;
    const std::uint64_t total = frames_of(s.options);
    std::vector<std::uint8_t> buffer(std::size_t{client.block_frames()} * client.channels *
                                     (client.bits / 8));
    while (s.done < total && !interrupted()) {
        const auto wanted = static_cast<std::uint32_t>(
            std::min<std::uint64_t>(client.block_frames(), total - s.done));
        if (s.options.fast && !s.feeder.feed(s.done, total)) {
            return fail(EXIT_READ, s.card.error());
        }
        const int got = s.stream.read(buffer.data(), wanted);
        if (got < 0) {
            return fail(EXIT_READ, s.stream.error());
        }
        const auto frames = static_cast<std::uint32_t>(got);
        unsigned int avail = 0;
        timespec newest{};
        if (s.stream.newest(&avail, &newest)) {
            s.monitor.add(frames, avail, newest);
        }
        s.level.add(buffer.data(), frames);
        follow_file(s, frames);
        if (!file.add(buffer.data(), frames)) {
            return fail(EXIT_WRITE, file.error());
        }
        s.done += frames;
        s.look.add(buffer.data(), frames);
        show_meter(s);
        const std::string wrong = follow_card(s);
        if (!wrong.empty()) {
            return fail(EXIT_READ, wrong);
        }
    }
    return EXIT_OK;
}

void print_summary(const session& s) {
    const stream_format& client = s.options.client;
    const sound_info out{client.channels, client.rate, client.bits,
                         std::to_string(client.bits) + " bits", s.done};
    std::printf("%s\n", out.text(s.options.out_file).c_str());
    s.chain.print();
    s.level.print();
    std::printf("timestamp gaps: %llu   overruns: %llu   frames lost: %llu   restarts: %u\n",
                static_cast<unsigned long long>(s.monitor.gaps()),
                static_cast<unsigned long long>(s.monitor.overruns()),
                static_cast<unsigned long long>(s.monitor.lost_frames()), s.restarts);
}

void print_json(const session& s) {
    const stream_format& client = s.options.client;
    json_value events = json_value::array();
    for (const std::string& event : s.events) {
        events.append(event);
    }
    json_value all = json_value::object();
    all.set("file", s.options.out_file)
        .set("frames", s.done)
        .set("seconds", static_cast<double>(s.done) / client.rate)
        .set("rate", client.rate)
        .set("channels", client.channels)
        .set("bits", client.bits)
        .set("interrupted", interrupted())
        .set("levels", s.level.json())
        .set("timestamp_gaps", s.monitor.gaps())
        .set("overruns", s.monitor.overruns())
        .set("frames_lost", s.monitor.lost_frames())
        .set("restarts", s.restarts)
        .set("overloads", s.overloads ? s.overloads->mixed() : 0)
        .set("events", std::move(events))
        .set("chain", s.chain.json());
    all.print();
}

exit_code record_to_file(session& s) {
    const stream_format& client = s.options.client;
    wav_writer file;
    if (!file.open(s.options.out_file, client.rate, client.channels, client.bits,
                   frames_of(s.options))) {
        return fail(EXIT_WRITE, file.error());
    }
    exit_code code = record(s, file);
    s.screen.clear();
    if (interrupted()) {
        tell(s, "interrupted");
    }
    if (!file.close() && code == EXIT_OK) {
        code = fail(EXIT_WRITE, file.error());
    }
    for (const std::string& text : s.chain.warnings()) {
        warn(text);
    }
    for (const card_change& change : s.changes.left()) {
        warn("\"" + change.control + '=' + change.value +
             "\" was not made: the recording had ended");
    }
    if (s.overloads) {
        s.overloads->tell(s.level.at_full_scale());
    }
    s.options.json ? print_json(s) : print_summary(s);
    return code;
}

exit_code capture(const capture_options& options, const played_sound& sound, simulated_card& card) {
    const stream_format& client = options.client;
    const mixer_owner events = open_mixer(kZelVirtualCard);
    card_changes changes(options.changes, events.get());
    const std::string wrong = changes.check();
    if (!wrong.empty()) {
        return fail(EXIT_USAGE, wrong);
    }
    if (events) {
        mixer_subscribe_events(events.get(), 1);
    }
    virtual_stream stream;
    // One block at a time, so that changes of the card come when they are due.
    card_feeder feeder(&card, client.rate, read_card_state().rate, 1);
    const bool opened = stream.open(client, !options.fast);
    session s{
        options,
        stream,
        feeder,
        card,
        status_line(!options.json),
        level_meter(client.channels, client.bits),
        level_meter(client.channels, client.bits),
        stream_monitor(client.rate, opened ? stream.buffer_frames() : 0, client.block_frames()),
        std::move(changes),
        events.get(),
        opened ? chain_for(client) : chain_report{},
        nullptr,
        sound.info().frames};
    if (!opened) {
        return fail_to_open(stream.error(), client.rate);
    }
    if (!sound.path().empty() && options.changes.empty()) {
        s.overloads = std::make_unique<overload_watch>(s.chain, sound.path());
    }
    return record_to_file(s);
}

}  // namespace

exit_code run_capture(const capture_options& options) {
    print_library_log(!options.quiet);
    card_setup setup = options.card;
    played_sound sound;
    if (!setup.wav_file.empty()) {
        const std::string wrong = sound.open(setup.wav_file);
        if (!wrong.empty()) {
            return fail(EXIT_OPEN, wrong);
        }
        setup = card_playing(setup, sound);
    }
    simulated_card card;
    if (!card.apply(complete(setup)) || (options.fast && !card.step())) {
        return fail(EXIT_OPEN, card.error());
    }
    const std::string wrong = use_coefficient_paths(options.coefficients);
    if (!wrong.empty()) {
        return fail(EXIT_OPEN, wrong);
    }
    std::vector<std::string> inputs{options.card.wav_file};
    for (const card_change& change : options.changes) {
        inputs.push_back(change.value);  // perhaps a path
    }
    if (check_output(options.out_file, ".wav", inputs) != EXIT_OK) {
        return EXIT_USAGE;
    }
    catch_interrupts();
    return capture(options, sound, card);
}
