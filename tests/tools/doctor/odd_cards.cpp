// libsndcardparser.so for tests: the true one's answers, but for what ZEL_ODD_CARDS says, of card
// 70 or of its nodes: "type=0", "so-name=FILE", "pcm=" or "mixer=" for none, "mixer-so=FILE",
// "open=NUMBER" for no card.

#include <dlfcn.h>
#include <tinyalsa/plugin.h>

#include <cstdlib>
#include <string>

namespace {

const snd_node_ops& true_cards() {
    static const auto* cards =
        static_cast<const snd_node_ops*>(dlsym(dlopen(ZEL_PARSER_FILE, RTLD_NOW), "snd_card_ops"));
    return *cards;
}

/// What is said of a property; null when nothing is.
const char* said_of(const std::string& property) {
    const char* odd = std::getenv("ZEL_ODD_CARDS");
    const bool said = odd != nullptr && std::string(odd).starts_with(property + '=');
    return said ? odd + property.size() + 1 : nullptr;
}

void* open_card(unsigned int number) {
    const char* missing = said_of("open");
    return missing != nullptr && missing == std::to_string(number) ? nullptr
                                                                   : true_cards().open_card(number);
}

bool is_odd(void* card) {
    return card == true_cards().open_card(70);
}

void* get_pcm(void* card, unsigned int id) {
    return is_odd(card) && said_of("pcm") ? nullptr : true_cards().get_pcm(card, id);
}

void* get_mixer(void* card) {
    return is_odd(card) && said_of("mixer") ? nullptr : true_cards().get_mixer(card);
}

int get_int(void* node, const char* property, int* value) {
    const int status = true_cards().get_int(node, property, value);
    if (node == true_cards().get_pcm(true_cards().open_card(70), 70) && said_of(property)) {
        *value = std::atoi(said_of(property));
    }
    return status;
}

int get_str(void* node, const char* property, char** value) {
    static int asked = 0;  // the device's name first, the mixer's then
    const int status = true_cards().get_str(node, property, value);
    if (node == true_cards().get_pcm(true_cards().open_card(70), 70)) {
        const char* said = ++asked == 2 ? said_of("mixer-so") : said_of(property);
        *value = said != nullptr ? const_cast<char*>(said) : *value;
    }
    return status;
}

}  // namespace

extern "C" {
__attribute__((visibility("default"))) extern const snd_node_ops snd_card_ops;
const snd_node_ops snd_card_ops = {open_card, [](void*) {}, get_int, get_str,
                                   get_mixer, get_pcm,      {}};
}
