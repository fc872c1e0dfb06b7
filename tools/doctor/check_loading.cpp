// From tinyalsa to the library: whether each finds the next, and whether they fit together.

#include <dlfcn.h>
#include <elf.h>
#include <link.h>
#include <tinyalsa/pcm.h>
#include <tinyalsa/plugin.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <new>
#include <string>
#include <vector>

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

std::string tinyalsa_file() {
    const void* open = dlsym(RTLD_DEFAULT, "pcm_open");
    return open != nullptr ? file_of(open) : "tinyalsa in this program";
}

std::string content_of(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

/// Size of an exported object in bytes, by the file's table of dynamic symbols; 0 when that does
/// not tell.
std::size_t exported_size(const std::string& path, const char* name) {
    const std::string file = content_of(path);
    const auto at = [&file](std::size_t offset, auto* record) {
        const bool inside = offset <= file.size() && sizeof(*record) <= file.size() - offset;
        if (inside) {
            std::memcpy(record, file.data() + offset, sizeof(*record));
        }
        return inside;
    };
    ElfW(Ehdr) header{};
    ElfW(Shdr) symbols{};
    ElfW(Shdr) names{};
    ElfW(Sym) symbol{};
    at(0, &header);
    for (unsigned int s = 0; s < header.e_shnum && symbols.sh_type != SHT_DYNSYM; ++s) {
        at(header.e_shoff + s * sizeof(symbols), &symbols);
    }
    if (symbols.sh_type != SHT_DYNSYM ||
        !at(header.e_shoff + symbols.sh_link * sizeof(names), &names)) {
        return 0;
    }
    for (std::size_t k = 0; k < symbols.sh_size / sizeof(symbol); ++k) {
        if (at(symbols.sh_offset + k * sizeof(symbol), &symbol) &&
            names.sh_offset + symbol.st_name < file.size() &&
            std::strcmp(file.c_str() + names.sh_offset + symbol.st_name, name) == 0) {
            return symbol.st_size;
        }
    }
    return 0;
}

#ifdef __GLIBC__
/// Whether a library that tinyalsa opens by that name is found for programs without help of their
/// own: where the loader looks for tinyalsa, or in its list of libraries.
bool others_find(const char* name) {
    void* tinyalsa = dlopen(tinyalsa_file().c_str(), RTLD_NOW | RTLD_NOLOAD);
    Dl_serinfo size{};
    if (tinyalsa == nullptr || dlinfo(tinyalsa, RTLD_DI_SERINFOSIZE, &size) != 0) {
        return true;  // it is part of this program
    }
    std::vector<std::max_align_t> room(size.dls_size / sizeof(std::max_align_t) + 1);
    auto* paths = new (room.data()) Dl_serinfo(size);
    bool found = content_of("/etc/ld.so.cache").find(std::string("/") + name) != std::string::npos;
    if (dlinfo(tinyalsa, RTLD_DI_SERINFO, paths) == 0) {
        for (unsigned int k = 0; k < paths->dls_cnt && !found; ++k) {
            const std::string folder = paths->dls_serpath[k].dls_name;
            found = access((folder + "/" + name).c_str(), R_OK) == 0;
        }
    }
    dlclose(tinyalsa);
    return found;
}
#endif

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

}  // namespace

void check_tinyalsa(examination* found) {
    // No kernel has a card of that number and no definition should, so that nothing is loaded.
    constexpr unsigned int kNoCard = 9999;
    pcm_config config{};
    config.channels = 2;
    config.rate = 48000;
    config.period_size = 1536;
    config.period_count = 4;
    const std::unique_ptr<pcm, int (*)(pcm*)> handle(pcm_open(kNoCard, 0, PCM_IN, &config),
                                                     pcm_close);
    const std::string error = handle ? pcm_get_error(handle.get()) : "";
    if (error.find("no device (hw/plugin)") != std::string::npos) {
        found->pass("tinyalsa", tinyalsa_file() + " loads plugins");
        return;
    }
    found->may_open = false;
    found->fail("tinyalsa", tinyalsa_file() + " loads no plugins (\"" + error + "\")",
                "Build tinyalsa with -DTINYALSA_USES_PLUGINS; a program that links it statically "
                "has a copy of its own.");
}

