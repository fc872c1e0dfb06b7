// libsndcardparser.so for tests: the true one's answers, but for what ZEL_ODD_CARDS says of card
// 70, such as "type=0" or "so-name=FILE"; "open=70", "pcm=0" and "mixer=0" stand for what is
// missing.

#include <dlfcn.h>
#include <tinyalsa/plugin.h>

#include <cstdlib>
#include <cstring>
#include <string>

namespace {

const snd_node_ops& true_cards() {
    static const auto* cards =
        static_cast<const snd_node_ops*>(dlsym(dlopen(ZEL_PARSER_FILE, RTLD_NOW), "snd_card_ops"));
    return *cards;
}

void* g_card = nullptr;  // 70, opened

/// What is said of a property; null when nothing is.
const char* said_of(const char* property) {
    const char* odd = std::getenv("ZEL_ODD_CARDS");
    const std::size_t length = std::strlen(property);
    return odd != nullptr && std::strncmp(odd, property, length) == 0 && odd[length] == '='
               ? odd + length + 1
               : nullptr;
}

void* open_card(unsigned int number) {
    const char* missing = said_of("open");
    if (missing != nullptr && number == std::strtoul(missing, nullptr, 10)) {
        return nullptr;
    }
    void* card = true_cards().open_card(number);
    g_card = number == 70 ? card : g_card;
    return card;
}

void close_card(void* card) {
    true_cards().close_card(card);
}

void* get_pcm(void* card, unsigned int id) {
    return card == g_card && said_of("pcm") ? nullptr : true_cards().get_pcm(card, id);
}

void* get_mixer(void* card) {
    return card == g_card && said_of("mixer") ? nullptr : true_cards().get_mixer(card);
}

bool is_odd(void* node) {
    return g_card != nullptr && node == true_cards().get_mixer(g_card);
}

int get_int(void* node, const char* property, int* value) {
    if (is_odd(node) && said_of(property)) {
        *value = std::atoi(said_of(property));
        return 0;
    }
    return true_cards().get_int(node, property, value);
}

int get_str(void* node, const char* property, char** value) {
    if (is_odd(node) && said_of(property)) {
        *value = const_cast<char*>(said_of(property));
        return 0;
    }
    return true_cards().get_str(node, property, value);
}

}  // namespace

extern "C" {
__attribute__((visibility("default"))) extern const snd_node_ops snd_card_ops;
const snd_node_ops snd_card_ops = {open_card, close_card, get_int, get_str, get_mixer, get_pcm, {}};
}
