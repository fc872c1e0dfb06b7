#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "chain_report.h"
#include "command_end.h"
#include "level_meter.h"
#include "simulated_card.h"
#include "sound_file.h"
#include "virtual_stream.h"

/// Sets up the simulated card, by a file's channels, rate and width where it plays one, and the
/// coefficient files, and looks that no file is written over. Throws.
void prepare_recording(simulated_card* card, card_setup setup, const played_sound& sound,
                       const coefficient_paths& coefficients, const std::string& out_file,
                       const std::vector<std::string>& inputs);

class overload_watch;  // of the samples that the mix takes beyond full scale

/// What a client of card 70 gets, into a WAV file.
struct recording {
    recording(const stream_format& asked, const std::string& out_file)
        : client(asked), path(out_file), level(asked.channels, asked.bits) {}

    /// Opens the stream. Overloads are counted of the first pass of `sound`, a file that the card
    /// plays; empty: none. Throws.
    void open(bool blocking, const std::string& sound);
    /// Until so many frames of the client have come, or an interrupt. `feeder`, when not null,
    /// makes the card deliver. `each` gets each block's frames once they are written. Failures are
    /// told; the file is whole up to there.
    exit_code run(card_feeder* feeder, std::uint64_t total,
                  const std::function<void(const void* frames, std::uint32_t count)>& each);
    /// Warns of what a listener would not expect.
    void tell_warnings() const;
    /// The file that it has become.
    sound_info info() const;
    json summary() const;
    double seconds() const { return static_cast<double>(done) / client.rate; }

    stream_format client;
    std::string path;
    virtual_stream stream{};
    chain_report chain{};
    std::shared_ptr<overload_watch> overloads{};
    level_meter level;
    std::uint64_t done = 0;
};
