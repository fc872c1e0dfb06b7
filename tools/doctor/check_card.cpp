// The real card behind card 70: whether it is found, and whether its controls are what the
// converter and the mirrored mixer expect.

#include <dlfcn.h>
#include <tinyalsa/mixer.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iterator>
#include <memory>

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
    switch (kind) {
        case MIXER_CTL_TYPE_BOOL:
            return "boolean";
        case MIXER_CTL_TYPE_INT:
            return "integer";
        case MIXER_CTL_TYPE_ENUM:
            return "enumerated";
        case MIXER_CTL_TYPE_BYTE:
            return "bytes";
        default:
            return "of an unknown kind";
    }
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
    const struct {
        const char* name;
        mixer_ctl_type kind;
    } wanted[] = {{zel_card_names::kActiveControl, MIXER_CTL_TYPE_INT},
                  {zel_card_names::kFormatControl, MIXER_CTL_TYPE_INT},
                  {zel_card_names::kChannelsControl, MIXER_CTL_TYPE_INT},
                  {zel_card_names::kRateControl, MIXER_CTL_TYPE_INT},
                  {zel_card_names::kLayoutControl, MIXER_CTL_TYPE_ENUM}};
    std::string wrong;
    int values[std::size(wanted)] = {};
    for (std::size_t k = 0; k < std::size(wanted); ++k) {
        mixer_ctl* control = mixer_get_ctl_by_name(card, wanted[k].name);
        if (control == nullptr) {
            wrong = joined(wrong, "there is no " + quoted(wanted[k].name));
        } else if (const mixer_ctl_type kind = mixer_ctl_get_type(control);
                   kind != wanted[k].kind &&
                   // Whether it is active is asked as a number, and a boolean is one.
                   (k != kActive || kind != MIXER_CTL_TYPE_BOOL)) {
            wrong = joined(wrong, quoted(wanted[k].name) + " is " + kind_name(kind) + ", not " +
                                      kind_name(wanted[k].kind));
        } else {
            values[k] = mixer_ctl_get_value(control, 0);
        }
    }
    if (!wrong.empty()) {
        found->fail(kCheck, wrong, "Let the driver offer these controls under these names.");
        return;
    }
    mixer_ctl* layout = mixer_get_ctl_by_name(card, zel_card_names::kLayoutControl);
    const char* text =
        values[kLayout] < 0
            ? nullptr
            : mixer_ctl_get_enum_string(layout, static_cast<unsigned int>(values[kLayout]));
    const std::string seen = "format " + std::to_string(values[kFormat]) + ", " +
                             std::to_string(values[kChannels]) + " channels, " +
                             std::to_string(values[kRate]) + " Hz, layout " + quoted(text);
    if ((values[kFormat] != 2 && values[kFormat] != 6 && values[kFormat] != 10) ||
        values[kChannels] < 1 || values[kRate] < 1 || text == nullptr) {
        found->fail(kCheck, seen,
                    "Let the driver give a format of 2, 6 or 10 (16, 24 or 32 bits), channels, a "
                    "rate in Hz and a layout's name.");
        return;
    }
    found->card_channels = static_cast<unsigned int>(values[kChannels]);
    found->card_rate = static_cast<unsigned int>(values[kRate]);
    found->low_bytes = values[kFormat] == 6;
    found->layout = text;
    found->pass(kCheck, seen);
}

void check_numbers(examination* found, mixer* card) {
    constexpr const char* kCheck = "control numbers";
    const struct {
        const char* name;
        unsigned int number;
    } watched[] = {{zel_card_names::kActiveControl, found->watched_numbers[0]},
                   {zel_card_names::kLayoutControl, found->watched_numbers[1]}};
    if (watched[0].number == 0) {
        found->skip(kCheck, "a library that tells which it watches");
        return;
    }
    std::string seen;
    bool right = true;
    for (const auto& one : watched) {
        const mixer_ctl* control = mixer_get_ctl_by_name(card, one.name);
        if (control == nullptr) {
            found->skip(kCheck, quoted(one.name));
            return;
        }
        // tinyalsa gives numbers from 0 on, the events those of the kernel, from 1 on.
        const unsigned int number = mixer_ctl_get_id(control) + 1;
        right = right && number == one.number;
        seen = joined(seen, quoted(one.name) + " is number " + std::to_string(number) +
                                (number == one.number
                                     ? ""
                                     : ", the library watches " + std::to_string(one.number)));
    }
    if (right) {
        found->pass(kCheck, seen);
    } else {
        found->fail(kCheck, seen,
                    "Changes of the card are not followed. Put its numbers into "
                    "converter/zel_card_names.h and build the library.");
    }
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
    constexpr const char* kCheck = "mirroring";
    std::string wrong;
    const unsigned int count = mixer_get_num_ctls(card);
    for (unsigned int k = 0; k < count; ++k) {
        const std::string why = not_mirrored(mixer_get_ctl(card, k));
        wrong = why.empty() ? wrong : joined(wrong, why);
    }
    if (wrong.empty()) {
        found->pass(kCheck, "all " + std::to_string(count) + " controls of the card");
    } else {
        found->fail(kCheck, wrong,
                    "The mixer of card 70 stays shut. Let the driver make these controls integer, "
                    "enumerated or bytes.");
    }
}

