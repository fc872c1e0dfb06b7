#include "convert.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "audio_report.h"
#include "card_feeder.h"
#include "chain_report.h"
#include "channel_layout.h"
#include "interrupt.h"
#include "json_value.h"
#include "library_log.h"
#include "progress_bar.h"
#include "stage_coefficients.h"
#include "wav_info.h"
#include "wav_writer.h"
#include "zel_src_48k.h"

namespace {

constexpr unsigned int kPeriods = 128;  ///< as many blocks as card 70 lets a client buffer
constexpr unsigned int kBlocksAhead = kPeriods - 1;

/// The layout that a card with so many channels usually has, of those that the simulated card
/// knows.
std::string usual_layout(unsigned int channels) {
    const std::string layout = card_layout_of(channels);
    const std::vector<std::string>& known = card_layouts();
    return std::find(known.begin(), known.end(), layout) != known.end() ? layout : "7.1";
}

/// The card that has recorded the file.
card_setup card_for(const convert_options& options, const wav_info& in) {
    card_setup card = options.card;
    card.channels = card.channels != 0 ? card.channels : static_cast<int>(in.channels);
    card.rate = static_cast<int>(in.rate);
    card.bits = card.bits != 0 ? card.bits : static_cast<int>(in.bits);
    card.layout = !card.layout.empty() ? card.layout : usual_layout(in.channels);
    card.wav_file = options.in_file;
    card.once = true;
    return card;
}

/// How the file's frames are spread over blocks of 32 ms.
struct block_plan {
    std::uint64_t file_frames;
    std::uint64_t tail_frames;
    std::uint32_t card_block;
    std::uint32_t client_block;

