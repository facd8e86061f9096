// The plug-in's dynamic symbol table: it exports what its list of exports says and nothing else, and needs nothing
// but the seam and the C library.
#include <dlfcn.h>
#include <elf.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>

#include "plugin_fixture.h"

namespace {

using Names = std::set<std::string>;

std::string file_text(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// A 64-bit shared library of this machine's byte order, read from its section headers.
class SharedLibrary {
  public:
    explicit SharedLibrary(const std::string &path) : bytes_(file_text(path)) {
        const auto header = read<Elf64_Ehdr>(0);
        for (unsigned i = 0; i < header.e_shnum; ++i)
            sections_.push_back(read<Elf64_Shdr>(header.e_shoff + i * sizeof(Elf64_Shdr)));
    }

    Names exported() const { return names(true); }
    Names undefined() const { return names(false); }

    Names needed() const {
        Names libraries;
        for (const Elf64_Shdr &section : sections_)
            if (section.sh_type == SHT_DYNAMIC)
                for (size_t at = 0; at < section.sh_size; at += sizeof(Elf64_Dyn))
                    if (const auto entry = read<Elf64_Dyn>(section.sh_offset + at); entry.d_tag == DT_NEEDED)
                        libraries.insert(text(sections_[section.sh_link], entry.d_un.d_val));
        return libraries;
    }

  private:
    template <class Record>
    Record read(size_t offset) const {
        Record record{};
        if (offset + sizeof record <= bytes_.size())
            std::memcpy(&record, bytes_.data() + offset, sizeof record);
        return record;
    }

    std::string text(const Elf64_Shdr &strings, size_t offset) const {
        return bytes_.c_str() + strings.sh_offset + offset;
    }

    Names names(bool defined) const {
        Names found;
        for (const Elf64_Shdr &section : sections_) {
            if (section.sh_type != SHT_DYNSYM)
                continue;
            for (size_t at = sizeof(Elf64_Sym); at < section.sh_size; at += sizeof(Elf64_Sym)) {
                const auto symbol = read<Elf64_Sym>(section.sh_offset + at);
                if ((symbol.st_shndx != SHN_UNDEF) == defined && symbol.st_name != 0)
                    found.insert(text(sections_[section.sh_link], symbol.st_name));
            }
        }
        return found;
    }

    std::string bytes_;
    std::vector<Elf64_Shdr> sections_;
};

Names listed_exports() {
    Names names;
    std::ifstream list(EXPORTS_LIST);
    for (std::string name; std::getline(list, name);)
        if (!name.empty())
            names.insert(name);
    return names;
}

// Functions that the header declares: a name before an opening parenthesis, in a declaration that ends in ";".
Names seam_functions() {
    Names names;
    std::string text = file_text(SEAM_HEADER);
    text = std::regex_replace(text, std::regex("/\\*[^*]*\\*+([^/*][^*]*\\*+)*/"), "");
    const std::regex declaration("(?:cerrno|void|int|uint32_t|char|yfw_datatree) +\\**([a-z_][a-z0-9_]*)\\(");
    for (std::sregex_iterator match(text.begin(), text.end(), declaration), end; match != end; ++match)
        names.insert((*match)[1]);
    return names;
}

#if !defined(OCAMP_SANITIZE) && !defined(OCAMP_COVERAGE)
Names without(const Names &names, const Names &others) {
    Names rest;
    for (const std::string &name : names)
        if (!others.contains(name))
            rest.insert(name);
    return rest;
}

TEST(Exports, AreExactlyThoseListed) {
    const Names exported = SharedLibrary(PluginUnderTest::built_path()).exported();
    const Names listed = listed_exports();
    ASSERT_FALSE(listed.empty());
    EXPECT_EQ(without(exported, listed), Names()) << "exported, not listed";
    EXPECT_EQ(without(listed, exported), Names()) << "listed, not exported";
}

TEST(Exports, UndefinedSymbolsAreOfTheSeamOrOfTheCLibrary) {
    void *c_library = dlopen("libc.so.6", RTLD_NOW | RTLD_NOLOAD);
    ASSERT_NE(c_library, nullptr);
    // Weak references that the compiler's start files make in every shared library.
    const Names start_files{"_ITM_deregisterTMCloneTable", "_ITM_registerTMCloneTable", "__gmon_start__"};
    Names strangers;
    for (const std::string &name : without(SharedLibrary(PluginUnderTest::built_path()).undefined(), start_files))
        if (!seam_functions().contains(name) && dlsym(c_library, name.c_str()) == nullptr)
            strangers.insert(name);
    EXPECT_EQ(strangers, Names());
    dlclose(c_library);
}

TEST(Exports, OnlyTheCLibraryIsNeeded) {
    EXPECT_EQ(without(SharedLibrary(PluginUnderTest::built_path()).needed(), {"libc.so.6"}), Names());
}
#endif

TEST(Exports, EveryListedNameIsFoundByTheLoader) {
    for (const std::string &name : listed_exports())
        EXPECT_NE(plugin().symbol(name), nullptr) << name;
}

TEST(Exports, NoFunctionOfTheSeamIsDefinedByThePlugin) {
    const Names exported = SharedLibrary(PluginUnderTest::built_path()).exported();
    for (const std::string &name : seam_functions())
        EXPECT_FALSE(exported.contains(name)) << name;
}

TEST(Exports, SeamHeaderIsReadWhole) {
    const Names functions = seam_functions();
    EXPECT_EQ(functions.size(), 40U) << "declarations found in the seam header";
    for (const char *name : {"yfw_map_add_to_node_hierarchy", "yfw_map_util_itree_stack_peak", "yfw_strdup",
                             "cerr_strerror", "_xos_dt_log_filter_adv", "_sysdb_bind", "bag_generic_destroy"})
        EXPECT_TRUE(functions.contains(name)) << name;
}

} // namespace
