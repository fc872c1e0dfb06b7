#include "convert.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <vector>

#include "chain_report.h"
#include "level_meter.h"
#include "library_log.h"
#include "overload_watch.h"
#include "status_line.h"
#include "zel_src_48k.h"

namespace {

constexpr unsigned int kPeriods = 128;  ///< as many blocks as card 70 lets a client buffer
constexpr unsigned int kBlocksAhead = kPeriods - 1;

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
    const std::vector<unsigned int> delays = chain.delay_frames();
    const auto longest = std::max_element(delays.begin(), delays.end());
    return (longest == delays.end() ? 0 : *longest) +
           (chain.converts_rate ? static_cast<unsigned int>(res_order) : 0);
}

struct job {
    const convert_options& options;
    const sound_info& in;
    const std::string& played;  ///< what the card plays
    chain_report chain;
    block_plan plan{};
    level_meter level;
    std::uint64_t overloads = 0;
    std::uint64_t done = 0;
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();

    double elapsed() const {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    }

    sound_info out() const {
        const stream_format& client = options.client;
        return {client.channels, client.rate, client.bits, std::to_string(client.bits) + " bits",
                done};
    }
};

void print_summary(const job& j) {
    std::printf("%s\n", j.in.text(j.options.in_file).c_str());
    j.chain.print();
    std::printf("played as %llu blocks of 32 ms, the last %llu frames of them silence\n%s\n",
                static_cast<unsigned long long>(j.plan.blocks()),
                static_cast<unsigned long long>(j.plan.silent_frames()),
                j.out().text(j.options.out_file).c_str());
    j.level.print();
    const double taken = j.elapsed();
    std::printf("%s%.2f s taken, %.0f x real time\n", interrupted() ? "interrupted, " : "", taken,
                static_cast<double>(j.done) / j.options.client.rate / taken);
}

json_value sound_json(const std::string& path, const sound_info& sound) {
    json_value json = json_value::object();
    json.set("file", path)
        .set("frames", sound.frames)
        .set("rate", sound.rate)
        .set("channels", sound.channels)
        .set("encoding", sound.encoding);
    return json;
}

void print_json(const job& j) {
    json_value out = sound_json(j.options.out_file, j.out());
    out.set("levels", j.level.json());
    json_value all = json_value::object();
    all.set("in", sound_json(j.options.in_file, j.in))
        .set("chain", j.chain.json())
        .set("blocks", j.plan.blocks())
        .set("silent_frames", j.plan.silent_frames())
        .set("overloads", j.overloads)
        .set("interrupted", interrupted())
        .set("out", std::move(out))
        .set("seconds_taken", j.elapsed());
    all.print();
}

exit_code play(job& j, virtual_stream& stream, card_feeder& feeder, simulated_card& card) {
    wav_writer file;
    const stream_format& client = j.options.client;
    if (!file.open(j.options.out_file, client.rate, client.channels, client.bits,
                   j.plan.client_frames())) {
        return fail(EXIT_WRITE, file.error());
    }
    overload_watch watch(j.chain, j.played);
    const std::uint64_t total = j.plan.client_frames();
    std::vector<std::uint8_t> buffer(std::size_t{client.block_frames()} * client.channels *
                                     (client.bits / 8));
    status_line bar(!j.options.json);
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
        watch.play(std::size_t{frames} * j.plan.card_block / j.plan.client_block);
        if (!file.add(buffer.data(), frames)) {
            return fail(EXIT_WRITE, file.error());
        }
        j.done += frames;
        if (const std::size_t room = bar.room(); room > 0) {
            const double share = static_cast<double>(j.done) / static_cast<double>(total);
            bar.show((bar_text(share, 42) + ' ' + std::to_string(std::lround(share * 100)) + " %")
                         .substr(0, room));
        }
    }
    bar.clear();
    if (!file.close()) {
        return fail(EXIT_WRITE, file.error());
    }
    j.overloads = watch.mixed();
    for (const std::string& text : j.chain.warnings()) {
        warn(text);
    }
    watch.tell(j.level.at_full_scale());
    return j.done == total ? EXIT_OK : fail(EXIT_READ, "interrupted before the file's end");
}

exit_code convert(job& j, simulated_card& card) {
    virtual_stream stream;
    card_feeder feeder(&card, j.options.client.rate, j.in.rate, kBlocksAhead);
    stream_format client = j.options.client;
    client.period_count = kPeriods;
    if (!stream.open(client, false)) {
        return fail_to_open(stream.error(), client.rate);
    }
    j.chain = chain_for(j.options.client);
    const double tail = j.options.tail_seconds;
    j.plan = {j.in.frames,
              tail < 0 ? ringing_frames(j.chain)
                       : static_cast<std::uint64_t>(std::llround(tail * j.in.rate)),
              j.in.rate / 1000 * 32, j.options.client.block_frames()};
    return play(j, stream, feeder, card);
}

}  // namespace

exit_code run_convert(const convert_options& options) {
    print_library_log(options.log);
    played_sound sound;
    std::string wrong = sound.open(options.in_file);
    if (!wrong.empty()) {
        return fail(sound.path().empty() ? EXIT_OPEN : EXIT_READ, wrong);
    }
    card_setup setup = card_playing(options.card, sound);
    setup.once = true;
    simulated_card card;
    if (!card.apply(setup) || !card.step()) {
        return fail(EXIT_OPEN, card.error());
    }
    wrong = use_coefficient_paths(options.coefficients);
    if (!wrong.empty()) {
        return fail(EXIT_OPEN, wrong);
    }
    if (check_output(options.out_file, ".wav", {options.in_file}) != EXIT_OK) {
        return EXIT_USAGE;
    }
    catch_interrupts();
    job j{options, sound.info(), sound.path(),
          {},      {},           level_meter(options.client.channels, options.client.bits)};
    const exit_code code = convert(j, card);
    if (j.done > 0 && code != EXIT_WRITE) {
        options.json ? print_json(j) : print_summary(j);
    }
    return code;
}