    std::uint64_t blocks() const {
        return (file_frames + tail_frames + card_block - 1) / card_block;
    }
    std::uint64_t client_frames() const { return blocks() * client_block; }
    std::uint64_t silent_frames() const { return blocks() * card_block - file_frames; }
};

/// As long as something of the file can still be on its way: in the delays, in the filter.
std::uint64_t ringing_frames(const chain_report& chain) {
    const std::vector<std::uint32_t> delays =
        delays_of_file(chain.delay_path, chain.card_channels, chain.card_rate);
    return *std::max_element(delays.begin(), delays.end()) +
           (chain.converts_rate ? static_cast<std::uint32_t>(res_order) : 0);
}

struct job {
    const convert_options& options;
    wav_info in;
    chain_report chain;
    block_plan plan{};
    level_meter level;
    std::uint64_t done = 0;
    double elapsed = 0;
};

void print_summary(const job& j) {
    const stream_format& client = j.options.client;
    std::printf("%s: %llu frames, %.3f s, %u Hz, %u channels, %u bits\n", j.options.in_file.c_str(),
                static_cast<unsigned long long>(j.in.frames),
                static_cast<double>(j.in.frames) / j.in.rate, j.in.rate, j.in.channels, j.in.bits);
    print_chain(j.chain);
    std::printf("played as %llu blocks of 32 ms, the last %llu frames of them silence\n",
                static_cast<unsigned long long>(j.plan.blocks()),
                static_cast<unsigned long long>(j.plan.silent_frames()));
    std::printf("%s: %llu frames, %.3f s, %u Hz, %u channels, %u bits\n",
                j.options.out_file.c_str(), static_cast<unsigned long long>(j.done),
                static_cast<double>(j.done) / client.rate, client.rate, client.channels,
                client.bits);
    print_levels(j.level);
    std::printf("%.2f s taken, %.0f x real time\n", j.elapsed,
                static_cast<double>(j.done) / client.rate / j.elapsed);
}

void print_json(const job& j) {
    json_value in = json_value::object();
    in.set("file", j.options.in_file)
        .set("frames", j.in.frames)
        .set("rate", j.in.rate)
        .set("channels", j.in.channels)
        .set("bits", j.in.bits);
    json_value out = json_value::object();
    out.set("file", j.options.out_file)
        .set("frames", j.done)
        .set("rate", j.options.client.rate)
        .set("channels", j.options.client.channels)
        .set("bits", j.options.client.bits)
        .set("levels", levels_json(j.level));
    json_value all = json_value::object();
    all.set("in", std::move(in))
        .set("chain", chain_json(j.chain))
        .set("blocks", j.plan.blocks())
        .set("silent_frames", j.plan.silent_frames())
        .set("out", std::move(out))
        .set("seconds_taken", j.elapsed);
    all.print();
}

exit_code play(job& j, virtual_stream& stream, card_feeder& feeder, simulated_card& card) {
    wav_writer file;
    const stream_format& client = j.options.client;
    if (!file.open(j.options.out_file, client.rate, client.channels, client.bits)) {
        return fail(EXIT_WRITE, file.error());
    }
    const auto begin = std::chrono::steady_clock::now();
    const std::uint64_t total = j.plan.client_frames();
    std::vector<std::uint8_t> buffer(std::size_t{client.block_frames()} * client.channels *
                                     (client.bits / 8));
    progress_bar bar(static_cast<double>(total) / client.rate, !j.options.json);
    while (j.done < total && !interrupted()) {
        if (!feeder.feed(j.done, total)) {
            return fail(EXIT_READ, card.error());
        }
        const auto wanted = static_cast<std::uint32_t>(
            std::min<std::uint64_t>(client.block_frames(), total - j.done));
        const int got = stream.read(buffer.data(), wanted);
        if (got < 0) {
            return fail(EXIT_READ, stream.error());
        }
        const auto frames = static_cast<std::uint32_t>(got);
        j.level.add(buffer.data(), frames);
        if (!file.add(buffer.data(), frames)) {
            return fail(EXIT_WRITE, file.error());
        }
        j.done += frames;
        bar.show(static_cast<double>(j.done) / client.rate);
    }
    bar.clear();
    j.elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    if (!file.close()) {
        return fail(EXIT_WRITE, j.options.out_file + ": cannot be completed");
    }
    return j.done == total ? EXIT_OK : fail(EXIT_READ, "interrupted before the file's end");
}

void follow_log(job& j, held_library_log& log) {
    for (const library_message& message : log.take()) {
        j.chain.add(message);
        if (j.options.log) {
            print_library_message(message);
        }
    }
}

/// Tells why, with the library's own errors behind it.
exit_code fail_open(const std::string& text, const std::vector<library_message>& messages) {
    fail(EXIT_OPEN, text);
    explain_failure(messages);
    return EXIT_OPEN;
}

exit_code convert(job& j, simulated_card& card) {
    held_library_log log;
    virtual_stream stream;
    card_feeder feeder(&card, j.options.client.rate, j.in.rate, kBlocksAhead);
    if (!stream.open(j.options.client, 0, kPeriods, false)) {
        return fail_open(stream.error(), log.take());
    }
    follow_log(j, log);
    const double tail = j.options.tail_seconds;
    j.plan = {j.in.frames,
              tail < 0 ? ringing_frames(j.chain)
                       : static_cast<std::uint64_t>(std::llround(tail * j.in.rate)),
              j.in.rate / 1000 * 32, j.options.client.block_frames()};
    log.take();  // the probe's, no news
    const exit_code code = play(j, stream, feeder, card);
    follow_log(j, log);
    return code;
}

}  // namespace

exit_code run_convert(const convert_options& options) {
    print_library_log(options.log);
    job j{options, {}, {}, {}, level_meter(options.client.channels, options.client.bits)};
    std::string wrong = read_wav_info(options.in_file, &j.in);
    if (!wrong.empty()) {
        return fail(EXIT_OPEN, wrong);
    }
    std::error_code ignored;
    if (std::filesystem::equivalent(options.in_file, options.out_file, ignored)) {
        return fail(EXIT_USAGE, "the output would overwrite " + options.in_file);
    }
    simulated_card card;
    if (!card.apply(card_for(options, j.in)) || !card.step()) {
        return fail(EXIT_OPEN, card.error());
    }
    wrong = use_coefficient_paths(options.coefficients);
    if (!wrong.empty()) {
        return fail(EXIT_OPEN, wrong);
    }
    catch_interrupts();
    const exit_code code = convert(j, card);
    warn_of_fallbacks(j.chain);
    if (j.done > 0) {
        options.json ? print_json(j) : print_summary(j);
    }
    return code;
}
