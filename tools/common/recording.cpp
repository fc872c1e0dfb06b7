#include "recording.h"

#include <algorithm>
#include <vector>

#include "zel_channel_delay.h"
#include "zel_channel_mixing.h"

/// Follows a file that the card plays through stages like the stream's own, with room for the sums
/// that the stream's width has no room for.
class overload_watch {
  public:
    overload_watch(const chain_report& chain, const std::string& file);
    /// The next frames of the card.
    void play(std::size_t frames);
    /// Mixed samples beyond full scale.
    std::uint64_t mixed() const { return overloads; }
    /// Warns of those, of input that was clipped, and of `full_scale` samples of the client behind
    /// a rate conversion.
    void tell(std::uint64_t full_scale) const;

  private:
    bool works = false;
    bool converts_rate;
    bool narrow;         ///< the stream's stages take 16 bits
    unsigned int shift;  ///< of the played samples: to 16 bits, or one that leaves 32-bit sums room
    unsigned int ins;
    unsigned int outs;
    sound_reader file;
    zel_channel_delay delay;
    zel_channel_mixing mixing;
    std::uint64_t overloads = 0;
};

overload_watch::overload_watch(const chain_report& chain, const std::string& path)
    : converts_rate(chain.converts_rate),
      narrow(chain.truncates || chain.card.word_bits == 16),
      shift((chain.card.low_bytes ? 8U : 0U) + (narrow ? 16U : 1U)),
      ins(chain.card.channels),
      outs(chain.client.channels),
      file(path) {
    thread_library_log ignored;
    pcm_config in{};
    in.channels = ins;
    in.rate = chain.card.rate;
    in.format = PCM_FORMAT_S32_LE;
    pcm_config out = in;
    out.channels = outs;
    works = file.channels() > 0 && delay.init(chain.card.delay_path, &in) == 0 &&
            mixing.init(chain.card.mixing_path, chain.card.layout, &in, &out) == 0;
}

void overload_watch::play(std::size_t frames) {
    if (!works) {
        return;
    }
    const std::vector<std::int32_t>& played = file.read(frames);
    const std::size_t channels = file.channels();
    std::vector<std::int32_t> words(frames * ins), delayed(words.size()), sums(frames * outs);
    for (std::size_t k = 0; k < words.size(); ++k) {
        words[k] = played[k / ins * channels + k % ins % channels] >> shift;
    }
    const auto bytes_of = [](const auto& block) {
        return static_cast<unsigned int>(block.size() * sizeof(block[0]));
    };
    delay.process(words.data(), delayed.data(), static_cast<int>(bytes_of(words)));
    mixing.process(delayed.data(), bytes_of(delayed), sums.data(), bytes_of(sums));
    const std::int32_t high = narrow ? 32767 : 1 << 30;
    const std::int32_t low = narrow ? -32768 : -high;
    for (const std::int32_t sum : sums) {
        overloads += sum < low || sum > high ? 1 : 0;
    }
}

void overload_watch::tell(std::uint64_t full_scale) const {
    if (file.clipped() > 0) {
        warn(fmt::format("{} samples of the file are beyond full scale; a card clips them",
                         file.clipped()));
    }
    if (overloads > 0) {
        warn(
            fmt::format("{} mixed samples are beyond full scale: 16-bit ones wrap round, 32-bit "
                        "ones clip; zel-fc check tells which weights are too large",
                        overloads));
    } else if (converts_rate && full_scale > 0) {
        warn(
            fmt::format("{} samples are at full scale behind the 48 to 16 kHz filter, which clips "
                        "there",
                        full_scale));
    }
}

void prepare_recording(simulated_card* card, card_setup setup, const played_sound& sound,
                       const coefficient_paths& coefficients, const std::string& out_file,
                       const std::vector<std::string>& inputs) {
    card->apply(sound.path().empty() ? complete(setup) : card_playing(setup, sound));
    use_coefficient_paths(coefficients);
    check_output(out_file, ".wav", inputs);
    catch_interrupts();
}

void recording::open(bool blocking, const std::string& sound) {
    if (!stream.open(client, blocking)) {
        throw command_failure(EXIT_OPEN, open_failure(stream.error(), client.rate));
    }
    chain = chain_for(client);
    overloads = sound.empty() ? nullptr : std::make_unique<overload_watch>(chain, sound);
}

exit_code recording::run(card_feeder* feeder, std::uint64_t total,
                         const std::function<void(const void*, std::uint32_t)>& each) try {
    wav_writer file(path, client.rate, client.channels, client.bits, total);
    const std::uint32_t block = client.block_frames();
    std::vector<std::uint8_t> buffer(std::size_t{block} * client.channels * (client.bits / 8));
    while (done < total && !interrupted()) {
        if (feeder != nullptr) {
            feeder->feed(done, total);
        }
        const auto wanted =
            static_cast<std::uint32_t>(std::min<std::uint64_t>(block, total - done));
        const int got = stream.read(buffer.data(), wanted);
        if (got < 0) {
            return fail(EXIT_READ, stream.error());
        }
        const auto frames = static_cast<std::uint32_t>(got);
        file.add(buffer.data(), frames);
        level.add(buffer.data(), frames);
        done += frames;
        if (overloads) {
            overloads->play(std::size_t{frames} * chain.card.rate / client.rate);
        }
        each(buffer.data(), frames);
    }
    file.close();
    return EXIT_OK;
} catch (const command_failure& failure) {
    return fail(failure.code, failure.what());
}

void recording::tell_warnings() const {
    for (const std::string& text : chain.warnings()) {
        warn(text);
    }
    if (overloads) {
        overloads->tell(level.at_full_scale());
    }
}

sound_info recording::info() const {
    return {client.channels, client.rate, client.bits, std::to_string(client.bits) + " bits", done};
}

json recording::summary() const {
    return {{"file", path},
            {"frames", done},
            {"seconds", seconds()},
            {"rate", client.rate},
            {"channels", client.channels},
            {"bits", client.bits},
            {"interrupted", interrupted()},
            {"levels", level.levels()},
            {"overloads", overloads ? overloads->mixed() : 0},
            {"chain", chain.parts()}};
}
