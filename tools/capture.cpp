#include "capture.h"

#include <tinyalsa/pcm.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "level_meter.h"
#include "simulated_card.h"
#include "stream_monitor.h"
#include "wav_writer.h"

namespace {

constexpr unsigned int kVirtualCard = 70;
constexpr unsigned int kVirtualDevice = 70;

volatile std::sig_atomic_t g_interrupted = 0;

void on_interrupt(int /*signal*/) {
    g_interrupted = 1;
}

int alsa_format_of(int bits) {
    return bits == 16 ? 2 : bits == 24 ? 6 : 10;
}

bool prepare_card(const capture_options& options, simulated_card* card) {
    return (options.card_channels == 0 || card->set("PCM Slave Channels", options.card_channels)) &&
           (options.card_rate == 0 || card->set("PCM Slave Rate", options.card_rate)) &&
           (options.card_bits == 0 ||
            card->set("PCM Slave Format", alsa_format_of(options.card_bits))) &&
           (options.card_layout.empty() ||
            card->choose("PCM Channel Layout", options.card_layout)) &&
           (options.signal.empty() || card->choose("Loopback Signal", options.signal)) &&
           (options.wav_file.empty() || card->play_file(options.wav_file)) &&
           (!options.fast || card->choose("Sim Pacing", "Step"));
}

std::string level_bar(double dbfs) {
    constexpr int kWidth = 12;
    constexpr double kFloorDb = -60;
    const double share = std::clamp((dbfs - kFloorDb) / -kFloorDb, 0.0, 1.0);
    const auto filled = static_cast<std::size_t>(std::lround(share * kWidth));
    return std::string(filled, '#') + std::string(kWidth - filled, '.');
}

/// Tells how far the recording is: a line that is rewritten on a terminal, else a line a second.
class progress_line {
  public:
    explicit progress_line(unsigned int stream_rate) : rate(stream_rate) {}
    void show(std::uint64_t done, std::uint64_t total, const level_meter& level) {
        const std::uint64_t step = terminal ? rate / 8 : rate;
        if (done < next && done < total) {
            return;
        }
        next = done + step;
        std::printf("%s%6.2f s of %.2f s", terminal ? "\r" : "", seconds(done), seconds(total));
        for (unsigned int c = 0; c < level.channels(); ++c) {
            std::printf("  %u %s", c, level_bar(level.rms_dbfs(c)).c_str());
        }
        std::printf("%s", terminal && done < total ? "" : "\n");
        std::fflush(stdout);
    }

  private:
    double seconds(std::uint64_t frames) const { return static_cast<double>(frames) / rate; }

