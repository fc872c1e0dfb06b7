// zel-fc convert: runs a file through the virtual card of this process, over the simulated card, as
// fast as it goes: the same blocks, the same chain and the same ring buffer as on the device. Every
// frame of the file is played, then silence to the end of the block in which delays and filter have
// run out.

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>

#include "command_options.h"
#include "commands.h"
#include "library_log.h"
#include "recording.h"
#include "status_line.h"
#include "zel_src_48k.h"

namespace {

struct convert_options {
    std::string in_file;
    std::string out_file;
    stream_format client;
    /// Channels, bits and layout; what is 0 or empty is taken from the file, as is the rate.
    card_setup card;
    coefficient_paths coefficients;
    double tail_seconds = -1;  ///< silence after the file; negative: until nothing is left of it
    bool json = false;
    bool log = false;  ///< print the library's messages, too
};

constexpr unsigned int kPeriods = 128;  ///< as many blocks as card 70 lets a client buffer
constexpr unsigned int kBlocksAhead = kPeriods - 1;

/// As long as something of the file can still be on its way: in the delays, in the filter.
std::uint64_t ringing_frames(const chain_report& chain) {
    const std::vector<unsigned int> delays = chain.delay_frames();
    const auto longest = std::max_element(delays.begin(), delays.end());
    return (longest == delays.end() ? 0 : *longest) +
           (chain.converts_rate ? static_cast<unsigned int>(res_order) : 0);
}

exit_code run_convert(const convert_options& options) {
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
    recording record(client, options.out_file);
    card_feeder feeder(&card, client.rate, in.rate, kBlocksAhead);
    record.open(false, sound.path());
    const double tail = options.tail_seconds;
    const std::uint32_t card_block = in.rate / 1000 * 32;
    const std::uint64_t played =
        in.frames + (tail < 0 ? ringing_frames(record.chain)
                              : static_cast<std::uint64_t>(std::llround(tail * in.rate)));
    const std::uint64_t blocks = (played + card_block - 1) / card_block;
    const std::uint64_t silent_frames = blocks * card_block - in.frames;
    const std::uint64_t total = blocks * client.block_frames();
    status_line bar(!options.json);
    const exit_code recorded = record.run(&feeder, total, [&](const void*, std::uint32_t) {
        if (const std::size_t room = bar.room(); room > 0) {
            const double share = static_cast<double>(record.done) / static_cast<double>(total);
            bar.show(fmt::format("{} {:.0f} %", bar_text(share, 42), share * 100).substr(0, room));
        }
    });
    bar.clear();
    const exit_code code = record.done == total || recorded != EXIT_OK
                               ? recorded
                               : fail(EXIT_READ, "interrupted before the file's end");
    if (code == EXIT_WRITE || record.done == 0) {
        return code;
    }
    record.tell_warnings();
    const double taken =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    if (options.json) {
        json all = record.summary();
        all.update({{"in",
                     {{"file", options.in_file},
                      {"frames", in.frames},
                      {"rate", in.rate},
                      {"channels", in.channels},
                      {"encoding", in.encoding}}},
                    {"blocks", blocks},
                    {"silent_frames", silent_frames},
                    {"seconds_taken", taken}});
        print_json(all);
    } else {
        fmt::print("{}\n", in.text(options.in_file));
        record.chain.print();
        fmt::print("played as {} blocks of 32 ms, the last {} frames of them silence\n{}\n", blocks,
                   silent_frames, record.info().text(options.out_file));
        record.level.print();
        fmt::print("{}{:.2f} s taken, {:.0f} x real time\n", interrupted() ? "interrupted, " : "",
                   taken, record.seconds() / taken);
    }
    return code;
}

}  // namespace

void add_convert_command(CLI::App* app, tool_action* action) {
    auto options = std::make_shared<convert_options>();
    CLI::App* convert = app->add_subcommand(
        "convert", "Convert a WAV file as the device would, faster than real time");
    convert->add_option("in", options->in_file, "What the card captures: a WAV file, - for a pipe")
        ->required()
        ->check((CLI::ExistingFile | CLI::IsMember({"-"})).description("FILE"));
    convert->add_option("out", options->out_file, "WAV file to write: what the client gets")
        ->required();
    add_client_options(convert, &options->client);
    add_coefficient_options(convert, &options->coefficients);
    add_card_options(convert, &options->card, false, " (default: by the file)");
    convert
        ->add_option("--tail", options->tail_seconds,
                     "Seconds of silence after the file (default: until delays and filter have "
                     "run out)")
        ->check(number_from(0, 60));
    add_json_flag(convert, &options->json);
    add_log_flag(convert, &options->log);
    convert->footer(
        "The file runs through virtual card 70 itself, over a simulated card with the file's\n"
        "channels, rate and width: every sample is the one that the device delivers. The card\n"
        "delivers blocks of 32 ms; the last one is filled with silence. A 24-bit card has its\n"
        "samples in the low three bytes of a 32-bit word; the conversion to 16 bits keeps the\n"
        "word's upper half, so only the sample's top 8 bits. With --card-bits 32 a 24-bit file\n"
        "is played as 32-bit samples of the same level.\n"
        "Says on the standard error stream when a coefficient file is not what is in use.\n"
        "\n"
        "Examples:\n"
        "  zel-fc convert movie-7.1.wav voice.wav\n"
        "  zel-fc convert movie-5.1.wav out.wav --mixing new.json --rate 48000 --bits 32\n"
        "  zel-fc convert in.wav out.wav --card-layout 7.1.4 --json");
    convert->callback([=] { *action = [=] { return run_convert(*options); }; });
}
