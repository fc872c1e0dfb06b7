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
#include <string>
#include <vector>

#include "examination.h"
#include "stream_faults.h"

namespace {

using steady = std::chrono::steady_clock;

constexpr double kBlockMs = 32;
constexpr unsigned int kPatienceMs = 2000;  ///< with a card that delivers nothing
constexpr double kSlowOpenMs = 300;         ///< the library gives up at 1000
constexpr double kLateMs = 150;             ///< a block, and what a card takes to start

double ms_since(steady::time_point begin) {
    return std::chrono::duration<double, std::milli>(steady::now() - begin).count();
}

/// `format` has one place for it.
std::string number_text(const char* format, double number) {
    char text[64];
    std::snprintf(text, sizeof(text), format, number);
    return text;
}

std::string ms_text(double ms) {
    return number_text("%.1f ms", ms);
}

/// The process that holds the real card's capture device, where the kernel tells; else empty.
std::string owner_of(const examination& found) {
    const std::string device = "/proc/asound/card" + std::to_string(found.card_number) + "/pcm" +
                               std::to_string(found.device) + "c/sub";
    std::string status = "sub0";
    for (int sub = 0; !status.empty(); ++sub) {
        status = content_of(device + std::to_string(sub) + "/status");
        const std::size_t at = status.find("owner_pid");
        if (at != std::string::npos) {
            return std::to_string(std::atol(status.c_str() + status.find(':', at) + 1));
        }
    }
    return "";
}

/// Why the stream does not open, and what to do.
std::string way_out(const examination& found, const std::string& rate) {
    const std::string owner = owner_of(found);
    return !owner.empty()  ? "Process " + owner + " has the card's capture device: end its stream."
           : !rate.empty() ? rate
           : dlsym(RTLD_DEFAULT, "pcm_drain") == nullptr && found.client.rate != found.card.rate
               ? "This tinyalsa may give no reason when a card refuses a rate, and the card's own "
                 "is then not tried: ask for that, or take a later one."
               : std::string("android/messages.md has the remedy of what the library's log says ") +
                     kLog;
}

void open_stream(examination* found, virtual_stream* stream, const std::string& rate) {
    const stream_format& asked = found->client;
    const std::string client = std::to_string(asked.rate) + " Hz, " +
                               std::to_string(asked.channels) + " channels, " +
                               std::to_string(asked.bits) + " bits";
    const auto begin = steady::now();
    found->stream_opened = stream->open(asked, false, false);
    const double took = ms_since(begin);
    if (!found->stream_opened) {
        found->judge("open", false, client + ": " + stream->error(), way_out(*found, rate));
        return;
    }
    found->judge("open", true, client + ", in " + ms_text(took),
                 "A client that opens waits so long, and beyond 1000 ms in vain: see what the "
                 "driver does then.",
                 took > kSlowOpenMs);
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
struct block_times {
    double frame_ms;
    double last_ms = 0;
    double lost_ms = 0;
    std::uint64_t last_position = 0;
    std::vector<double> steps{};

    /// The time of the newest frame, and that frame's place in the stream.
    void take(std::uint64_t position, const timespec& time) {
        const double ms =
            static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
        if (position > last_position && ms != last_ms) {
            const double frames_ms = static_cast<double>(position - last_position) * frame_ms;
            if (last_position != 0) {
                steps.push_back((ms - last_ms) / frames_ms * kBlockMs);
                lost_ms += ms - last_ms - frames_ms;
            }
            last_ms = ms;
            last_position = position;
        }
    }

    void add_row(const examination& found, const std::string& rate) {
        constexpr const char* kCheck = "timestamps";
        if (steps.empty()) {
            found.judge(kCheck, false, "they do not advance",
                        "Let the driver give a time with its position (see pcm_get_htimestamp).");
            return;
        }
        std::sort(steps.begin(), steps.end());
        const double usual = steps[steps.size() / 2];  // a gap leaves it alone
        const std::string seen = "a block advances them by " + ms_text(usual) + " (" +
                                 ms_text(steps.front()) + " to " + ms_text(steps.back()) + ")";
        const bool good = steps.front() > 0 && std::fabs(usual - kBlockMs) <= 1;
        const bool lost =
            good && lost_ms > kBlockMs / 2;  // one that is merely late makes up for it
        found.judge(kCheck, good, seen + (lost ? ", " + ms_text(lost_ms) + " too far" : ""),
                    lost           ? "Audio was lost, or the clock jumped: was the machine busy?"
                    : rate.empty() ? "Let the driver's times go with its frames."
                                   : rate,
                    lost);
    }
};

/// What of the second is heard, and why not more.
void add_sound(const examination& found, int peak, const std::string& rate) {
    const stream_plan plan = plan_stream(found.card, found.client);
    const std::string silence = found.card.known ? silence_fault(plan) : "";
    const std::string low = level_fault(found.card, plan);
    const std::string text =
        peak == 0 ? "a second of silence"
                  : number_text("peak %.1f dBFS in a second", 20 * std::log10(peak / 32768.0));
    const bool heard = silence.empty() || (plan.audio_share <= 0 && peak != 0);
    found.judge("sound", heard, text,
                !heard      ? silence + ": " + rate
                : peak == 0 ? "Play something and try again; see the mixing file, too."
                            : low + ": let the driver give words of 32 bits (format 10).",
                peak == 0 || !low.empty());
}

/// The stream begins with its first read, as for most clients. False without a block.
bool read_first(const examination& found, virtual_stream* stream, unsigned char* block) {
    constexpr const char* kCheck = "first block";
    const unsigned int frames = found.client.block_frames();
    const auto begin = steady::now();
    const bool got = stream->read(block, frames, kPatienceMs) > 0;
    const double first = ms_since(begin);
    const std::string error = stream->error();
    if (!got && first < kPatienceMs) {
        stream->close();  // some refuse to prepare one of which a read has failed
        if (stream->open(found.client, false) && stream->read(block, frames, kPatienceMs) > 0) {
            found.judge(
                kCheck, false, "only after pcm_prepare and pcm_start: " + error,
                "Programs that call neither, as tinycap, read nothing: take a later tinyalsa.");
            return true;
        }
    }
    found.judge(kCheck, got, (got ? "after " : error + ", for ") + ms_text(first),
                std::string("See what the card's driver waits for, and the library's log ") + kLog,
                first > kLateMs);
    return got;
}

void listen(const examination& found, virtual_stream* stream, const std::string& rate) {
    constexpr double kListenMs = 1024;
    constexpr double kLongestMs = 2 * kListenMs;  // of a card that is slow
    const stream_format& client = found.client;
    const std::size_t frame_bytes = std::size_t{client.channels} * client.bits / 8;
    std::vector<unsigned char> block(client.block_frames() * frame_bytes);
    if (!read_first(found, stream, block.data())) {
        found.skip({"timestamps", "pace", "sound"}, "a block");
        return;
    }
    block_times times{1e3 / client.rate};
    double heard = 0;
    double took = 0;
    std::uint64_t frames = client.block_frames();
    int got = 1;
    int peak = 0;
    const auto begin = steady::now();
    while (got > 0 && heard < kListenMs && took < kLongestMs) {
        unsigned int avail = 0;
        timespec time{};
        if (stream->newest(&avail, &time)) {
            times.take(frames + avail, time);
        }
        got = stream->read(block.data(), client.block_frames(), kPatienceMs);
        const auto read = static_cast<unsigned int>(std::max(got, 0));
        frames += read;
        heard += read * times.frame_ms;
        took = ms_since(begin);
        peak = std::max(peak, peak_of(block, read * frame_bytes, client.bits));
    }
    times.add_row(found, rate);
    if (got <= 0) {
        found.skip({"pace"}, "a stream that goes on");
        found.judge("sound", false, "the card stopped: " + stream->error(),
                    std::string("See the library's log ") + kLog);
        return;
    }
    found.judge("pace", std::fabs(heard - took) <= heard / 3,
                ms_text(heard) + " of audio in " + ms_text(took),
                rate.empty() ? "The card's clock does not run at the rate that it tells." : rate);
    add_sound(found, peak, rate);
}

}  // namespace

void check_stream(examination* found) {
    const std::string rate =
        found->card.known ? rate_fault(found->card.rate, found->client.rate) : "";
    virtual_stream stream;
    if (found->may_open) {
        open_stream(found, &stream, rate);
    } else {
        found->skip({"open"}, kLoadable);
    }
    if (found->stream_opened) {
        listen(*found, &stream, rate);
    } else {
        found->skip({"first block", "timestamps", "pace", "sound"}, "a stream");
    }
}
