#include "simulated_card.h"

#include <filesystem>
#include <vector>

namespace {
constexpr unsigned int kSimulatedCard = 0;
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

bool simulated_card::play_file(const std::string& path) {
    mixer_ctl* found = find("Sim WAV File");
    if (found == nullptr) {
        return false;
    }
    std::vector<char> bytes(mixer_ctl_get_num_values(found));
    const std::string full = std::filesystem::absolute(path).string();
    if (full.size() >= bytes.size()) {
        return fail("the path is too long: " + full);
    }
    full.copy(bytes.data(), full.size());
    return (mixer_ctl_set_array(found, bytes.data(), bytes.size()) == 0 ||
            fail("the card refuses the file's path")) &&
           choose("Loopback Signal", "WAV file");
}
