#include "chain_report.h"

#include <tinyalsa/mixer.h>

#include <algorithm>
#include <cstdio>
#include <memory>

#include "control_text.h"
#include "zel_card_names.h"
#include "zel_channel_delay.h"
#include "zel_virtual_card.h"

namespace {

constexpr int kAlsaS16 = 2;
constexpr int kAlsaS24 = 6;

unsigned int number_of(mixer* handle, const char* name) {
    mixer_ctl* control = mixer_get_ctl_by_name(handle, name);
    const int value = control != nullptr ? mixer_ctl_get_value(control, 0) : 0;
    return value > 0 ? static_cast<unsigned int>(value) : 0;
}

std::string text_of(mixer* handle, const char* name) {
    mixer_ctl* control = mixer_get_ctl_by_name(handle, name);
    return control != nullptr ? control_string(control) : "";
}

}  // namespace

card_state read_card_state() {
    const std::unique_ptr<mixer, void (*)(mixer*)> handle(mixer_open(kZelVirtualCard), mixer_close);
    card_state card;
    if (!handle) {
        return card;
    }
    const auto format = static_cast<int>(number_of(handle.get(), zel_card_names::kFormatControl));
    card.known = true;
    card.channels = number_of(handle.get(), zel_card_names::kChannelsControl);
    card.word_bits = format == kAlsaS16 ? 16 : 32;
    card.low_bytes = format == kAlsaS24;
    card.rate = number_of(handle.get(), zel_card_names::kRateControl);
    card.layout = text_of(handle.get(), zel_card_names::kLayoutControl);
    card.mixing_path = text_of(handle.get(), "FC mixing coef file");
    card.delay_path = text_of(handle.get(), "FC delay coef file");
    card.wav_file = text_of(handle.get(), "Sim WAV File");
    return card;
}

chain_report chain_for(const stream_format& client) {
    chain_report chain;
    chain.card = read_card_state();
    chain.client = client;
    const card_state& card = chain.card;
    chain.converts_rate = card.rate != client.rate;
    chain.truncates = card.word_bits == 32 && (client.bits != 32 || chain.converts_rate);
    const unsigned int inner_bits = chain.truncates ? 16 : card.word_bits;
    chain.pads = inner_bits == 16 && client.bits == 32;
    // The rate converter makes one frame of three, whatever the client's rate is.
    const unsigned int frames = card.rate / 1000 * 32 / (chain.converts_rate ? 3 : 1);
    const double share = static_cast<double>(frames) / client.block_frames();
    chain.audio_share = share == 1 || chain.pads ? share : 0;
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
    const double buffer_ms = 32.0 * blocks;
    const double period_ms = 1e3 * period / std::max(chain.card.rate, 1U);
    char text[160] = "";
    if (period_ms > buffer_ms) {
        std::snprintf(text, sizeof(text),
                      "the card delivers a period of %.1f ms at once, the client's buffer holds "
                      "%.0f ms: audio is lost all the time; take shorter periods, or more",
                      period_ms, buffer_ms);
    } else if (blocks == 1) {
        std::snprintf(text, sizeof(text),
                      "the client's buffer holds a single block, 32 ms: a read that comes late "
                      "loses audio; take two periods at least");
    }
    if (*text != '\0') {
        all->emplace_back(text);
    }
}

}  // namespace

std::vector<std::string> chain_report::warnings() const {
    std::vector<std::string> all;
    if (!mixing.used) {
        all.push_back("the mixing file is not in use (" + mixing.reason() + "): " +
                      (mixing.silent() ? "the output is silent"
                                       : "the channels pass unmixed, by the identity matrix"));
    }
    if (!delay.used) {
        all.push_back("the delay file is not in use (" + delay.reason() +
                      "): no channel is delayed");
    }
    if (audio_share < 1) {
        char part[48] = "all blocks are silence";
        if (audio_share > 0) {
            std::snprintf(part, sizeof(part), "%.0f %% of each block is silence",
                          100 * (1 - audio_share));
        }
        all.push_back("the converter has no way from the card's " + std::to_string(card.rate) +
                      " Hz to the client's rate: " + part);
    }
    if (client.bits == 24) {
        all.emplace_back(
            "the library has no samples of 24 bits: it delivers 16, and of each read the first "
            "half "
            "of the buffer is filled");
    }
    add_buffer_warning(*this, &all);
    if (card.low_bytes && truncates) {
        all.emplace_back(
            "a 24-bit card's samples lose their lower 16 bits and play 48 dB down; to play them at "
            "their level: --card-bits 32");
    }
    return all;
}
