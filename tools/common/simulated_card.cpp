#include "simulated_card.h"

#include <algorithm>
#include <vector>

#include "card_controls.h"
#include "channel_layout.h"
#include "command_end.h"
#include "zel_channel_mixing.h"

namespace {

constexpr unsigned int kSimulatedCard = 0;

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
        std::string places;
        for (const std::string& place : info.places) {
            places += ' ' + place;
        }
        warn("the file's channels are" + places + ", and are played as those of " + card.layout);
    }
    return card;
}

simulated_card::simulated_card() : handle(mixer_open(kSimulatedCard)) {}

bool simulated_card::fail(const std::string& text) {
    message = text;
    return false;
}

mixer_ctl* simulated_card::find(const std::string& control) {
    mixer_ctl* found = mixer_get_ctl_by_name(handle, control.c_str());
    if (found == nullptr) {
        fail(handle == nullptr ? "there is no simulated card"
                               : "card 0 has no control \"" + control + "\"");
    }
    return found;
}

bool simulated_card::set(const std::string& control, int value) {
    mixer_ctl* found = find(control);
    return found != nullptr &&
           (mixer_ctl_set_value(found, 0, value) == 0 ||
            fail("the card refuses " + std::to_string(value) + " for \"" + control + "\""));
}

bool simulated_card::choose(const std::string& control, const std::string& item) {
    mixer_ctl* found = find(control);
    return found != nullptr && (mixer_ctl_set_enum_by_string(found, item.c_str()) == 0 ||
                                fail("the card has no \"" + item + "\" for \"" + control + "\""));
}

int simulated_card::value(const std::string& control) {
    mixer_ctl* found = find(control);
    return found != nullptr ? mixer_ctl_get_value(found, 0) : -1;
}

bool simulated_card::apply(const card_setup& setup) {
    const int alsa_format = setup.bits == 16 ? 2 : setup.bits == 24 ? 6 : 10;
    return (setup.channels == 0 || set("PCM Slave Channels", setup.channels)) &&
           (setup.rate == 0 || set("PCM Slave Rate", setup.rate)) &&
           (setup.bits == 0 || set("PCM Slave Format", alsa_format)) &&
           (setup.layout.empty() || choose("PCM Channel Layout", setup.layout)) &&
           (setup.signal.empty() || choose("Loopback Signal", setup.signal)) &&
           (setup.wav_file.empty() || play_file(setup.wav_file, setup.once));
}

bool simulated_card::play_file(const std::string& path, bool once) {
    mixer_ctl* found = find("Sim WAV File");
    if (found == nullptr) {
        return false;
    }
    const std::string wrong = set_control_bytes(found, path);
    return wrong.empty() ? choose("Loopback Signal", once ? "WAV file once" : "WAV file")
                         : fail("\"Sim WAV File\": " + wrong);
}

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
