// Finding a capture device by its name, where tinyalsa would find it: among the kernel's devices
// first, then in the card definitions.

#include "search_lists.h"

#include <dlfcn.h>
#include <tinyalsa/plugin.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace {

constexpr unsigned int kMaxCards = 256;
constexpr unsigned int kMaxDevices = 256;

std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t");
    return first == std::string::npos
               ? ""
               : text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

bool captures_under(const snd_node_ops& definitions, void* node, const std::string& name) {
    char* text = nullptr;
    int capture = 0;
    return definitions.get_str(node, "name", &text) == 0 && text != nullptr && name == text &&
           definitions.get_int(node, "capture", &capture) == 0 && capture != 0;
}

}  // namespace

bool search_pcm_list(const char* list_path, const std::string& name, unsigned int* card,
                     unsigned int* device) {
    std::ifstream list(list_path);
    for (std::string line; std::getline(list, line);) {
        unsigned int card_number = 0;
        unsigned int device_number = 0;
        if (std::sscanf(line.c_str(), "%u-%u:", &card_number, &device_number) != 2) {
            continue;
        }
        std::istringstream fields(line.substr(line.find(':') + 1));
        bool named = false;
        bool captures = false;
        for (std::string field; std::getline(fields, field, ':');) {
            field = trimmed(field);
            named = named || field == name;
            captures = captures || field.rfind("capture ", 0) == 0;
        }
        if (named && captures) {
            *card = card_number;
            *device = device_number;
            return true;
        }
    }
    return false;
}

bool search_card_definitions(const std::string& name, unsigned int* card, unsigned int* device) {
    void* parser = dlopen("libsndcardparser.so", RTLD_NOW);
    const auto* definitions = parser == nullptr
                                  ? nullptr
                                  : static_cast<const snd_node_ops*>(dlsym(parser, "snd_card_ops"));
    bool found = false;
    for (unsigned int c = 0; definitions != nullptr && c < kMaxCards && !found; ++c) {
        void* handle = definitions->open_card(c);
        for (unsigned int d = 0; handle != nullptr && d < kMaxDevices && !found; ++d) {
            void* node = definitions->get_pcm(handle, d);
            found = node != nullptr && captures_under(*definitions, node, name);
            if (found) {
                *card = c;
                *device = d;
            }
        }
        if (handle != nullptr) {
            definitions->close_card(handle);
        }
    }
    if (parser != nullptr) {
        dlclose(parser);
    }
    return found;
}
