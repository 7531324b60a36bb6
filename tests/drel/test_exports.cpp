// SPDX-License-Identifier: Apache-2.0
// The shared object exports exactly the names of the library's list, nothing more or less.
// The dynamic symbol table is read from the ELF file itself.
#include <gtest/gtest.h>

#include <elf.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

std::vector<char> read_all(const char *path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

template <typename T> bool read_at(const std::vector<char> &f, uint64_t off, T &out) {
    if (off > f.size() || f.size() - off < sizeof(T)) return false;
    std::memcpy(&out, f.data() + off, sizeof(T));
    return true;
}

// Names of the defined global and weak symbols of the dynamic symbol table.
std::set<std::string> exported_symbols(const char *path, std::string &error) {
    const std::vector<char> f = read_all(path);
    Elf64_Ehdr eh{};
    if (!read_at(f, 0, eh) || std::memcmp(eh.e_ident, ELFMAG, SELFMAG) != 0 ||
        eh.e_ident[EI_CLASS] != ELFCLASS64) {
        error = "not a 64-bit ELF file";
        return {};
    }
    std::vector<Elf64_Shdr> sections(eh.e_shnum);
    for (size_t i = 0; i < sections.size(); ++i)
        if (!read_at(f, eh.e_shoff + i * sizeof(Elf64_Shdr), sections[i])) {
            error = "truncated section table";
            return {};
        }
    std::set<std::string> names;
    for (const Elf64_Shdr &sh : sections) {
        if (sh.sh_type != SHT_DYNSYM || sh.sh_link >= sections.size()) continue;
        const Elf64_Shdr &strtab = sections[sh.sh_link];
        for (uint64_t off = sizeof(Elf64_Sym); off + sizeof(Elf64_Sym) <= sh.sh_size;
             off += sizeof(Elf64_Sym)) {
            Elf64_Sym sym{};
            if (!read_at(f, sh.sh_offset + off, sym)) break;
            const unsigned bind = ELF64_ST_BIND(sym.st_info);
            if (sym.st_shndx == SHN_UNDEF) continue;
            if (bind != STB_GLOBAL && bind != STB_WEAK && bind != STB_GNU_UNIQUE) continue;
            if (ELF64_ST_VISIBILITY(sym.st_other) != STV_DEFAULT &&
                ELF64_ST_VISIBILITY(sym.st_other) != STV_PROTECTED)
                continue;
            if (sym.st_name >= strtab.sh_size) continue;
            const char *name = f.data() + strtab.sh_offset + sym.st_name;
            names.insert(std::string(name, strnlen(name, strtab.sh_size - sym.st_name)));
        }
    }
    if (names.empty()) error = "no dynamic symbols";
    return names;
}

std::set<std::string> listed_names() {
    std::ifstream in(std::string(ZORV_SOURCE_DIR) + "/feature/zorv/lib/drel/exported_names.txt");
    std::set<std::string> names;
    std::string line;
    while (std::getline(in, line)) {
        std::istringstream words(line);
        std::string w;
        if (words >> w && w[0] != '#') names.insert(w);
    }
    return names;
}

std::string joined(const std::set<std::string> &s) {
    std::string out;
    for (const auto &n : s)
        out += "  " + n + "\n";
    return out;
}

} // namespace

TEST(Exports, ExactlyTheListedNames) {
    std::string error;
    std::set<std::string> got = exported_symbols(ZORV_DREL_SO_PATH, error);
    ASSERT_TRUE(error.empty()) << ZORV_DREL_SO_PATH << ": " << error;
    for (const char *ignored : {"ZORVDREL_1", "_init", "_fini"})
        got.erase(ignored);
    const std::set<std::string> want = listed_names();
    ASSERT_GT(want.size(), 100u) << "list not found or empty";

    std::set<std::string> missing, extra;
    for (const auto &n : want)
        if (!got.count(n)) missing.insert(n);
    for (const auto &n : got)
        if (!want.count(n)) extra.insert(n);
    EXPECT_TRUE(missing.empty()) << missing.size() << " listed names not exported:\n"
                                 << joined(missing);
    EXPECT_TRUE(extra.empty()) << extra.size() << " exported names not listed:\n" << joined(extra);
}

TEST(Exports, FrameNamesHaveCLinkage) {
    std::string error;
    const std::set<std::string> got = exported_symbols(ZORV_DREL_SO_PATH, error);
    ASSERT_TRUE(error.empty()) << error;
    for (const char *name :
         {"zorv_drel_lib_mem_type_t", "zorv_drel_lib_logbuf_init", "zorv_drel_lib_debug_print",
          "__zorv_drel_lib_mem_type_t_find", "__zorv_drel_lib_mem_type_t_str2enum",
          "zorv_drel_lib_calloc", "zorv_drel_type1_cfg_type_to_str",
          "zorv_drel_get_type1_cfg_compat_chk_errcode", "zorv_drel_lib_get_type_from_uid",
          "zorv_drel_type1_cfg_param_is_default", "zorv_drel_if_cfg_avl_encaplist_add_tlvs",
          "zorv_drel_type1_rem_cfg_cache_rebuild", "zorv_drel_lib_any_vsi_using_encap",
          "zorv_drel_lib_alloc_tlv", "zorv_drel_lib_free_tlv", "zorv_drel_lib_bmp4096_hton",
          "zorv_drel_lib_bmp4096_ntoh",
          // the process-wide state of the two debug channels
          "zorv_drel_lib_debug_file", "zorv_drel_lib_logbuf_init_done"})
        EXPECT_TRUE(got.count(name)) << name;
    for (const auto &n : got)
        EXPECT_NE(n.substr(0, 2), "_Z") << "C++ name exported: " << n;
}