void check_definition(examination* found) {
    constexpr const char* kCheck = "card definition";
    constexpr const char* kDefine =
        "Give the card parser the definition of card 70; a sample is android/card-defs.xml.";
    void* parser = dlopen(kParser, RTLD_NOW);
    const void* table = parser != nullptr ? dlsym(parser, "snd_card_ops") : nullptr;
    if (parser != nullptr && table == nullptr) {
        found->may_open = false;
        found->fail(kCheck, std::string(kParser) + " has no snd_card_ops",
                    "Take a card parser that was made for tinyalsa.");
        return;
    }
    if (table == nullptr) {
        found->may_open = false;
        found->fail(kCheck, loader_error(),
                    std::string("Put ") + kParser +
                        " where the loader finds it (on a host with an "
                        "installed tinyalsa: LD_LIBRARY_PATH).");
        return;
    }
    const auto& definitions = *static_cast<const snd_node_ops*>(table);
    void* card = definitions.open_card(kZelVirtualCard);
    std::string wrong = "card 70 is not defined";
    if (card != nullptr) {
        wrong = wrong_in(definitions, definitions.get_pcm(card, kZelVirtualDevice), true,
                         &found->so_name);
        if (wrong.empty()) {
            wrong =
                wrong_in(definitions, definitions.get_mixer(card), false, &found->mixer_so_name);
        }
        definitions.close_card(card);
    }
#ifdef __GLIBC__
    if (wrong.empty() && !others_find(kParser)) {
        const std::string file = file_of(table);
        found->fail(kCheck, "this program finds " + file + ", others do not",
                    "export LD_LIBRARY_PATH=" + file.substr(0, file.rfind('/')) +
                        "${LD_LIBRARY_PATH:+:$LD_LIBRARY_PATH}");
        dlclose(parser);
        return;
    }
#endif
    dlclose(parser);
    if (wrong.empty()) {
        found->pass(kCheck, "card 70, device 70: " + found->so_name);
    } else {
        found->may_open = false;
        found->fail(kCheck, wrong, kDefine);
    }
}

bool is_plugin_card(unsigned int card) {
    void* parser = dlopen(kParser, RTLD_NOW);
    const void* table = parser != nullptr ? dlsym(parser, "snd_card_ops") : nullptr;
    return table != nullptr && static_cast<const snd_node_ops*>(table)->open_card(card) != nullptr;
}

void check_library(examination* found) {
    constexpr const char* kCheck = "library";
    const std::string name = found->so_name.empty() ? kLibrary : found->so_name;
    found->library = dlopen(name.c_str(), RTLD_NOW);
    if (found->library == nullptr || (!found->mixer_so_name.empty() &&
                                      dlopen(found->mixer_so_name.c_str(), RTLD_NOW) == nullptr)) {
        found->may_open = false;
        found->fail(kCheck, loader_error(),
                    "Put the file that the loader misses where it looks, for programs of this "
                    "width (32 or 64 bits).");
        return;
    }
    for (const char* symbol : {"pcm_plugin_ops", "mixer_plugin_ops", "res_coeff", "res_order"}) {
        if (dlsym(found->library, symbol) == nullptr) {
            found->may_open = false;
            found->fail(kCheck, name + " exports no " + symbol,
                        "Take the library as it was built, with its version script.");
            return;
        }
    }
    const std::string file = file_of(dlsym(found->library, "pcm_plugin_ops"));
    const std::string content = content_of(file);
    zel_library_mark mark;
    const std::size_t at = content.find(kZelMarkText);
    if (at == std::string::npos || content.size() - at < sizeof(mark)) {
        found->pass(kCheck, file + ", of an unknown version");
        return;
    }
    std::memcpy(&mark, content.data() + at, sizeof(mark));
    found->watched_numbers[0] = mark.active_number;
    found->watched_numbers[1] = mark.layout_number;
    found->pass(kCheck, file + ", version " + (mark.text + std::strlen(kZelMarkText)));
}

void check_version(examination* found) {
    constexpr const char* kCheck = "version";
    const void* table =
        found->library != nullptr ? dlsym(found->library, "pcm_plugin_ops") : nullptr;
    if (table == nullptr) {
        found->skip(kCheck, "the library");
        return;
    }
    // tinyalsa got pcm_drain together with the operation of that name, its table's sixteenth. No
    // version number tells.
    const std::size_t wanted = dlsym(RTLD_DEFAULT, "pcm_drain") != nullptr ? 16 : 15;
    const std::size_t has = exported_size(file_of(table), "pcm_plugin_ops") / sizeof(void*);
    const std::string seen = "the library's table has " + std::to_string(has) +
                             " operations, tinyalsa's has " + std::to_string(wanted);
    if (has == 0) {
        found->skip(kCheck, "a symbol table in its file");
    } else if (has == wanted) {
        found->pass(kCheck, seen);
    } else {
        found->may_open = false;
        found->fail(kCheck, seen,
                    "Build the library against the headers of the tinyalsa that it runs with.");
    }
}
