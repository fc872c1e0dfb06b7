#include "convert.h"

#include <algorithm>
#include <chrono>
#include <cmath>

#include "chain_report.h"
#include "library_log.h"
#include "overload_watch.h"
#include "recording.h"
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
    const auto longest = std::ranges::max_element(delays);
    return (longest == delays.end() ? 0 : *longest) +
           (chain.converts_rate ? static_cast<unsigned int>(res_order) : 0);
}

json sound_json(const std::string& path, const sound_info& sound) {
    return {{"file", path},
            {"frames", sound.frames},
            {"rate", sound.rate},
            {"channels", sound.channels},
            {"encoding", sound.encoding}};
}

}  // namespace

exit_code run_convert(const convert_options& options) try {
    const auto begin = std::chrono::steady_clock::now();
    print_library_log(options.log);
    const played_sound sound(options.in_file);
    const sound_info& in = sound.info();
    card_setup setup = options.card;
    setup.once = true;
    simulated_card card;
    prepare_recording(&card, setup, sound, options.coefficients, options.out_file,
                      {options.in_file});
    card.step();
    stream_format client = options.client;
    client.period_count = kPeriods;
    virtual_stream stream;
    card_feeder feeder(&card, client.rate, in.rate, kBlocksAhead);
    if (!stream.open(client, false)) {
        throw command_failure(EXIT_OPEN, open_failure(stream.error(), client.rate));
    }
    const chain_report chain = chain_for(options.client);
    const double tail = options.tail_seconds;
    const block_plan plan{
        in.frames,
        tail < 0 ? ringing_frames(chain) : static_cast<std::uint64_t>(std::llround(tail * in.rate)),
        in.rate / 1000 * 32, client.block_frames()};
    overload_watch watch(chain, sound.path());
    recording record(options.client, options.out_file);
    status_line bar(!options.json);
    const std::uint64_t total = plan.client_frames();
    const exit_code recorded =
        record.run(&stream, &feeder, total, [&](const void*, std::uint32_t frames) {
            watch.play(std::size_t{frames} * plan.card_block / plan.client_block);
            if (const std::size_t room = bar.room(); room > 0) {
                const double share = static_cast<double>(record.done) / static_cast<double>(total);
                bar.show(
                    fmt::format("{} {:.0f} %", bar_text(share, 42), share * 100).substr(0, room));
            }
        });
    bar.clear();
    if (recorded == EXIT_WRITE || record.done == 0) {
        return recorded;
    }
    for (const std::string& text : chain.warnings()) {
        warn(text);
    }
    watch.tell(record.level.at_full_scale());
    const double taken =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    if (options.json) {
        json out = sound_json(options.out_file, record.info());
        out["levels"] = record.level.levels();
        print_json({{"in", sound_json(options.in_file, in)},
                    {"chain", chain.parts()},
                    {"blocks", plan.blocks()},
                    {"silent_frames", plan.silent_frames()},
                    {"overloads", watch.mixed()},
                    {"interrupted", interrupted()},
                    {"out", out},
                    {"seconds_taken", taken}});
    } else {
        fmt::print("{}\n", in.text(options.in_file));
        chain.print();
        fmt::print("played as {} blocks of 32 ms, the last {} frames of them silence\n{}\n",
                   plan.blocks(), plan.silent_frames(), record.info().text(options.out_file));
        record.level.print();
        fmt::print("{}{:.2f} s taken, {:.0f} x real time\n", interrupted() ? "interrupted, " : "",
                   taken, record.seconds() / taken);
    }
    return record.done == total || recorded != EXIT_OK
               ? recorded
               : fail(EXIT_READ, "interrupted before the file's end");
} catch (const command_failure& failure) {
    return fail(failure.code, failure.what());
}
