#include "chain_report.h"

#include <algorithm>

#include "channel_layout.h"
#include "zel_channel_delay.h"

chain_report chain_for(const stream_format& client) {
    chain_report chain;
    chain.card = read_card_state();
    chain.client = client;
    const card_state& card = chain.card;
    static_cast<stream_plan&>(chain) = plan_stream(card, client);
    chain.mixing = take_weights(card.mixing_path, card.layout, card.channels, client.channels);
    chain.delay = take_delays(card.delay_path, card.channels, card.rate);
    return chain;
}

std::string chain_report::stages() const {
    std::string text = truncates ? "32 to 16 bits > delay > mixing" : "delay > mixing";
    text += converts_rate ? " > 48 to 16 kHz" : "";
    return text + (pads ? " > 16 to 32 bits" : "");
}

const char* chain_report::mixing_use() const {
    return mixing.used ? "file" : mixing.silent() ? "silence" : "identity";
}

std::vector<unsigned int> chain_report::delay_frames() const {
    std::vector<unsigned int> frames;
    for (const unsigned int ms : delay.ms) {
        frames.push_back(zel_channel_delay::delay_frames(ms, card.rate));
    }
    return frames;
}

namespace {

/// The client's buffer takes whole blocks; the card, whose period has as many frames as the
/// client's, gives a period at once.
void add_buffer_warning(const chain_report& chain, std::vector<std::string>* all) {
    const unsigned int block = chain.client.block_frames();
    const unsigned int period = chain.client.period_frames();
    const unsigned int blocks =
        chain.client.period_count * (period % block == 0 ? period / block : 1);
    const unsigned int buffer_ms = 32 * blocks;
    const double period_ms = 1e3 * period / std::max(chain.card.rate, 1U);
    if (period_ms > buffer_ms) {
        all->push_back(fmt::format(
            "the card delivers a period of {:.1f} ms at once, the client's buffer holds {} ms: "
            "audio is lost all the time; take shorter periods, or more",
            period_ms, buffer_ms));
    } else if (blocks == 1) {
        all->emplace_back(
            "the client's buffer holds a single block, 32 ms: a read that comes late loses audio; "
            "take two periods at least");
    }
}

}  // namespace

std::vector<std::string> chain_report::warnings() const {
    std::vector<std::string> all;
    if (!card.known) {
        return all;
    }
    constexpr const char* kNotUsed =
        "the {0} file is not in use ({1}): {2}; zel-fc check {3} tells more";
    if (!mixing.used && !is_no_file(card.mixing_path)) {
        all.push_back(fmt::format(kNotUsed, "mixing", mixing.reason(),
                                  mixing.silent()
                                      ? "the output is silent"
                                      : "the channels pass unmixed, by the identity matrix",
                                  card.mixing_path));
    }
    if (!delay.used && !is_no_file(card.delay_path)) {
        all.push_back(fmt::format(kNotUsed, "delay", delay.reason(), "no channel is delayed",
                                  card.delay_path));
    }
    if (const std::string silence = silence_fault(*this); !silence.empty()) {
        all.push_back(silence + ": " + rate_advice(card.rate, client.rate));
    }
    if (client.bits == 24) {
        all.emplace_back(
            "the library has no samples of 24 bits: it delivers 16, and of each read the first "
            "half of the buffer is filled");
    }
    add_buffer_warning(*this, &all);
    if (const std::string low = level_fault(card, *this); !low.empty()) {
        all.push_back(low + "; to play them at their level: --card-bits 32");
    }
    return all;
}

std::string rate_advice(unsigned int card_rate, unsigned int client_rate) {
    const std::string fault = rate_fault(card_rate, client_rate);
    return fault.empty() || card_rate == 48000
               ? fault
               : fault + ", or resample a file to 48 kHz first: sox IN.wav -r 48000 OUT.wav";
}

std::string open_failure(const std::string& error, unsigned int client_rate) {
    const card_state card = read_card_state();
    const std::string advice = card.known ? rate_advice(card.rate, client_rate) : "";
    return error + failure_reasons() + (advice.empty() ? "" : "\n    " + advice);
}

namespace {

std::string file_text(const char* use, const std::string& path, bool used) {
    return std::string(use) + (is_no_file(path) ? "" : (used ? " of " : " instead of ") + path);
}

json file_json(const char* use, const std::string& path, const taken_coefficients& taken) {
    json file{{"in_use", use}, {"file", is_no_file(path) ? kNoFile : path}};
    if (!taken.used && !is_no_file(path)) {
        file["reason"] = taken.reason();
    }
    return file;
}

}  // namespace

void chain_report::print() const {
    if (!card.known) {
        fmt::print("card and chain: not known, as card 70's mixer cannot be opened\n");
        return;
    }
    fmt::print("card: {}, {}-bit words, {} Hz, layout {}\nchain: {}\nmixing: {}\ndelay: {}\n",
               channels_text(card.channels), card.word_bits, card.rate, card.layout, stages(),
               file_text(mixing_use(), card.mixing_path, mixing.used),
               file_text(delay_use(), card.delay_path, delay.used));
}

json chain_report::parts() const {
    if (!card.known) {
        return json::object();
    }
    return {{"card",
             {{"channels", card.channels},
              {"layout", card.layout},
              {"word_bits", card.word_bits},
              {"rate", card.rate}}},
            {"stages",
             {{"truncation", truncates},
              {"delay", true},
              {"mixing", true},
              {"rate_conversion", converts_rate},
              {"padding", pads}}},
            {"mixing", file_json(mixing_use(), card.mixing_path, mixing)},
            {"delay", file_json(delay_use(), card.delay_path, delay)},
            {"audio_share", audio_share},
            {"warnings", warnings()}};
}
