#include "card_feeder.h"

#include <algorithm>

card_feeder::card_feeder(simulated_card* fed, unsigned int client_rate, unsigned int card_rate,
                         unsigned int blocks_ahead)
    : card(fed),
      client_block(client_rate / 1000 * 32),
      card_block(card_rate / 1000 * 32),
      ahead(blocks_ahead) {}

bool card_feeder::feed(std::uint64_t done, std::uint64_t total) {
    const std::uint64_t wanted =
        std::min(done / client_block + ahead, (total + client_block - 1) / client_block);
    if (wanted <= granted_blocks) {
        return true;
    }
    const auto blocks = static_cast<std::uint32_t>(wanted - granted_blocks);
    granted_blocks = wanted;
    return card->grant(static_cast<int>(blocks * card_block));
}
