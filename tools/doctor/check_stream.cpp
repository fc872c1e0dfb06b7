// Card 70's stream, as a client has it: how long the open takes, when the first block comes,
// whether its times go with its frames, and whether anything is to be heard.

#include <dlfcn.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <vector>

#include "examination.h"

namespace {

using steady = std::chrono::steady_clock;

constexpr double kBlockMs = 32;
constexpr unsigned int kPatienceMs = 2000;  ///< with a card that delivers nothing
constexpr double kSlowOpenMs = 300;         ///< the library gives up at 1000
constexpr double kLongestMs = 3000;         ///< to listen for a second of audio
constexpr double kLateMs = 150;             ///< a block, and what a card takes to start

double ms_since(steady::time_point begin) {
    return std::chrono::duration<double, std::milli>(steady::now() - begin).count();
}

std::string ms_text(double ms) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.1f ms", ms);
    return text;
}

/// Who has the card's capture device, as the kernel tells it; empty for a plugin.
std::string holder_of(unsigned int card, unsigned int device) {
    std::error_code none;
    const std::string folder =
        "/proc/asound/card" + std::to_string(card) + "/pcm" + std::to_string(device) + "c";
    for (const auto& stream : std::filesystem::directory_iterator(folder, none)) {
        std::ifstream status(stream.path() / "status");
        for (std::string word; status >> word;) {
            if (word == "owner_pid" && status >> word && status >> word) {
                return "; process " + word + " has the card's capture device";
            }
        }
    }
    return "";
}

void open_stream(examination* found, virtual_stream* stream, bool* opened) {
    constexpr const char* kCheck = "open";
    const auto begin = steady::now();
    *opened = stream->open(found->client, false);
    const double took = ms_since(begin);
    const std::string client = std::to_string(found->client.rate) + " Hz, " +
                               std::to_string(found->client.channels) + " channels, " +
                               std::to_string(found->client.bits) + " bits";
    if (!*opened && dlsym(RTLD_DEFAULT, "pcm_drain") == nullptr &&
        found->client.rate != found->card_rate) {
        found->fail(
            kCheck, client + ": " + stream->error(),
            "This tinyalsa may give no reason when a card refuses a rate, and the card's own "
            "is then not tried: ask for that, or take a later one.");
    } else if (!*opened) {
        found->fail(kCheck, client + ": " + stream->error() + holder_of(found->card, found->device),
                    "The library's log tells the step that failed (--log, or "
                    "logcat -s zel_tinyalsa_format_converter), android/messages.md the remedy.");
    } else if (took > kSlowOpenMs) {
        found->warn(kCheck, client + ", in " + ms_text(took),
                    "A client that opens waits so long, and beyond 1000 ms in vain: see what the "
                    "driver does when its stream is opened.");
    } else {
        found->pass(kCheck, client + ", in " + ms_text(took));
    }
}

int peak_of(const std::vector<unsigned char>& bytes, std::size_t length, unsigned int bits) {
    int peak = 0;
    const std::size_t step = bits / 8;
    for (std::size_t at = step - 2; at < length; at += step) {  // the word's upper 16 bits
        const int sample = static_cast<std::int16_t>(bytes[at] | bytes[at + 1] << 8);
        peak = std::max(peak, std::abs(sample));
    }
    return peak;
}

/// How the newest block's time moves, in ms for as many frames as a block has.
class block_times {
  public:
    explicit block_times(unsigned int rate) : frame_ms(1e3 / rate) {}

    /// The time of the newest frame, and that frame's place in the stream.
    void take(std::uint64_t position, const timespec& time) {
        const double ms =
            static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
        if (position > last_position && ms != last_ms) {
            const double passed = static_cast<double>(position - last_position) * frame_ms;
            if (last_position != 0) {
                steps.push_back((ms - last_ms) / passed * kBlockMs);
            }
            last_ms = ms;
            last_position = position;
        }
    }

    void add_row(examination* found) {
        constexpr const char* kCheck = "timestamps";
        constexpr double kTolerance = 1;
        if (steps.empty()) {
            found->fail(kCheck, "they do not advance",
                        "Let the driver give a time with its position (see pcm_get_htimestamp).");
            return;
        }
        std::sort(steps.begin(), steps.end());
        const double usual = steps[steps.size() / 2];  // a gap leaves it alone
        const std::string seen = "a block advances them by " + ms_text(usual) + " (" +
                                 ms_text(steps.front()) + " to " + ms_text(steps.back()) + ")";
        if (steps.front() <= 0 || std::fabs(usual - kBlockMs) > kTolerance) {
            found->fail(kCheck, seen,
                        "A block is 32 ms: let the driver's times go with its frames.");
        } else if (steps.back() > kBlockMs + kTolerance) {
            found->warn(kCheck, seen,
                        "Audio was lost, or a block was late: was the machine busy? Try again.");
        } else {
            found->pass(kCheck, seen);
        }
    }

