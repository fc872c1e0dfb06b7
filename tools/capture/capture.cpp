#include "capture.h"

#include <tinyalsa/mixer.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "audio_report.h"
#include "capture_screen.h"
#include "card_feeder.h"
#include "interrupt.h"
#include "library_log.h"
#include "mix_overloads.h"
#include "output_file.h"
#include "stream_monitor.h"
#include "zel_virtual_card.h"

namespace {

/// A recording and all that is learnt on the way.
struct session {
    const capture_options& options;
    virtual_stream& stream;
    card_feeder& feeder;
    simulated_card& card;
    held_library_log& log;
    capture_screen screen;
    level_meter level;
    stream_monitor monitor;
    card_changes changes;
    struct mixer* mixer;  ///< of card 70, or null
    chain_report chain;
    unsigned int restarts = 0;
    std::uint64_t overloads = 0;
    std::vector<std::string> events{};
    std::uint64_t done = 0;
};

capture_screen::kind screen_kind(const capture_options& options) {
    return options.json                 ? capture_screen::kind::nothing
           : isatty(STDOUT_FILENO) != 0 ? capture_screen::kind::terminal
                                        : capture_screen::kind::lines;
}

void follow_log(session& s) {
    for (const library_message& message : s.log.take()) {
        if (!s.options.quiet) {
            s.screen.pass_on(message);
        }
    }
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
        s.screen.tell(s.events.back());
    }
    return wrong;
}

exit_code record(session& s, wav_writer& file) {
    const stream_format& client = s.options.client;
    const auto total = static_cast<std::uint64_t>(std::llround(s.options.seconds * client.rate));
    std::vector<std::uint8_t> buffer(std::size_t{client.block_frames()} * client.channels *
                                     (client.bits / 8));
    while (s.done < total && !interrupted()) {
        const auto wanted = static_cast<std::uint32_t>(
            std::min<std::uint64_t>(client.block_frames(), total - s.done));
        if (s.options.fast && !s.feeder.feed(s.done, total)) {
            return fail(EXIT_READ, s.card.error());
        }
        const int got = s.stream.read(buffer.data(), wanted);
        follow_log(s);
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
        if (!file.add(buffer.data(), frames)) {
            return fail(EXIT_WRITE, file.error());
        }
        s.done += frames;
        s.screen.add(buffer.data(), frames);
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
    print_chain(s.chain);
    print_levels(s.level);
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
        .set("levels", levels_json(s.level))
        .set("timestamp_gaps", s.monitor.gaps())
        .set("overruns", s.monitor.overruns())
        .set("frames_lost", s.monitor.lost_frames())
        .set("restarts", s.restarts)
        .set("overloads", s.overloads)
        .set("events", std::move(events))
        .set("chain", chain_json(s.chain));
    all.print();
}

exit_code record_to_file(session& s) {
    const stream_format& client = s.options.client;
    wav_writer file;
    if (!file.open(s.options.out_file, client.rate, client.channels, client.bits)) {
        return fail(EXIT_WRITE, file.error());
    }
    exit_code code = record(s, file);
    s.screen.finish();
    if (interrupted()) {
        s.screen.tell("interrupted");
    }
    if (!file.close() && code == EXIT_OK) {
        code = fail(EXIT_WRITE, file.error());
    }
    warn_of(s.chain);
    // One pass of the file at most, over a card that stayed as it is.
    if (!s.options.card.wav_file.empty() && s.options.changes.empty()) {
        s.overloads = warn_of_overloads(s.chain, s.options.card.wav_file,
                                        s.done * s.chain.card.rate / client.rate);
    }
    s.options.json ? print_json(s) : print_summary(s);
    return code;
}

exit_code capture(const capture_options& options, unsigned int card_rate, simulated_card& card) {
    const stream_format& client = options.client;
    const std::unique_ptr<mixer, void (*)(mixer*)> events(mixer_open(kZelVirtualCard), mixer_close);
    card_changes changes(options.changes, events.get());
    const std::string wrong = changes.check();
    if (!wrong.empty()) {
        return fail(EXIT_USAGE, wrong);
    }
    if (events) {
        mixer_subscribe_events(events.get(), 1);
    }
    held_library_log log;
    virtual_stream stream;
    // One block at a time, so that changes of the card come when they are due.
    card_feeder feeder(&card, client.rate, card_rate, 1);
    const bool opened = stream.open(client, !options.fast);
    session s{
        options,
        stream,
        feeder,
        card,
        log,
        capture_screen(screen_kind(options), client, options.out_file, options.seconds),
        level_meter(client.channels, client.bits),
        stream_monitor(client.rate, opened ? stream.buffer_frames() : 0, client.block_frames()),
        std::move(changes),
        events.get(),
        opened ? chain_for(client) : chain_report{}};
    follow_log(s);
    return opened ? record_to_file(s) : fail(EXIT_OPEN, stream.error());
}

}  // namespace

exit_code run_capture(const capture_options& options) {
    print_library_log(!options.quiet);
    card_setup setup = options.card;
    if (!setup.wav_file.empty()) {
        sound_info sound;
        const std::string wrong = read_sound(setup.wav_file, &sound);
        if (!wrong.empty()) {
            return fail(EXIT_OPEN, wrong);
        }
        setup = card_playing(setup, setup.wav_file, sound);
    }
    simulated_card card;
    if (!card.apply(complete(setup)) || (options.fast && !card.step())) {
        return fail(EXIT_OPEN, card.error());
    }
    const std::string wrong = use_coefficient_paths(options.coefficients);
    if (!wrong.empty()) {
        return fail(EXIT_OPEN, wrong);
    }
    if (keep_inputs(options.out_file, {}) != EXIT_OK) {
        return EXIT_USAGE;
    }
    catch_interrupts();
    return capture(options, read_card_state().rate, card);
}