    unsigned int rate;
    bool terminal = isatty(STDOUT_FILENO) != 0;
    std::uint64_t next = 0;
};

void print_summary(const capture_options& options, std::uint64_t frames, const level_meter& level,
                   const stream_monitor& monitor, unsigned int restarts) {
    std::printf("%s: %llu frames, %.3f s, %u Hz, %u channels, %u bits\n", options.out_file.c_str(),
                static_cast<unsigned long long>(frames), static_cast<double>(frames) / options.rate,
                options.rate, options.channels, options.bits);
    std::printf("channel     level      peak\n");
    for (unsigned int c = 0; c < level.channels(); ++c) {
        std::printf("%7u %6.1f dBFS %4.1f dBFS\n", c, level.rms_dbfs(c), level.peak_dbfs(c));
    }
    std::printf("timestamp gaps: %llu   overruns: %llu   frames lost: %llu   restarts: %u\n",
                static_cast<unsigned long long>(monitor.gaps()),
                static_cast<unsigned long long>(monitor.overruns()),
                static_cast<unsigned long long>(monitor.lost_frames()), restarts);
}

/// The card's frames that yield so many of the client's, in whole blocks of both, and some to spare
/// for the card's own start.
int card_frames_for(std::uint32_t client_frames, unsigned int client_rate, int card_rate) {
    const std::uint32_t block = client_rate / 1000 * 32;
    return static_cast<int>((client_frames + block - 1) / block) * (card_rate / 1000 * 32);
}

struct session {
    const capture_options& options;
    pcm* stream;
    simulated_card& card;
    wav_writer& file;
    card_changes changes;
    level_meter level;
    stream_monitor monitor;
    std::uint64_t done = 0;
};

/// Frames read, or -1. A fast recording doesn't block in the stream, whose reads look for new data
/// only every 32 ms, but looks for itself.
int read_frames(session& s, void* buffer, unsigned int wanted) {
    constexpr useconds_t kLookUs = 200;
    constexpr int kLooks = 10'000'000 / kLookUs;
    int got = pcm_readi(s.stream, buffer, wanted);
    for (int look = 0; s.options.fast && got == 0 && look < kLooks; ++look) {
        usleep(kLookUs);
        got = pcm_readi(s.stream, buffer, wanted);
    }
    return got;
}

/// As fast as possible without losing a frame: the card delivers what it has been granted and then
/// waits, and it is granted one read's worth at a time, which the ring buffer always holds.
bool grant(session& s, std::uint32_t frames) {
    return !s.options.fast ||
           s.card.set("Sim Granted Frames",
                      card_frames_for(frames, s.options.rate,
                                      s.options.card_rate != 0 ? s.options.card_rate : 48000));
}

exit_code record(session& s) {
    const auto total = static_cast<std::uint64_t>(std::llround(s.options.seconds * s.options.rate));
    const std::uint32_t chunk = s.options.rate / 1000 * 32;
    std::vector<std::uint8_t> buffer(pcm_frames_to_bytes(s.stream, chunk));
    progress_line progress(s.options.rate);
    std::uint64_t granted = 0;
    while (s.done < total && g_interrupted == 0) {
        const auto wanted =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(chunk, total - s.done));
        if (s.done == granted) {
            if (!grant(s, wanted)) {
                return fail(EXIT_READ, s.card.error());
            }
            granted += wanted;
        }
        const int got = read_frames(s, buffer.data(), wanted);
        if (got <= 0) {
            return fail(EXIT_READ, got < 0 ? pcm_get_error(s.stream) : "the card delivers nothing");
        }
        const auto frames = static_cast<std::uint32_t>(got);
        unsigned int avail = 0;
        timespec newest{};
        if (pcm_get_htimestamp(s.stream, &avail, &newest) == 0) {
            s.monitor.add(frames, avail, newest);
        }
        s.level.add(buffer.data(), frames);
        if (!s.file.add(buffer.data(), frames)) {
            return fail(EXIT_WRITE, s.file.error());
        }
        s.done += frames;
        progress.show(s.done, total, s.level);
        const std::string wrong = s.changes.follow(static_cast<double>(s.done) / s.options.rate);
        if (!wrong.empty()) {
            return fail(EXIT_READ, wrong);
        }
    }
    return EXIT_OK;
}

exit_code record_to_file(const capture_options& options, pcm* stream, simulated_card& card) {
    wav_writer file;
    if (!file.open(options.out_file, options.rate, options.channels, options.bits)) {
        return fail(EXIT_WRITE, file.error());
    }
    session s{options,
              stream,
              card,
              file,
              card_changes(options.changes),
              level_meter(options.channels, options.bits),
              stream_monitor(options.rate, pcm_get_buffer_size(stream), options.rate / 1000 * 32)};
    exit_code code = record(s);
    if (g_interrupted != 0) {
        std::printf("\ninterrupted\n");
    }
    if (!file.close() && code == EXIT_OK) {
        code = fail(EXIT_WRITE, options.out_file + ": cannot be completed");
    }
    print_summary(options, s.done, s.level, s.monitor, s.changes.restarts());
    return code;
}

}  // namespace

exit_code run_capture(const capture_options& options) {
    simulated_card card;
    if (!prepare_card(options, &card)) {
        return fail(EXIT_OPEN, card.error());
    }
    struct sigaction action {};
    action.sa_handler = on_interrupt;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);

    pcm_config config{};
    config.channels = options.channels;
    config.rate = options.rate;
    config.period_size = options.period_size != 0 ? options.period_size : options.rate / 1000 * 32;
    config.period_count = options.period_count;
    config.format = options.bits == 32 ? PCM_FORMAT_S32_LE : PCM_FORMAT_S16_LE;
    const unsigned int flags =
        PCM_IN | PCM_MONOTONIC | (options.fast ? static_cast<unsigned int>(PCM_NONBLOCK) : 0);
    pcm* stream = pcm_open(kVirtualCard, kVirtualDevice, flags, &config);
    exit_code code = EXIT_OPEN;
    if (stream == nullptr || pcm_is_ready(stream) == 0) {
        fail(EXIT_OPEN, std::string("cannot open card 70, device 70: ") +
                            (stream != nullptr ? pcm_get_error(stream) : "out of memory"));
    } else if (pcm_prepare(stream) != 0 || pcm_start(stream) != 0) {
        fail(EXIT_OPEN, std::string("cannot start card 70, device 70: ") + pcm_get_error(stream));
    } else {
        code = record_to_file(options, stream, card);
    }
    if (options.fast) {
        // A worker that waits for a grant would keep the close waiting.
        card.choose("Sim Pacing", "Clock");
    }
    if (stream != nullptr) {
        pcm_close(stream);
    }
    return code;
}
