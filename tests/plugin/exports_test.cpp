// What the library shows to the dynamic linker.

#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>
#include <link.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace {

std::vector<char> file_bytes(const char* path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

template <typename Record>
const Record* at(const std::vector<char>& file, std::size_t offset) {
    return reinterpret_cast<const Record*>(file.data() + offset);
}

const ElfW(Shdr) * section_of_type(const std::vector<char>& file, unsigned int type) {
    const auto* header = at<ElfW(Ehdr)>(file, 0);
    for (unsigned int i = 0; i < header->e_shnum; ++i) {
        const auto* section = at<ElfW(Shdr)>(file, header->e_shoff + i * sizeof(ElfW(Shdr)));
        if (section->sh_type == type) {
            return section;
        }
    }
    return nullptr;
}

TEST(library, exports_the_tables_and_the_filter_and_nothing_else) {
    const std::vector<char> file = file_bytes(ZEL_PLUGIN_FILE);
    ASSERT_GT(file.size(), sizeof(ElfW(Ehdr)));
    const auto* symbols = section_of_type(file, SHT_DYNSYM);
    ASSERT_NE(symbols, nullptr);
    const auto* strings = at<ElfW(Shdr)>(
        file, at<ElfW(Ehdr)>(file, 0)->e_shoff + symbols->sh_link * sizeof(ElfW(Shdr)));
    std::set<std::string> defined;
    for (std::size_t i = 0; i < symbols->sh_size / sizeof(ElfW(Sym)); ++i) {
        const auto* symbol = at<ElfW(Sym)>(file, symbols->sh_offset + i * sizeof(ElfW(Sym)));
        if (symbol->st_shndx != SHN_UNDEF) {
            defined.insert(file.data() + strings->sh_offset + symbol->st_name);
        }
    }
    EXPECT_EQ(defined, (std::set<std::string>{"mixer_plugin_ops", "pcm_plugin_ops", "res_coeff",
                                              "res_order"}));
}

TEST(library, stays_loaded_after_its_last_handle) {
    void* library = dlopen(ZEL_PLUGIN_FILE, RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    const auto* order = static_cast<const int*>(dlsym(library, "res_order"));
    ASSERT_NE(order, nullptr);
    dlclose(library);
    void* again = dlopen(ZEL_PLUGIN_FILE, RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(*order, 237);
    dlclose(again);
}

}  // namespace
