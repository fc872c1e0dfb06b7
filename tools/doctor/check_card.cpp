// The real card behind card 70: whether it is found, and whether its controls are what the
// converter and the mirrored mixer expect.

#include <dlfcn.h>
#include <tinyalsa/mixer.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iterator>
#include <memory>
#include <utility>

#include "examination.h"
#include "zel_card_names.h"
#include "zel_virtual_card.h"

namespace {

using mixer_handle = std::unique_ptr<mixer, void (*)(mixer*)>;

// The voice utility's functions take a std::string, so their names depend on the C++ library. They
// are looked up, not linked, so that a missing utility is told and doesn't keep the program from
// starting.
#ifdef _LIBCPP_VERSION
constexpr const char* kSearchName =
    "_Z17search_snd_deviceNSt3__112basic_stringIcNS_11char_traitsIcEENS_9allocatorIcEEEEPjS6_";
constexpr const char* kPathName =
    "_Z13get_json_pathRNSt3__112basic_stringIcNS_11char_traitsIcEENS_9allocatorIcEEEE10voice_json";
#else
constexpr const char* kSearchName =
    "_Z17search_snd_deviceNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEPjS5_";
constexpr const char* kPathName =
    "_Z13get_json_pathRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE10voice_json";
#endif
enum voice_json { VOICE_JSON_DELAY = 1, VOICE_JSON_MIXING = 2 };
using search_function = int (*)(std::string name, unsigned int* card, unsigned int* device);
using path_function = int (*)(std::string& path, voice_json kind);

std::string path_of(path_function ask, voice_json kind, const char* otherwise) {
    std::string path;
    return ask != nullptr && ask(path, kind) == 0 ? path : otherwise;
}

const char* kind_name(mixer_ctl_type kind) {
    constexpr const char* kNames[] = {"boolean", "integer", "enumerated", "bytes"};
    return kind <= MIXER_CTL_TYPE_BYTE ? kNames[kind] : "of an unknown kind";
}

std::string joined(const std::string& list, const std::string& next) {
    return list.empty() ? next : list + "; " + next;
}

std::string quoted(const char* name) {
    return '"' + std::string(name != nullptr ? name : "") + '"';
}

void check_values(examination* found, mixer* card) {
    constexpr const char* kCheck = "card controls";
    enum { kActive, kFormat, kChannels, kRate, kLayout };
    constexpr const char* kNames[] = {zel_card_names::kActiveControl,
                                      zel_card_names::kFormatControl,
                                      zel_card_names::kChannelsControl,
                                      zel_card_names::kRateControl, zel_card_names::kLayoutControl};
    std::string wrong;
    int values[std::size(kNames)] = {};
    for (std::size_t k = 0; k < std::size(kNames); ++k) {
        mixer_ctl* control = mixer_get_ctl_by_name(card, kNames[k]);
        const auto wanted = k == kLayout ? MIXER_CTL_TYPE_ENUM : MIXER_CTL_TYPE_INT;
        const auto kind = control != nullptr ? mixer_ctl_get_type(control) : wanted;
        if (control == nullptr) {
            wrong = joined(wrong, "there is no " + quoted(kNames[k]));
        } else if (kind == wanted || (k == kActive && kind == MIXER_CTL_TYPE_BOOL)) {
            values[k] = mixer_ctl_get_value(control, 0);
        } else {
            wrong = joined(
                wrong, quoted(kNames[k]) + " is " + kind_name(kind) + ", not " + kind_name(wanted));
        }
    }
    if (!wrong.empty()) {
        found->judge(kCheck, false, wrong,
                     "Let the driver offer these controls under these names.");
        return;
    }
    mixer_ctl* layout = mixer_get_ctl_by_name(card, zel_card_names::kLayoutControl);
    const auto item = static_cast<unsigned int>(values[kLayout]);
    const char* text = values[kLayout] < 0 ? nullptr : mixer_ctl_get_enum_string(layout, item);
    const std::string seen = "format " + std::to_string(values[kFormat]) + ", " +
                             std::to_string(values[kChannels]) + " channels, " +
                             std::to_string(values[kRate]) + " Hz, layout " + quoted(text);
    found->card.known = (values[kFormat] == 2 || values[kFormat] == 6 || values[kFormat] == 10) &&
                        values[kChannels] > 0 && values[kRate] > 0 && text != nullptr;
    found->judge(kCheck, found->card.known, seen,
                 "Let the driver give a format of 2, 6 or 10 (16, 24 or 32 bits), channels, a rate "
                 "in Hz and a layout's name.");
    found->card.channels = static_cast<unsigned int>(values[kChannels]);
    found->card.word_bits = values[kFormat] == 2 ? 16 : 32;
    found->card.low_bytes = values[kFormat] == 6;
    found->card.rate = static_cast<unsigned int>(values[kRate]);
    found->card.layout = text != nullptr ? text : "";
}

void check_numbers(examination* found, mixer* card) {
    constexpr const char* kCheck = "control numbers";
    if (found->active_number == 0) {
        found->skip({kCheck}, "the library's own word");
        return;
    }
    const std::pair<const char*, unsigned int> watched[] = {
        {zel_card_names::kActiveControl, found->active_number},
        {zel_card_names::kLayoutControl, found->layout_number}};
    std::string seen;
    bool right = true;
    for (const auto& [name, number] : watched) {
        const mixer_ctl* control = mixer_get_ctl_by_name(card, name);
        if (control == nullptr) {
            found->skip({kCheck}, quoted(name));
            return;
        }
        // tinyalsa gives numbers from 0 on, the events those of the kernel, from 1 on.
        const unsigned int is = mixer_ctl_get_id(control) + 1;
        right = right && is == number;
        seen = joined(seen, quoted(name) + " is number " + std::to_string(is));
        seen += is == number ? "" : ", the library watches " + std::to_string(number);
    }
    found->judge(kCheck, right, seen,
                 "Changes of the card are not followed. Put its numbers into "
                 "converter/zel_card_names.h and build the library.");
}

/// Why a control keeps card 70's mixer shut, or empty.
std::string not_mirrored(mixer_ctl* control) {
    const mixer_ctl_type kind = mixer_ctl_get_type(control);
    const char* name = mixer_ctl_get_name(control);
    if (kind != MIXER_CTL_TYPE_INT && kind != MIXER_CTL_TYPE_ENUM && kind != MIXER_CTL_TYPE_BYTE) {
        return quoted(name) + " is " + kind_name(kind);
    }
    for (unsigned int item = 0;
         kind == MIXER_CTL_TYPE_ENUM && item < mixer_ctl_get_num_enums(control); ++item) {
        if (mixer_ctl_get_enum_string(control, item) == nullptr) {
            return quoted(name) + " has no text for item " + std::to_string(item);
        }
    }
    return name != nullptr ? "" : "a control has no name";
}

void check_mirroring(examination* found, mixer* card) {
    std::string wrong;
    const unsigned int count = mixer_get_num_ctls(card);
    for (unsigned int k = 0; k < count; ++k) {
        const std::string why = not_mirrored(mixer_get_ctl(card, k));
        wrong = why.empty() ? wrong : joined(wrong, why);
    }
    found->judge("mirroring", wrong.empty(),
                 wrong.empty() ? "all " + std::to_string(count) + " controls of the card" : wrong,
                 "The mixer of card 70 stays shut. Let the driver make these controls integer, "
                 "enumerated or bytes.");
}

std::string control_node(const examination& found) {
    return "/dev/snd/controlC" + std::to_string(found.card_number);
}

/// What keeps this user from the real card's device nodes; empty when nothing does. A plugin has
/// none.
std::string denied_nodes(const examination& found) {
    std::string denied;
    const snd_node_ops* cards = found.definitions;
    void* card = cards != nullptr ? cards->open_card(found.card_number) : nullptr;
    void* node = card != nullptr ? cards->get_pcm(card, found.device) : nullptr;
    int type = 0;
    const bool plugin = node != nullptr && cards->get_int(node, "type", &type) == 0 && type == 1;
    if (card != nullptr) {
        cards->close_card(card);
    }
    for (const std::string& path :
         {control_node(found), "/dev/snd/pcmC" + std::to_string(found.card_number) + 'D' +
                                   std::to_string(found.device) + 'c'}) {
        if (access(path.c_str(), R_OK | W_OK) != 0 && !(plugin && errno == ENOENT)) {
            const char* error = std::strerror(errno);
            denied = joined(denied, path).append(": ").append(error);
        }
    }
    return denied;
}

}  // namespace

