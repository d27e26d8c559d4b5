#include "support/elf_exports.h"

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>

namespace vexa::tool {
namespace {

std::string contents(char const* path) {
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

bool has(std::vector<std::string> const& names, std::string const& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

ElfW(Ehdr) header_of(std::string const& bytes) {
    ElfW(Ehdr) header;
    std::memcpy(&header, bytes.data(), sizeof header);
    return header;
}

void set_header(std::string& bytes, ElfW(Ehdr) const& header) {
    std::memcpy(&bytes[0], &header, sizeof header);
}

// The offset of the dynamic symbol table's section header in `bytes`.
std::size_t dynsym_header_offset(std::string const& bytes) {
    ElfW(Ehdr) const header = header_of(bytes);
    for (unsigned i = 0; i < header.e_shnum; ++i) {
        std::size_t const at = header.e_shoff + i * sizeof(ElfW(Shdr));
        ElfW(Shdr) section;
        std::memcpy(&section, bytes.data() + at, sizeof section);
        if (section.sh_type == SHT_DYNSYM) {
            return at;
        }
    }
    ADD_FAILURE() << "no dynamic symbol table";
    return 0;
}

class ElfExportsOfAPlugin : public ::testing::Test {
  protected:
    std::string const plugin_ = contents(VEXA_SQLITE_PLUGIN);
};

TEST_F(ElfExportsOfAPlugin, ListsTheEntryPointsAndTheInterfaceVersion) {
    ElfExports const exports = read_elf_exports(plugin_);
    EXPECT_EQ("", exports.fault);
    EXPECT_TRUE(has(exports.functions, "create"));
    EXPECT_TRUE(has(exports.functions, "destroy"));
    EXPECT_TRUE(has(exports.functions, "vexa_plugin_interface_version"));
}

TEST(ElfExports, ShowThatAPluginLacksDestroy) {
    ElfExports const exports = read_elf_exports(contents(VEXA_PLUGIN_NO_DESTROY_PLUGIN));
    EXPECT_EQ("", exports.fault);
    EXPECT_TRUE(has(exports.functions, "create"));
    EXPECT_FALSE(has(exports.functions, "destroy"));
}

TEST(ElfExports, OfWhatIsNoElfFileAreAFault) {
    EXPECT_EQ("not an ELF file", read_elf_exports("").fault);
    EXPECT_EQ("not an ELF file", read_elf_exports("\x7f"
                                                  "EL")
                                     .fault);
    EXPECT_EQ("not an ELF file", read_elf_exports("#!/bin/sh\necho hello\n").fault);
}

TEST_F(ElfExportsOfAPlugin, OfEveryCutShortCopyAreAFault) {
    // The section header table lies at the end of the file, so every copy
    // cut short loses part of it at least.
    for (std::size_t size = 0; size < plugin_.size(); size += size < 8192 ? 1 : 61) {
        EXPECT_NE("", read_elf_exports(std::string_view(plugin_).substr(0, size)).fault) << size;
    }
    EXPECT_EQ(
        "truncated ELF file: the section header table beyond the end of the file (4096 "
        "bytes)",
        read_elf_exports(std::string_view(plugin_).substr(0, 4096)).fault);
}

TEST_F(ElfExportsOfAPlugin, OfAnotherClassTypeOrMachineAreAFault) {
    std::string other_class = plugin_;
    other_class[EI_CLASS] = ELFCLASS32;
    EXPECT_EQ("a 32-bit ELF file, not 64-bit", read_elf_exports(other_class).fault);

    std::string executable = plugin_;
    ElfW(Ehdr) header = header_of(executable);
    header.e_type = ET_EXEC;
    set_header(executable, header);
    EXPECT_EQ("an ELF file but not a shared object (type 2)", read_elf_exports(executable).fault);

    std::string other_machine = plugin_;
    header = header_of(other_machine);
    header.e_machine = EM_SPARC;
    set_header(other_machine, header);
    EXPECT_EQ("an ELF shared object for another machine (machine 2)",
              read_elf_exports(other_machine).fault);
}

TEST_F(ElfExportsOfAPlugin, WithMadeUpOffsetsAndSizesAreAFaultNotACrash) {
    std::string far_headers = plugin_;
    ElfW(Ehdr) header = header_of(far_headers);
    header.e_shoff = ~ElfW(Off){0} - 8;
    set_header(far_headers, header);
    EXPECT_EQ("truncated ELF file: the section header table beyond the end of the file (" +
                  std::to_string(plugin_.size()) + " bytes)",
              read_elf_exports(far_headers).fault);

    std::size_t const dynsym = dynsym_header_offset(plugin_);
    ElfW(Shdr) section;
    std::memcpy(&section, plugin_.data() + dynsym, sizeof section);

    std::string far_symbols = plugin_;
    ElfW(Shdr) changed = section;
    changed.sh_size = ~ElfW(Xword){0};
    std::memcpy(&far_symbols[dynsym], &changed, sizeof changed);
    EXPECT_NE(std::string::npos, read_elf_exports(far_symbols).fault.find("dynamic symbol table"));

    std::string no_strings = plugin_;
    changed = section;
    changed.sh_link = 0xffff;
    std::memcpy(&no_strings[dynsym], &changed, sizeof changed);
    EXPECT_NE(std::string::npos, read_elf_exports(no_strings).fault.find("dynamic string table"));
}

TEST_F(ElfExportsOfAPlugin, WithAnyByteOfItsHeadersFlippedNeverCrash) {
    ElfW(Ehdr) const header = header_of(plugin_);
    auto const flip_each = [this](std::size_t from, std::size_t to) {
        for (std::size_t at = from; at < to && at < plugin_.size(); ++at) {
            std::string flipped = plugin_;
            flipped[at] = static_cast<char>(~flipped[at]);
            read_elf_exports(flipped);  // any answer but a crash
        }
    };
    flip_each(0, sizeof header);
    flip_each(header.e_shoff, header.e_shoff + header.e_shnum * sizeof(ElfW(Shdr)));
}

}  // namespace
}  // namespace vexa::tool
