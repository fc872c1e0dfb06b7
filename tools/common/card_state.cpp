#include "card_state.h"

#include <sys/mman.h>
#include <tinyalsa/mixer.h>
#include <unistd.h>

#include "card_controls.h"
#include "command_end.h"
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

/// An item's name, or bytes up to the first zero, whatever they are.
std::string text_of(mixer* handle, const char* name) {
    mixer_ctl* control = mixer_get_ctl_by_name(handle, name);
    if (control == nullptr || mixer_ctl_get_type(control) != MIXER_CTL_TYPE_BYTE) {
        return control != nullptr ? control_text(control) : "";
    }
    std::string bytes(mixer_ctl_get_num_values(control), '\0');
    return mixer_ctl_get_array(control, bytes.data(), bytes.size()) == 0 ? bytes.c_str() : "";
}

/// A file without an entry, for which mixing takes the identity matrix and the delay none.
const std::string& file_of_nothing() {
    static const std::string path = memory_file("{}");
    return path;
}

void use_file(const char* name, const std::string& wanted) {
    const std::string& path = wanted == kNoFile ? file_of_nothing() : wanted;
    if (path.empty()) {
        return;
    }
    const mixer_owner handle = open_mixer(kZelVirtualCard);
    mixer_ctl* control = handle ? mixer_get_ctl_by_name(handle.get(), name) : nullptr;
    const std::string wrong =
        control != nullptr ? set_control(control, path) : "card 70 has no such control";
    if (!wrong.empty()) {
        throw command_failure(EXIT_OPEN, fmt::format("\"{}\": {}", name, wrong));
    }
}

}  // namespace

std::string memory_file(const std::string& text) {
    const int file = memfd_create("memory", MFD_CLOEXEC);
    const bool kept = write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    return kept ? fmt::format("/proc/self/fd/{}", file) : "";
}

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

void use_coefficient_paths(const coefficient_paths& files) {
    use_file(zel_card_names::kMixingPathControl, files.mixing);
    use_file(zel_card_names::kDelayPathControl, files.delay);
}

bool is_no_file(const std::string& path) {
    return !path.empty() && path == file_of_nothing();
}