  private:
    double frame_ms;
    double last_ms = 0;
    std::uint64_t last_position = 0;
    std::vector<double> steps;
};

/// How long so many ms of audio took; the first block was there at once.
void add_pace(examination* found, double audio_ms, double took_ms) {
    const std::string seen = ms_text(audio_ms) + " of audio took " + ms_text(took_ms);
    if (took_ms > 1.2 * audio_ms + kLateMs) {
        found->fail("pace", seen, "The card is slower than its rate: see its clock.");
    } else {
        found->pass("pace", seen);
    }
}

/// What the chain does to such a client's samples, by the card's controls.
void check_client(examination* found) {
    const stream_format& client = found->client;
    if (found->card_rate == 0) {
        found->skip("client", "the card's controls");
        return;
    }
    const std::string advice = rate_advice(found->card_rate, client.rate);
    const std::string seen = std::to_string(client.rate) + " Hz of a card at " +
                             std::to_string(found->card_rate) + " Hz";
    if (!advice.empty()) {
        found->fail("client", seen, advice);
    } else if (found->low_bytes && (client.bits == 16 || client.rate != found->card_rate)) {
        found->warn("client", kLowBytesAdvice,
                    "Let the driver put its samples into the upper bytes, or into 32 bits.");
    } else {
        found->pass("client", seen);
    }
}

void listen(examination* found, virtual_stream* stream) {
    constexpr unsigned int kBlocks = 32;  // a second
    const stream_format& client = found->client;
    const std::size_t frame_bytes = std::size_t{client.channels} * client.bits / 8;
    std::vector<unsigned char> block(client.block_frames() * frame_bytes);
    const auto begin = steady::now();
    int got = stream->read(block.data(), client.block_frames(), kPatienceMs);
    const double first = ms_since(begin);
    if (got <= 0) {
        found->fail("first block", "none in " + ms_text(first) + ": " + stream->error(),
                    "The card delivers nothing: see what its driver waits for, and the library's "
                    "log.");
        for (const char* check : {"timestamps", "pace", "sound"}) {
            found->skip(check, "a block");
        }
        return;
    }
    if (first > kLateMs) {
        found->warn("first block", "after " + ms_text(first),
                    "See how long the driver takes to start.");
    } else {
        found->pass("first block", "after " + ms_text(first));
    }
    block_times times(client.rate);
    std::uint64_t frames = 0;
    int peak = 0;
    const auto heard = steady::now();
    while (got > 0 && frames < std::uint64_t{kBlocks} * client.block_frames() &&
           ms_since(heard) < kLongestMs) {
        frames += static_cast<unsigned int>(got);
        unsigned int avail = 0;
        timespec time{};
        if (stream->newest(&avail, &time)) {
            times.take(frames + avail, time);
        }
        got = stream->read(block.data(), client.block_frames(), kPatienceMs);
        if (got > 0) {
            peak = std::max(
                peak, peak_of(block, static_cast<unsigned int>(got) * frame_bytes, client.bits));
        }
    }
    times.add_row(found);
    add_pace(found, static_cast<double>(frames) * 1e3 / client.rate, ms_since(heard));
    if (got <= 0) {
        found->fail("sound", "the card stopped: " + stream->error(), "See the library's log.");
    } else if (peak == 0) {
        found->warn("sound", "a second of silence",
                    found->works() ? "Play something and try again; see the mixing file, too."
                                   : "Mend what failed, then play something and try again.");
    } else {
        char text[48];
        std::snprintf(text, sizeof(text), "peak %.1f dBFS in a second",
                      20 * std::log10(peak / 32768.0));
        found->pass("sound", text);
    }
}

}  // namespace

void check_stream(examination* found) {
    constexpr const char* kChecks[] = {"open", "first block", "timestamps", "pace", "sound"};
    check_client(found);
    virtual_stream stream;
    bool opened = false;
    if (found->may_open) {
        open_stream(found, &stream, &opened);
    }
    if (opened) {
        listen(found, &stream);
        return;
    }
    for (const char* check : kChecks) {
        if (!found->may_open || check != kChecks[0]) {
            found->skip(check, found->may_open ? "a stream" : kLoadable);
        }
    }
}
