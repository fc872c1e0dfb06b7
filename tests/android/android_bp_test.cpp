// The device's build files against CMake's: the same sources, compiled with the same flags.

#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include "blueprint.h"
#include "project_file.h"

using zel_test::content;
using zel_test::kRoot;

namespace {

using texts = std::set<std::string>;
using zel_test::blueprint_value;

const char* const kLibrary = "libzel_tinyalsa_format_converter_plugin";

/// Not the library's own choice: what Soong sets itself, the build type's, and g++'s own.
bool left_to_soong(const std::string& flag) {
    static const texts theirs{"-O2",
                              "-g",
                              "-DNDEBUG",
                              "-fPIC",
                              "-U_FORTIFY_SOURCE",
                              "-D_FORTIFY_SOURCE=2",
                              "-fstack-protector-strong",
                              "-fno-predictive-commoning",
                              "-fno-tree-ter",
                              "-fno-tree-pre",
                              "-Dzel_tinyalsa_format_converter_plugin_EXPORTS"};
    return theirs.count(flag) != 0;
}

/// How CMake compiles one file of the library.
struct compilation {
    std::string source;  ///< from the project's folder
    texts flags;         ///< those that change what is made or what is accepted
    std::string kernel_set;
};

std::vector<compilation> cmake_compilations() {
    const std::string commands = content(ZEL_COMPILE_COMMANDS);
    const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> root(cJSON_Parse(commands.c_str()),
                                                               cJSON_Delete);
    static const std::regex ours(" -o (plugin|converter|modules)/");
    static const std::regex flag("^-[DUfmOgW]");
    const std::string set_define = "-DZEL_KERNEL_SET=zel_";
    std::vector<compilation> all;
    const cJSON* entry = nullptr;
    cJSON_ArrayForEach(entry, root.get()) {
        const std::string command = cJSON_GetObjectItem(entry, "command")->valuestring;
        if (!std::regex_search(command, ours)) {
            continue;
        }
        compilation one;
        one.source =
            std::filesystem::relative(cJSON_GetObjectItem(entry, "file")->valuestring, kRoot)
                .string();
        std::istringstream words(command);
        for (std::string word; words >> word;) {
            if (word.rfind(set_define, 0) == 0) {
                one.kernel_set = word.substr(set_define.size());
            }
            if (std::regex_search(word, flag) && !left_to_soong(word)) {
                one.flags.insert(word);
            }
        }
        all.push_back(one);
    }
    return all;
}

class android_bp : public testing::Test {
  protected:
    /// What a module and its defaults name under `property`, for that architecture.
    texts all_of(const std::string& module, const std::string& property,
                 const std::string& arch) const {
        const blueprint_value& own = modules.at(module);
        texts found;
        for (const std::string& defaults : own["defaults"].list) {
            found.merge(all_of(defaults, property, arch));
        }
        for (const blueprint_value* level : {&own, &own["arch"][arch]}) {
            const blueprint_value& named = (*level)[property];
            found.insert(named.list.begin(), named.list.end());
        }
        return found;
    }

    /// The files that a module's "srcs" stand for.
    texts sources_of(const std::string& module) const {
        texts found;
        for (const std::string& group : all_of(module, "srcs", "")) {
            const std::vector<std::string>& files = modules.at(group.substr(1))["srcs"].list;
            found.insert(files.begin(), files.end());
        }
        return found;
    }

    const std::map<std::string, blueprint_value> modules =
        zel_test::read_blueprints({kRoot + "/Android.bp", kRoot + "/android/Android.bp"});
};

TEST_F(android_bp, names_the_sources_that_cmake_compiles) {
    texts library;
    texts kernels;
    for (const compilation& one : cmake_compilations()) {
        (one.kernel_set.empty() ? library : kernels).insert(one.source);
    }
    ASSERT_GT(library.size(), 20U);
    EXPECT_EQ(sources_of(kLibrary), library);
    for (const auto& [name, module] : modules) {
        if (name.rfind("zel_fc_kernels_", 0) == 0) {
            EXPECT_EQ(sources_of(name), kernels) << name;
        }
    }
}

TEST_F(android_bp, compiles_with_the_flags_of_cmake) {
#ifndef ZEL_RELEASE_FLAGS
    GTEST_SKIP() << "this build has other flags";
#endif
    for (const compilation& one : cmake_compilations()) {
        const std::string module =
            one.kernel_set.empty() ? kLibrary : "zel_fc_kernels_" + one.kernel_set;
        EXPECT_EQ(all_of(module, "cflags", ZEL_ARCH), one.flags) << module << ", " << one.source;
    }
}

/// CMake's list of instruction sets, of which one build sees one architecture's only.
TEST_F(android_bp, has_every_kernel_set_with_its_flags) {
    const std::string cmake = content(kRoot + "/modules/kernels/CMakeLists.txt");
    static const std::regex call("\\n +add_kernel_set\\((\\w+) ?([^)]*)\\)");
    std::multimap<std::string, texts> wanted;
    for (std::sregex_iterator found(cmake.begin(), cmake.end(), call), end; found != end; ++found) {
        std::istringstream flags((*found)[2]);
        wanted.emplace((*found)[1], texts{std::istream_iterator<std::string>(flags), {}});
    }
    std::multimap<std::string, texts> got;
    for (const char* arch : {"arm", "arm64", "x86_64", "x86"}) {
        for (const std::string& library : all_of(kLibrary, "static_libs", arch)) {
            EXPECT_EQ(modules.at(library)["arch"][arch]["enabled"].text, "true") << library;
            texts flags;
            for (const std::string& flag : all_of(library, "cflags", arch)) {
                if (flag[1] == 'm') {
                    flags.insert(flag);
                }
            }
            got.emplace(library.substr(std::string("zel_fc_kernels_").size()), flags);
        }
    }
    EXPECT_EQ(wanted.size(), 5U);
    const auto sorted = [](const auto& sets) {
        return std::multiset<std::pair<std::string, texts>>(sets.begin(), sets.end());
    };
    EXPECT_EQ(sorted(got), sorted(wanted));
}

TEST_F(android_bp, links_as_cmake_does) {
    const std::string cmake = content(kRoot + "/plugin/CMakeLists.txt");
    for (const std::string& flag : all_of(kLibrary, "ldflags", "")) {
        EXPECT_NE(cmake.find(flag), std::string::npos) << flag;
    }
    EXPECT_EQ(all_of(kLibrary, "ldflags", "").count("-Wl,-z,nodelete"), 1U);
    const std::string exports = modules.at(kLibrary)["version_script"].text.substr(1);
    EXPECT_EQ(modules.at(exports)["srcs"].list, std::vector<std::string>{"plugin/exports.map"});
    EXPECT_EQ(all_of(kLibrary, "cppflags", "").count("-fexceptions"), 1U);
    EXPECT_EQ(modules.at("zel_fc_defaults")["compile_multilib"].text, "both");
}

}  // namespace
