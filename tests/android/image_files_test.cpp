// The files for the image against each other and against what the library looks for.

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <tinyalsa/plugin.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>

#include "project_file.h"

using zel_test::content;
using zel_test::kRoot;

namespace {

/// The paths that the library falls back to, as its source names them.
std::set<std::string> default_paths() {
    const std::string source = content(kRoot + "/converter/zel_format_converter_api.cpp");
    static const std::regex path("\"(/vendor/[^\"]*)\"");
    return {std::sregex_token_iterator(source.begin(), source.end(), path, 1), {}};
}

/// The text of an element's child in the card definition.
std::string child(const std::string& element, const std::string& name) {
    const std::string xml = content(kRoot + "/android/card-defs.xml");
    const std::size_t begin = xml.find("<" + element + ">");
    const std::string own = xml.substr(begin, xml.find("</" + element + ">") - begin);
    std::smatch found;
    return std::regex_search(own, found, std::regex("<" + name + ">([^<]*)</" + name + ">"))
               ? found[1].str()
               : "none";
}

/// What tinyalsa asks a card parser for, answered by the host's and by the device's file.
TEST(card_definition, tells_tinyalsa_what_the_hosts_does) {
    void* parser = dlopen("libsndcardparser.so", RTLD_NOW);
    ASSERT_NE(parser, nullptr) << dlerror();
    const auto* host = static_cast<const snd_node_ops*>(dlsym(parser, "snd_card_ops"));
    EXPECT_EQ(child("card", "id"), "70");
    EXPECT_EQ(child("pcm-device", "id"), "70");
    void* card = host->open_card(70);
    const std::map<std::string, void*> nodes{{"pcm-device", host->get_pcm(card, 70)},
                                             {"mixer", host->get_mixer(card)}};
    for (const auto& [element, node] : nodes) {
        int type = 0;
        char* file = nullptr;
        EXPECT_EQ(host->get_int(node, "type", &type), 0);
        EXPECT_EQ(child(element, "type"), std::to_string(type));
        EXPECT_EQ(host->get_str(node, "so-name", &file), 0);
        EXPECT_EQ(child(element, "so-name"), std::filesystem::path(file).filename());
    }
    for (const char* direction : {"capture", "playback"}) {
        int there = -1;
        EXPECT_EQ(host->get_int(nodes.at("pcm-device"), direction, &there), 0);
        EXPECT_EQ(child("props", direction), std::to_string(there));
    }
    dlclose(parser);
}

TEST(product_fragment, copies_files_that_are_there_to_where_they_are_looked_for) {
    const std::string fragment = content(kRoot + "/android/zel_format_converter.mk");
    static const std::regex copy(
        "\\$\\(ZEL_FC_PATH\\)(\\S+):\\$\\(TARGET_COPY_OUT_VENDOR\\)(\\S+)");
    std::set<std::string> targets;
    for (std::sregex_iterator found(fragment.begin(), fragment.end(), copy), end; found != end;
         ++found) {
        EXPECT_TRUE(std::filesystem::exists(kRoot + (*found)[1].str())) << (*found)[1];
        targets.insert("/vendor" + (*found)[2].str());
    }
    ASSERT_EQ(default_paths().size(), 2U);
    for (const std::string& path : default_paths()) {
        EXPECT_EQ(targets.count(path), 1U) << path;
    }
}

TEST(policy, labels_the_coefficient_files_with_a_type_that_it_has) {
    const std::string contexts = content(kRoot + "/android/sepolicy/file_contexts");
    std::smatch line;
    ASSERT_TRUE(std::regex_search(contexts, line, std::regex("(\\S+) +u:object_r:(\\w+):s0")));
    for (const std::string& path : default_paths()) {
        EXPECT_TRUE(std::regex_match(path, std::regex(line[1].str()))) << path;
    }
    EXPECT_NE(content(kRoot + "/android/sepolicy/file.te").find("type " + line[2].str() + ","),
              std::string::npos);
    EXPECT_NE(
        content(kRoot + "/android/sepolicy/zel_format_converter.te").find(line[2].str() + ":file"),
        std::string::npos);
}

}  // namespace
