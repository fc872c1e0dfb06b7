// The host's card definitions, as tinyalsa asks for them: card 0 is the simulated sound card, card
// 70 the format converter. Plugins are taken from the folder this library lies in, if they are
// there, else from wherever the loader finds them.

#include <dlfcn.h>
#include <tinyalsa/plugin.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

namespace {

/// A PCM device or, with the same plugin, the mixer of its card.
struct node {
    const char* name;
    unsigned int device;
    int capture;
    const char* file;
    std::array<char, 512> so_name;
};

struct card {
    unsigned int number;
    node pcm;
};

std::array<card, 2> g_cards{{
    {0, {"Loopback Capture_I2S", 0, 1, "libzel_loopback_card.so", {}}},
    {70, {"Format Converter Capture", 70, 1, "libzel_tinyalsa_format_converter_plugin.so", {}}},
}};

/// Runs once, when the library is loaded: the nodes are read-only for every thread afterwards.
__attribute__((constructor)) void find_plugins() {
    Dl_info self{};
    std::string_view folder;
    if (dladdr(&g_cards, &self) != 0 && self.dli_fname != nullptr) {
        folder = self.dli_fname;
        const auto slash = folder.rfind('/');
        folder = slash == std::string_view::npos ? "" : folder.substr(0, slash + 1);
    }
    for (card& entry : g_cards) {
        std::array<char, 512>& so_name = entry.pcm.so_name;
        if (folder.size() + std::strlen(entry.pcm.file) < so_name.size()) {
            std::memcpy(so_name.data(), folder.data(), folder.size());
            std::snprintf(so_name.data() + folder.size(), so_name.size() - folder.size(), "%s",
                          entry.pcm.file);
        }
        if (folder.empty() || access(so_name.data(), R_OK) != 0) {
            std::snprintf(so_name.data(), so_name.size(), "%s", entry.pcm.file);
        }
    }
}

void* open_card(unsigned int number) {
    for (card& entry : g_cards) {
        if (entry.number == number) {
            return &entry;
        }
    }
    return nullptr;
}

void close_card(void* /*opened*/) {}

void* get_pcm(void* opened, unsigned int id) {
    auto* entry = static_cast<card*>(opened);
    return entry != nullptr && entry->pcm.device == id ? &entry->pcm : nullptr;
}

void* get_mixer(void* opened) {
    return opened != nullptr ? &static_cast<card*>(opened)->pcm : nullptr;
}

int get_int(void* opened, const char* property, int* value) {
    if (opened == nullptr || property == nullptr || value == nullptr) {
        return -EINVAL;
    }
    const std::string_view wanted = property;
    if (wanted == "type") {
        *value = 1;
    } else if (wanted == "capture") {
        *value = static_cast<node*>(opened)->capture;
    } else if (wanted == "playback") {
        *value = 0;
    } else {
        return -ENOENT;
    }
    return 0;
}

int get_str(void* opened, const char* property, char** value) {
    if (opened == nullptr || property == nullptr || value == nullptr) {
        return -EINVAL;
    }
    auto* entry = static_cast<node*>(opened);
    const std::string_view wanted = property;
    if (wanted == "so-name") {
        *value = entry->so_name.data();
    } else if (wanted == "name") {
        *value = const_cast<char*>(entry->name);
    } else {
        return -ENOENT;
    }
    return 0;
}

constexpr snd_node_ops make_ops() {
    snd_node_ops ops{};
    ops.open_card = open_card;
    ops.close_card = close_card;
    ops.get_int = get_int;
    ops.get_str = get_str;
    ops.get_mixer = get_mixer;
    ops.get_pcm = get_pcm;
    return ops;
}

}  // namespace

extern "C" {
__attribute__((visibility("default"))) extern const snd_node_ops snd_card_ops;
constinit const snd_node_ops snd_card_ops = make_ops();
}
