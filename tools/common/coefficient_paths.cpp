#include "coefficient_paths.h"

#include <tinyalsa/mixer.h>

#include <memory>
#include <vector>

#include "zel_virtual_card.h"

namespace {

std::string use_file(mixer* handle, const char* name, const std::string& path) {
    if (path.empty()) {
        return "";
    }
    mixer_ctl* control = handle != nullptr ? mixer_get_ctl_by_name(handle, name) : nullptr;
    if (control == nullptr) {
        return "card 70 has no control \"" + std::string(name) + '"';
    }
    std::vector<char> bytes(mixer_ctl_get_num_values(control));
    if (path.size() >= bytes.size()) {
        return "the path is longer than " + std::to_string(bytes.size() - 1) +
               " characters, which is all that card 70 takes: " + path;
    }
    path.copy(bytes.data(), path.size());
    return mixer_ctl_set_array(control, bytes.data(), bytes.size()) == 0
               ? ""
               : "card 70 refuses the path " + path;
}

}  // namespace

std::string use_coefficient_paths(const coefficient_paths& files) {
    if (files.mixing.empty() && files.delay.empty()) {
        return "";
    }
    const std::unique_ptr<mixer, void (*)(mixer*)> handle(mixer_open(kZelVirtualCard), mixer_close);
    const std::string wrong = use_file(handle.get(), "FC mixing coef file", files.mixing);
    return wrong.empty() ? use_file(handle.get(), "FC delay coef file", files.delay) : wrong;
}
