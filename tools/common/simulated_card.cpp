#include "simulated_card.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "channel_layout.h"
#include "command_end.h"
#include "zel_card_names.h"
#include "zel_channel_mixing.h"

namespace {

/// The names of a file's channels and of a layout's. Those at the back of one may be the sides of
/// the other, and so may those above.
bool same_places(std::vector<std::string> file, const std::vector<std::string>& layout) {
    const bool back = std::find(file.begin(), file.end(), "BL") != file.end();
    for (std::string& name : file) {
        if (name[0] == 'S' && !back) {
            name[0] = 'B';
        }
    }
    return std::equal(file.begin(), file.end(), layout.begin(), layout.end(),
                      [](const std::string& a, const std::string& b) {
                          return a == b || (a.size() == 3 && b.size() == 3 && a[0] == 'T' &&
                                            b[0] == 'T' && b[1] == 'S' && a[2] == b[2]);
                      });
}

}  // namespace

card_setup complete(card_setup card) {
    if (card.channels == 0 && !card.layout.empty()) {
        card.channels = static_cast<int>(zel_channel_mixing::channel_count(card.layout));
    } else if (card.channels != 0 && card.layout.empty()) {
        card.layout = card_layout_of(static_cast<unsigned int>(card.channels));
    }
    return card;
}

card_setup card_playing(card_setup card, const played_sound& sound) {
    const sound_info& info = sound.info();
    card.channels = card.channels != 0 ? card.channels : static_cast<int>(info.channels);
    card.bits = card.bits != 0 ? card.bits : static_cast<int>(info.bits);
    card.rate = card.rate != 0 ? card.rate : static_cast<int>(info.rate);
    card.wav_file = sound.path();
    const auto fits = [&](const std::string& layout) {
        return same_places(info.places, channel_names(layout));
    };
    if (card.layout.empty() && static_cast<int>(info.channels) == card.channels) {
        const auto& all = card_layouts();
        const auto found = std::find_if(all.begin(), all.end(), fits);
        card.layout = found != all.end() ? *found : "";
    }
    card = complete(card);
    if (info.channels > 2 && !info.places.empty() && !fits(card.layout)) {
        warn(fmt::format("the file's channels are {}, and are played as those of {}",
                         fmt::join(info.places, " "), card.layout));
    }
    return card;
}

void simulated_card::set(const char* control, const std::string& value) {
    mixer_ctl* found = handle ? mixer_get_ctl_by_name(handle.get(), control) : nullptr;
    const std::string wrong = !handle            ? "there is no simulated card"
                              : found == nullptr ? "card 0 has no such control"
                                                 : set_control(found, value);
    if (!wrong.empty()) {
        throw command_failure(EXIT_OPEN, fmt::format("\"{}\": {}", control, wrong));
    }
}

void simulated_card::apply(const card_setup& setup) {
    const int alsa_format = setup.bits == 16 ? 2 : setup.bits == 24 ? 6 : setup.bits == 32 ? 10 : 0;
    for (const auto& [control, number] :
         {std::pair{zel_card_names::kChannelsControl, setup.channels},
          {zel_card_names::kRateControl, setup.rate},
          {zel_card_names::kFormatControl, alsa_format}}) {
        number != 0 ? set(control, std::to_string(number)) : void();
    }
    const char* playing = setup.once ? "WAV file once" : "WAV file";
    for (const auto& [control, text] :
         {std::pair{zel_card_names::kLayoutControl, setup.layout},
          {"Loopback Signal", setup.signal},
          {"Sim WAV File", setup.wav_file},
          {"Loopback Signal", setup.wav_file.empty() ? "" : playing}}) {
        !text.empty() ? set(control, text) : void();
    }
}

card_feeder::card_feeder(simulated_card* fed, unsigned int client_rate, unsigned int card_rate,
                         unsigned int blocks_ahead)
    : card(fed),
      client_block(client_rate / 1000 * 32),
      card_block(card_rate / 1000 * 32),
      ahead(blocks_ahead) {}

card_feeder::~card_feeder() {
    try {
        card->run_by_clock();
    } catch (const command_failure&) {
        // A real card keeps its own.
    }
}

void card_feeder::feed(std::uint64_t done, std::uint64_t total) {
    const std::uint64_t wanted =
        std::min(done / client_block + ahead, (total + client_block - 1) / client_block);
    if (wanted > granted_blocks) {
        card->grant(static_cast<std::uint32_t>(wanted - granted_blocks) * card_block);
        granted_blocks = wanted;
    }
}
