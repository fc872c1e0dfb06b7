// What the library shows to the dynamic linker.

#include <dlfcn.h>
#include <elf.h>
#include <gtest/gtest.h>
#include <link.h>

#include <algorithm>
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

/// Names of the dynamic symbols that the library defines, or that it takes from others.
std::set<std::string> dynamic_symbols(const std::vector<char>& file, bool own) {
    const auto* symbols = section_of_type(file, SHT_DYNSYM);
    const auto* strings = at<ElfW(Shdr)>(
        file, at<ElfW(Ehdr)>(file, 0)->e_shoff + symbols->sh_link * sizeof(ElfW(Shdr)));
    std::set<std::string> names;
    for (std::size_t i = 1; i < symbols->sh_size / sizeof(ElfW(Sym)); ++i) {
        const auto* symbol = at<ElfW(Sym)>(file, symbols->sh_offset + i * sizeof(ElfW(Sym)));
        if ((symbol->st_shndx != SHN_UNDEF) == own) {
            names.insert(file.data() + strings->sh_offset + symbol->st_name);
        }
    }
    return names;
}

TEST(library, exports_the_tables_and_the_filter_and_nothing_else) {
    EXPECT_EQ(
        dynamic_symbols(file_bytes(ZEL_PLUGIN_FILE), true),
        (std::set<std::string>{"mixer_plugin_ops", "pcm_plugin_ops", "res_coeff", "res_order"}));
}

TEST(library, is_hardened) {
    const std::vector<char> file = file_bytes(ZEL_PLUGIN_FILE);
    const auto* header = at<ElfW(Ehdr)>(file, 0);
    bool relro = false;
    bool executable_stack = true;
    for (unsigned int i = 0; i < header->e_phnum; ++i) {
        const auto* segment = at<ElfW(Phdr)>(file, header->e_phoff + i * sizeof(ElfW(Phdr)));
        relro = relro || segment->p_type == PT_GNU_RELRO;
        if (segment->p_type == PT_GNU_STACK) {
            executable_stack = (segment->p_flags & PF_X) != 0;
        }
        EXPECT_NE(segment->p_flags & (PF_W | PF_X), unsigned{PF_W | PF_X}) << "segment " << i;
    }
    EXPECT_TRUE(relro);
    EXPECT_FALSE(executable_stack);
    const auto* dynamic = section_of_type(file, SHT_DYNAMIC);
    ASSERT_NE(dynamic, nullptr);
    bool binds_now = false;
    for (std::size_t i = 0; i < dynamic->sh_size / sizeof(ElfW(Dyn)); ++i) {
        const auto* entry = at<ElfW(Dyn)>(file, dynamic->sh_offset + i * sizeof(ElfW(Dyn)));
        binds_now =
            binds_now || (entry->d_tag == DT_FLAGS && (entry->d_un.d_val & DF_BIND_NOW) != 0);
    }
    EXPECT_TRUE(binds_now);
#ifdef ZEL_FORTIFIED
    const std::set<std::string> used = dynamic_symbols(file, false);
    EXPECT_EQ(used.count("__stack_chk_fail"), 1U);
    EXPECT_TRUE(std::any_of(used.begin(), used.end(), [](const std::string& name) {
        return name.size() > 4 && name.compare(name.size() - 4, 4, "_chk") == 0;
    })) << "no fortified call";
#endif
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
