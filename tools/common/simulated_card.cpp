#include "simulated_card.h"

#include <vector>

#include "channel_layout.h"
#include "zel_channel_mixing.h"

namespace {
constexpr unsigned int kSimulatedCard = 0;
}

card_setup complete(card_setup card) {
    if (card.channels == 0 && !card.layout.empty()) {
        card.channels = static_cast<int>(zel_channel_mixing::channel_count(card.layout));
    } else if (card.channels != 0 && card.layout.empty()) {
        card.layout = card_layout_of(static_cast<unsigned int>(card.channels));
    }
    return card;
}

card_setup card_playing(card_setup card, const std::string& path, const sound_info& sound) {
    card.channels = card.channels != 0 ? card.channels : static_cast<int>(sound.channels);
    card.bits = card.bits != 0 ? card.bits : static_cast<int>(sound.bits);
    card.rate = card.rate != 0 ? card.rate : static_cast<int>(sound.rate);
    card.wav_file = path;
    return complete(card);
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
    std::vector<char> bytes(mixer_ctl_get_num_values(found));
    if (path.size() >= bytes.size()) {
        return fail("the path is longer than " + std::to_string(bytes.size() - 1) +
                    " characters: " + path);
    }
    path.copy(bytes.data(), path.size());
    return (mixer_ctl_set_array(found, bytes.data(), bytes.size()) == 0 ||
            fail("the card refuses the file's path")) &&
           choose("Loopback Signal", once ? "WAV file once" : "WAV file");
}