void check_voice_utility(examination* found) {
    constexpr const char* kCheck = "voice utility";
    void* utility = dlopen("libzel_vad_utility.so", RTLD_NOW);
    const char* error = utility == nullptr ? dlerror() : nullptr;
    const auto ask_path =
        utility == nullptr ? nullptr : reinterpret_cast<path_function>(dlsym(utility, kPathName));
    found->card.delay_path = path_of(ask_path, VOICE_JSON_DELAY, zel_card_names::kDelayFile);
    found->card.mixing_path = path_of(ask_path, VOICE_JSON_MIXING, zel_card_names::kMixingFile);
    const auto search = utility == nullptr
                            ? nullptr
                            : reinterpret_cast<search_function>(dlsym(utility, kSearchName));
    const std::string name = quoted(zel_card_names::kCaptureDevice);
    if (search == nullptr) {
        found->judge(kCheck, false,
                     error != nullptr ? error : std::string("it has no ") + kSearchName,
                     "Put libzel_vad_utility.so where the loader looks, built with the same C++ "
                     "library as this program.");
        return;
    }
    found->card_found =
        search(zel_card_names::kCaptureDevice, &found->card_number, &found->device) == 0;
    found->judge(
        kCheck, found->card_found,
        found->card_found ? name + " is card " + std::to_string(found->card_number) + ", device " +
                                std::to_string(found->device)
                          : "it knows no capture device " + name,
        "Let the driver call its loopback capture so; /proc/asound/pcm lists the devices.");
}

