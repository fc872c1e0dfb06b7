#include "card_state.h"

#include <sys/mman.h>
#include <tinyalsa/mixer.h>
#include <unistd.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "card_controls.h"
#include "zel_card_names.h"
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

/// A file without an entry, for which mixing takes the identity matrix and the delay none.
const std::string& file_of_nothing() {
    static const std::string path = [] {
        const int file = memfd_create("none", MFD_CLOEXEC);
        return file >= 0 && write(file, "{}", 2) == 2 ? "/proc/self/fd/" + std::to_string(file)
                                                      : std::string();
    }();
    return path;
}

std::string use_file(mixer* handle, const char* name, const std::string& wanted) {
    const std::string& path = wanted == kNoFile ? file_of_nothing() : wanted;
    if (path.empty()) {
        return "";
    }
    mixer_ctl* control = handle != nullptr ? mixer_get_ctl_by_name(handle, name) : nullptr;
    if (control == nullptr) {
        return "card 70 has no control \"" + std::string(name) + '"';
    }
    const std::string wrong = set_control_bytes(control, path);
    return wrong.empty() ? "" : "card 70 and \"" + std::string(name) + "\": " + wrong;
}

}  // namespace

card_state read_card_state() {
    const mixer_owner handle = open_mixer(kZelVirtualCard);
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
    card.mixing_path = text_of(handle.get(), zel_card_names::kMixingPathControl);
    card.delay_path = text_of(handle.get(), zel_card_names::kDelayPathControl);
    card.wav_file = text_of(handle.get(), "Sim WAV File");
    return card;
}

std::string use_coefficient_paths(const coefficient_paths& files) {
    if (files.mixing.empty() && files.delay.empty()) {
        return "";
    }
    const mixer_owner handle = open_mixer(kZelVirtualCard);
    const std::string wrong =
        use_file(handle.get(), zel_card_names::kMixingPathControl, files.mixing);
    return wrong.empty() ? use_file(handle.get(), zel_card_names::kDelayPathControl, files.delay)
                         : wrong;
}

bool is_no_file(const std::string& path) {
    return !path.empty() && path == file_of_nothing();
}