std::string node(const char* kind, unsigned int card, const std::string& rest) {
    return std::string("/dev/snd/") + kind + 'C' + std::to_string(card) + rest;
}

}  // namespace

void check_voice_utility(examination* found) {
    constexpr const char* kCheck = "voice utility";
    void* utility = dlopen("libzel_vad_utility.so", RTLD_NOW);
    const char* error = utility == nullptr ? dlerror() : nullptr;
    const auto ask_path =
        utility == nullptr ? nullptr : reinterpret_cast<path_function>(dlsym(utility, kPathName));
    found->delay_file = path_of(ask_path, VOICE_JSON_DELAY, zel_card_names::kDelayFile);
    found->mixing_file = path_of(ask_path, VOICE_JSON_MIXING, zel_card_names::kMixingFile);
    if (utility == nullptr) {
        found->fail(kCheck, error != nullptr ? error : "it cannot be loaded",
                    "Put libzel_vad_utility.so where the loader finds it.");
        return;
    }
    const auto search = reinterpret_cast<search_function>(dlsym(utility, kSearchName));
    const std::string name = quoted(zel_card_names::kCaptureDevice);
    if (search == nullptr) {
        found->fail(kCheck, std::string("it has no ") + kSearchName,
                    "Build the utility and the library with the same C++ library.");
    } else if (search(zel_card_names::kCaptureDevice, &found->card, &found->device) != 0) {
        found->fail(kCheck, "it knows no capture device " + name,
                    "Let the driver call its loopback capture so; /proc/asound/pcm lists the "
                    "devices.");
    } else {
        found->card_found = true;
        found->pass(kCheck, name + " is card " + std::to_string(found->card) + ", device " +
                                std::to_string(found->device));
    }
}

void check_card_controls(examination* found) {
    // A card of the kernel's needs no plugin.
    const bool may_open =
        found->card_found &&
        (found->may_open || access(node("control", found->card, "").c_str(), F_OK) == 0);
    const mixer_handle card(may_open ? mixer_open(found->card) : nullptr, mixer_close);
    if (card) {
        check_values(found, card.get());
        check_numbers(found, card.get());
        check_mirroring(found, card.get());
        return;
    }
    if (may_open) {
        found->fail("card controls",
                    "the mixer of card " + std::to_string(found->card) +
                        " does not open: " + std::strerror(errno),
                    "Let the user of the process that captures open " +
                        node("control", found->card, "") +
                        ", and see what the driver says (dmesg).");
    } else {
        found->skip("card controls", found->card_found ? kLoadable : "the card");
    }
    for (const char* check : {"control numbers", "mirroring"}) {
        found->skip(check, "the card's mixer");
    }
}

void check_virtual_mixer(examination* found) {
    constexpr const char* kCheck = "mixer of card 70";
    if (!found->may_open) {
        found->skip(kCheck, kLoadable);
        return;
    }
    const mixer_handle opened(mixer_open(kZelVirtualCard), mixer_close);
    if (opened) {
        found->pass(kCheck, std::to_string(mixer_get_num_ctls(opened.get())) + " controls");
    } else {
        found->fail(kCheck, std::string("it does not open: ") + std::strerror(errno),
                    "See the rows above, and the library's log.");
    }
}

void check_rights(examination* found) {
    constexpr const char* kCheck = "rights";
    if (!found->card_found) {
        found->skip(kCheck, "the card");
        return;
    }
    const std::string nodes[] = {
        node("control", found->card, ""),
        node("pcm", found->card, 'D' + std::to_string(found->device) + 'c')};
    std::string wrong;
    bool missing = false;
    for (const std::string& path : nodes) {
        if (access(path.c_str(), R_OK | W_OK) != 0) {
            missing = missing || errno == ENOENT;
            const char* error = std::strerror(errno);
            wrong = joined(wrong, path).append(": ").append(error);
        }
    }
    const std::string who = " for user " + std::to_string(getuid());
    if (is_plugin_card(found->card)) {
        found->pass(kCheck, "card " + std::to_string(found->card) +
                                " is a plugin, which needs no device nodes");
    } else if (missing) {
        found->fail(kCheck, wrong,
                    "Is the driver bound (/proc/asound/cards), and does ueventd or udev make its "
                    "nodes?");
    } else if (wrong.empty()) {
        found->pass(kCheck, nodes[0] + " and " + nodes[1] + " can be read and written" + who);
    } else {
        found->fail(kCheck, wrong + who,
                    "Put the process that captures into the group audio and into the policy's "
                    "domain; run this as its user.");
    }
}
