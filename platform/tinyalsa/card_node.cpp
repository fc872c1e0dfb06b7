#include "card_node.h"

#include <dlfcn.h>

#include <utility>

namespace {

constexpr int kTypePlugin = 1;

std::string loader_error() {
    const char* text = dlerror();
    return text != nullptr ? text : "unknown error";
}

}  // namespace

bool card_node::fail(std::string text) {
    unload();
    message = std::move(text);
    return false;
}

bool card_node::load(kind what, unsigned int card, unsigned int device) {
    unload();
    parser = dlopen("libsndcardparser.so", RTLD_NOW);
    if (parser == nullptr) {
        return fail("no card definitions: " + loader_error());
    }
    definitions = static_cast<const snd_node_ops*>(dlsym(parser, "snd_card_ops"));
    if (definitions == nullptr) {
        return fail("no card definitions: " + loader_error());
    }
    card_handle = definitions->open_card(card);
    node = card_handle == nullptr ? nullptr
           : what == kind::pcm    ? definitions->get_pcm(card_handle, device)
                                  : definitions->get_mixer(card_handle);
    int type = 0;
    if (node == nullptr || definitions->get_int(node, "type", &type) != 0 || type != kTypePlugin) {
        return fail("no such plugin device");
    }
    char* file = nullptr;
    if (definitions->get_str(node, "so-name", &file) != 0 || file == nullptr) {
        return fail("the card definition names no plugin");
    }
    plugin = dlopen(file, RTLD_NOW);
    if (plugin == nullptr) {
        return fail("cannot load plugin: " + loader_error());
    }
    table = dlsym(plugin, what == kind::pcm ? "pcm_plugin_ops" : "mixer_plugin_ops");
    if (table == nullptr) {
        return fail("not such a plugin: " + loader_error());
    }
    return true;
}

void card_node::unload() {
    if (card_handle != nullptr && definitions != nullptr) {
        definitions->close_card(card_handle);
    }
    if (plugin != nullptr) {
        dlclose(plugin);
    }
    if (parser != nullptr) {
        dlclose(parser);
    }
    card_handle = nullptr;
    node = nullptr;
    table = nullptr;
    plugin = nullptr;
    definitions = nullptr;
    parser = nullptr;
}

bool card_node::offers(const char* direction) const {
    int value = 0;
    return definitions->get_int(node, direction, &value) == 0 && value != 0;
}

std::string card_node::name() const {
    char* text = nullptr;
    return definitions->get_str(node, "name", &text) == 0 && text != nullptr ? text : "";
}
