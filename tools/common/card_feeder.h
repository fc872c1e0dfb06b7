#pragma once

#include <cstdint>

#include "simulated_card.h"

/// Lets the simulated card deliver block by block, as fast as the stream is read and never more
/// than the stream's buffer holds: no frame is lost, and what the client gets is the same every
/// time. Gives the card its clock back at its end; destroy it before the stream.
class card_feeder {
  public:
    /// Up to `blocks_ahead` blocks of 32 ms are granted before they are read.
    card_feeder(simulated_card* card, unsigned int client_rate, unsigned int card_rate,
                unsigned int blocks_ahead);
    ~card_feeder() { card->run_by_clock(); }
    card_feeder(const card_feeder&) = delete;
    card_feeder& operator=(const card_feeder&) = delete;

    /// Before a read, with the client's frames read so far and those wanted in all. False when the
    /// card refuses.
    bool feed(std::uint64_t done, std::uint64_t total);

  private:
    simulated_card* card;
    std::uint32_t client_block;
    std::uint32_t card_block;
    std::uint32_t ahead;
    std::uint64_t granted_blocks = 0;
};