void check_card_controls(examination* found) {
    // A card of the kernel's needs no plugin.
    const bool may_open =
        found->card_found && (found->may_open || access(control_node(*found).c_str(), F_OK) == 0);
    const mixer_handle card(may_open ? mixer_open(found->card_number) : nullptr, mixer_close);
    found->card_opened = card != nullptr;
    if (card) {
        check_values(found, card.get());
        check_numbers(found, card.get());
        check_mirroring(found, card.get());
        return;
    }
    if (may_open) {
        const std::string error = std::strerror(errno);
        found->judge(
            "card controls", false,
            "the mixer of card " + std::to_string(found->card_number) + " does not open: " + error,
            denied_nodes(*found).empty() ? "See the log of the card's driver or plugin."
                                         : "See the row on rights.");
    } else {
        found->skip({"card controls"}, found->card_found ? kLoadable : "the card");
    }
    found->skip({"control numbers", "mirroring"}, "the card's mixer");
}

void check_virtual_mixer(examination* found) {
    constexpr const char* kCheck = "mixer of card 70";
    if (!found->may_open) {
        found->skip({kCheck}, kLoadable);
        return;
    }
    const mixer_handle opened(mixer_open(kZelVirtualCard), mixer_close);
    found->judge(kCheck, opened != nullptr,
                 opened ? std::to_string(mixer_get_num_ctls(opened.get())) + " controls"
                        : std::string("it does not open: ") + std::strerror(errno),
                 std::string("See the rows above, and the library's log ") + kLog);
}

void check_rights(examination* found) {
    constexpr const char* kCheck = "rights";
    if (!found->card_found) {
        found->skip({kCheck}, "the card");
        return;
    }
    const bool opens = found->card_opened && found->stream_opened;
    const std::string denied = opens ? "" : denied_nodes(*found);
    const std::string seen = opens            ? "the card opens"
                             : denied.empty() ? "no device node is closed"
                                              : denied;
    found->judge(kCheck, denied.empty(), seen + " for user " + std::to_string(getuid()),
                 denied.find(std::strerror(ENOENT)) != std::string::npos
                     ? "The kernel has no such card, or no node of it: is its driver bound? "
                       "/proc/asound/cards lists them."
                     : "Put the process that captures into the group audio and into the policy's "
                       "domain; run this as its user.");
}
