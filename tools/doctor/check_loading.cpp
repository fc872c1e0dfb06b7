// From tinyalsa to the library: whether each finds the next, and whether they fit together.

#include <dlfcn.h>
#include <tinyalsa/pcm.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "examination.h"
#include "zel_library_mark.h"
#include "zel_virtual_card.h"

namespace {

constexpr const char* kLibrary = "libzel_tinyalsa_format_converter_plugin.so";
constexpr const char* kParser = "libsndcardparser.so";

std::string loader_error() {
    const char* text = dlerror();
    return text != nullptr ? text : "the loader gives no reason";
}

/// The file that a loaded function or table came from.
std::string file_of(const void* address) {
    Dl_info info{};
    return dladdr(address, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname
                                                                    : "this program";
}

const snd_node_ops* definitions_of(void* parser) {
    return static_cast<const snd_node_ops*>(parser != nullptr ? dlsym(parser, "snd_card_ops")
                                                              : nullptr);
}

/// One node of the definition, the PCM device or the mixer; what is wrong, or empty.
std::string wrong_in(const snd_node_ops& definitions, void* node, bool captures,
                     std::string* so_name) {
    int type = 0;
    int capture = 0;
    char* text = nullptr;
    if (node == nullptr) {
        return captures ? "card 70 has no PCM device 70" : "card 70 has no mixer";
    }
    const std::string what = captures ? "device 70 of card 70" : "the mixer of card 70";
    if (definitions.get_int(node, "type", &type) != 0 || type != 1) {
        return what + " is of type " + std::to_string(type) + ", not 1 (plugin)";
    }
    if (captures && (definitions.get_int(node, "capture", &capture) != 0 || capture != 1)) {
        return what + " does not capture";
    }
    if (definitions.get_str(node, "so-name", &text) != 0 || text == nullptr) {
        return what + " has no so-name";
    }
    *so_name = text;
    return so_name->substr(so_name->rfind('/') + 1) == kLibrary
               ? ""
               : what + " names " + text + ", not " + kLibrary;
}

std::string library_name(const examination& found) {
    return found.so_name.empty() ? kLibrary : found.so_name;
}

/// What the card parser says of card 70; its row has its turn later.
void look_up_definition(examination* found) {
    void* parser = dlopen(kParser, RTLD_NOW);
    const snd_node_ops* cards = definitions_of(parser);
    std::string& wrong = found->definition_fault;
    wrong = cards == nullptr ? loader_error() : "card 70 is not defined";
    void* card = cards != nullptr ? cards->open_card(kZelVirtualCard) : nullptr;
    if (card != nullptr) {
        wrong = wrong_in(*cards, cards->get_pcm(card, kZelVirtualDevice), true, &found->so_name);
        if (wrong.empty()) {
            wrong = wrong_in(*cards, cards->get_mixer(card), false, &found->mixer_so_name);
        }
        cards->close_card(card);
    }
    found->definition_remedy =
        parser == nullptr  ? "Put it where the loader looks, by LD_LIBRARY_PATH say."
        : cards == nullptr ? "That file is no card parser: take another."
                           : "Give the card parser the definition of card 70; a sample is "
                             "android/card-defs.xml.";
    if (parser != nullptr) {
        dlclose(parser);
    }
}

}  // namespace

std::string content_of(const std::string& path) {
    std::string text;
    std::FILE* file = std::fopen(path.c_str(), "rb");
    for (int byte = 0; file != nullptr && (byte = std::fgetc(file)) != EOF;) {
        text.push_back(static_cast<char>(byte));
    }
    if (file != nullptr) {
        std::fclose(file);
    }
    return text;
}

void check_tinyalsa(examination* found) {
    const std::string file = file_of(dlsym(RTLD_DEFAULT, "pcm_open"));
    const std::string content = content_of(file);
    if (content.empty()) {
        found->skip({"tinyalsa"}, "what " + file + " has in its file");
        return;
    }
    // Only a build with plugins has this text.
    found->may_open = content.find("no device (hw/plugin)") != std::string::npos;
    found->judge("tinyalsa", found->may_open,
                 file + (found->may_open ? " loads plugins" : " loads no plugins"),
                 "Build tinyalsa with -DTINYALSA_USES_PLUGINS; a program that links it statically "
                 "has a copy of its own.");
}

void check_definition(examination* found) {
    const std::string& wrong = found->definition_fault;
    found->may_open = found->may_open && wrong.empty();
    found->judge("card definition", wrong.empty(),
                 wrong.empty() ? "card 70, device 70: " + found->so_name : wrong,
                 found->definition_remedy);
}

void check_library(examination* found) {
    const std::string name = library_name(*found);
    found->library = dlopen(name.c_str(), RTLD_NOW);
    const std::string& mixer = found->mixer_so_name;
    const bool loads =
        found->library != nullptr && (mixer.empty() || dlopen(mixer.c_str(), RTLD_NOW) != nullptr);
    std::string wrong = loads ? "" : loader_error();
    for (const char* symbol : {"pcm_plugin_ops", "mixer_plugin_ops", "res_coeff", "res_order"}) {
        if (wrong.empty() && dlsym(found->library, symbol) == nullptr) {
            wrong = name + " exports no " + symbol;
        }
    }
    found->may_open = found->may_open && wrong.empty();
    found->judge("library", wrong.empty(),
                 wrong.empty() ? file_of(dlsym(found->library, "pcm_plugin_ops")) : wrong,
                 "Put the files as they were built where the loader looks, for programs of this "
                 "width (32 or 64 bits).");
}

void check_version(examination* found) {
    constexpr const char* kCheck = "version";
    look_up_definition(found);
    void* library = dlopen(library_name(*found).c_str(), RTLD_NOW);
    const void* table = library != nullptr ? dlsym(library, "pcm_plugin_ops") : nullptr;
    if (table == nullptr) {
        found->skip({kCheck}, "the library");
        return;
    }
    const std::string content = content_of(file_of(table));
    const std::size_t at = content.find(ZEL_LIBRARY_MARK);
    zel_library_mark mark;
    if (at > content.size() || sizeof(mark) > content.size() - at) {
        found->add(kCheck, verdict::warning, "the library's file does not tell it",
                   "It is older than this program, or another's: build it of the same sources.");
        return;
    }
    std::memcpy(&mark, content.data() + at, sizeof(mark));
    mark.text[sizeof(mark.text) - 1] = '\0';
    found->active_number = mark.active_number;
    found->layout_number = mark.layout_number;
    // tinyalsa got pcm_drain together with the operation of that name, its table's sixteenth. No
    // version number tells.
    const unsigned int wanted = dlsym(RTLD_DEFAULT, "pcm_drain") != nullptr ? 16 : 15;
    found->may_open = found->may_open && mark.operations == wanted;
    found->judge(kCheck, mark.operations == wanted,
                 std::string(mark.text + std::strlen(ZEL_LIBRARY_MARK)) + ", its table has " +
                     std::to_string(mark.operations) + " operations, tinyalsa's has " +
                     std::to_string(wanted),
                 "Build the library against the headers of the tinyalsa that it runs with.");
}

void check_other_programs(examination* found) {
    constexpr const char* kCheck = "other programs";
    const auto finds_card = [] {
        pcm_params* limits = pcm_params_get(kZelVirtualCard, kZelVirtualDevice, PCM_IN);
        pcm_params_free(limits);
        return limits != nullptr;
    };
    const bool finds = found->may_open && finds_card();
    found->definitions = definitions_of(dlopen(kParser, RTLD_NOW));
    if (!found->may_open) {
        found->skip({kCheck}, kLoadable);
        return;
    }
    found->may_open = finds || finds_card();  // as they are loaded now
    const std::string parser = file_of(found->definitions);
    found->judge(kCheck, finds,
                 std::string(finds ? "tinyalsa finds " : "tinyalsa does not find ") + kParser,
                 "export LD_LIBRARY_PATH=" + parser.substr(0, parser.rfind('/')) +
                     "${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}");
}
