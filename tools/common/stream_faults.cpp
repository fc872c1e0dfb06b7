#include "stream_faults.h"

#include <cstdio>

namespace {

constexpr unsigned int kLowestRate = 16000;  // the library's limits, Hz
constexpr unsigned int kHighestRate = 48000;

}  // namespace

stream_plan plan_stream(const card_state& card, const stream_format& client) {
    stream_plan plan;
    plan.converts_rate = card.rate != client.rate;
    plan.truncates = card.word_bits == 32 && (client.bits != 32 || plan.converts_rate);
    const unsigned int inner_bits = plan.truncates ? 16 : card.word_bits;
    plan.pads = inner_bits == 16 && client.bits == 32;
    // The rate converter makes one frame of three, whatever the client's rate is.
    const unsigned int frames = card.rate / 1000 * 32 / (plan.converts_rate ? 3 : 1);
    const double share = static_cast<double>(frames) / client.block_frames();
    plan.audio_share = share == 1 || (plan.pads && share < 1) ? share : 0;
    return plan;
}

std::string rate_fault(unsigned int card_rate, unsigned int client_rate) {
    if (client_rate < kLowestRate) {
        return "tinyalsa asks the library for 16000 Hz instead, and the client takes that for " +
               std::to_string(client_rate) + " Hz: ask for -r 16000";
    }
    if (card_rate == client_rate || (card_rate == 48000 && client_rate == 16000)) {
        return "";
    }
    const std::string card = std::to_string(card_rate) + " Hz";
    if (card_rate == 48000) {
        return "of a card at " + card +
               " the converter makes 48000 or 16000 Hz; ask for -r 48000 or "
               "-r 16000";
    }
    return "a card at " + card + " is delivered at that rate alone; " +
           (card_rate >= kLowestRate && card_rate <= kHighestRate
                ? "ask for -r " + std::to_string(card_rate)
                : "let it run at 48000 Hz");
}

std::string silence_fault(const stream_plan& plan) {
    if (plan.audio_share <= 0) {
        return "all blocks are silence";
    }
    char text[48] = "";
    if (plan.audio_share < 1) {
        std::snprintf(text, sizeof(text), "%.0f %% of each block is silence",
                      100 * (1 - plan.audio_share));
    }
    return text;
}

std::string level_fault(const card_state& card, const stream_plan& plan) {
    const std::string samples = "a 24-bit card's samples ";
    return !card.low_bytes  ? ""
           : plan.truncates ? samples + "lose their lower 16 bits and play 48 dB down"
                            : samples + "play 48 dB down, in words of 32 bits";
}
