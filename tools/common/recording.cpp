#include "recording.h"

#include <algorithm>
#include <vector>

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
