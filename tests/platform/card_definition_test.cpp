// The card definition for the image against the host's card parser.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <tinyalsa/plugin.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

/// The text of an element's first child of that name.
std::string child(const std::string& element, const std::string& name) {
    std::ifstream file(ZEL_CARD_DEFINITION);
    const std::string xml(std::istreambuf_iterator<char>(file), {});
    const std::size_t own = xml.find("<" + element + ">");
    const std::size_t end = xml.find("</" + element + ">");
    const std::size_t begin = xml.find("<" + name + ">", own) + name.size() + 2;
    return begin < end ? xml.substr(begin, xml.find("</" + name + ">", begin) - begin) : "none";
}

/// What tinyalsa asks a card parser for.
TEST(card_definition, tells_tinyalsa_what_the_hosts_does) {
    void* parser = dlopen("libsndcardparser.so", RTLD_NOW);
    ASSERT_NE(parser, nullptr) << dlerror();
    const auto* host = static_cast<const snd_node_ops*>(dlsym(parser, "snd_card_ops"));
    EXPECT_EQ(child("card", "id"), "70");
    EXPECT_EQ(child("pcm-device", "id"), "70");
    void* card = host->open_card(70);
    void* device = host->get_pcm(card, 70);
    for (const auto& [element, node] :
         {std::pair{"pcm-device", device}, {"mixer", host->get_mixer(card)}}) {
        int type = 0;
        char* file = nullptr;
        EXPECT_EQ(host->get_int(node, "type", &type), 0);
        EXPECT_EQ(child(element, "type"), std::to_string(type));
        EXPECT_EQ(host->get_str(node, "so-name", &file), 0);
        EXPECT_EQ(child(element, "so-name"), std::filesystem::path(file).filename());
    }
    for (const char* direction : {"capture", "playback"}) {
        int there = -1;
        EXPECT_EQ(host->get_int(device, direction, &there), 0);
        EXPECT_EQ(child("props", direction), std::to_string(there));
    }
    dlclose(parser);
}

}  // namespace
