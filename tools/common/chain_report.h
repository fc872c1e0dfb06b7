#pragma once

#include <string>
#include <vector>

#include "card_state.h"
#include "json_output.h"
#include "stage_coefficients.h"
#include "stream_faults.h"
#include "virtual_stream.h"

/// The chain that a client of card 70 gets as the card is now. Worked out from the card's controls,
/// the client's format and the stages' own search, by the rules that the converter follows; so no
/// level of the log matters. A card that takes the client's rate though its control tells another
/// one is taken at the control's word.
struct chain_report : stream_plan {
    card_state card;
    stream_format client;
    taken_weights mixing;
    taken_delays delay;

    /// "32 to 16 bits > delay > mixing > 48 to 16 kHz > 16 to 32 bits", those that are there.
    std::string stages() const;
    /// "file", "identity" or "silence"; "file" or "bypass".
    const char* mixing_use() const;
    const char* delay_use() const { return delay.used ? "file" : "bypass"; }
    std::vector<unsigned int> delay_frames() const;
    /// A sentence for each thing that a listener would not expect.
    std::vector<std::string> warnings() const;
    /// The card's stream, the chain and the files in use, a line each.
    void print() const;
    json parts() const;
};
chain_report chain_for(const stream_format& client);

/// `rate_fault`, with what helps where a file is played.
std::string rate_advice(unsigned int card_rate, unsigned int client_rate);
/// A failed open: what the stream, the library and, where it is the rate, this tool say of it.
std::string open_failure(const std::string& error, unsigned int client_rate);
