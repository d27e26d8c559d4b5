// Plug-in files the dynamic loader must not map: a library cut short, and
// ELF headers whose program header table or loadable segment lies beyond the
// end of the file, are refused before loading, as the loader refuses any
// file it cannot open; files that are no ELF object at all keep the loader's
// own reason.
#include <dlfcn.h>
#include <elf.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <datastore/datastore.h>

#include "plugins/steered_probe.h"
#include "test_support.h"

namespace {

using vexa::datastore::DataStoreConfig;
using vexa::datastore::DataStoreController;
using vexa::test::plugin_config;
using vexa::test::StderrCapture;

class PluginFileCheck : public ::testing::Test {
  protected:
    // The message that load() throws for the library `path`, and what it
    // wrote to standard error meanwhile.
    std::pair<std::string, std::string> load_failure(std::string const& path) {
        StderrCapture capture;
        std::string const message = vexa::test::runtime_error_of([&] {
            std::vector<DataStoreConfig> loaded;
            DataStoreController::createDataStoreController().lock()->load(
                {plugin_config(path, "checked")}, loaded);
        });
        return {message, capture.text()};
    }

    // The log line of a refused library, `reason` as the loader's text.
    static std::string refusal(std::string const& path, std::string const& reason) {
        return "error opening extension library " + path + ": '" + reason + "'\n";
    }

    // The loader's own reason for refusing `path`.
    static std::string loader_text(std::string const& path) {
        EXPECT_EQ(dlopen(path.c_str(), RTLD_LAZY), nullptr);
        char const* text = dlerror();
        return text != nullptr ? text : "";
    }

    vexa::test::ScopedLogLevel log_level_{4};
    vexa::test::TempDir dir_;
};

// A 64-bit ELF header followed by `segments` program headers, each PT_LOAD
// at the given offset with the given size in the file.
std::string elf_with_segments(std::vector<std::pair<Elf64_Off, Elf64_Xword>> const& segments) {
    Elf64_Ehdr header{};
    std::memcpy(header.e_ident, ELFMAG, SELFMAG);
    header.e_ident[EI_CLASS] = ELFCLASS64;
    header.e_ident[EI_DATA] = ELFDATA2LSB;
    header.e_ident[EI_VERSION] = EV_CURRENT;
    header.e_type = ET_DYN;
    header.e_machine = EM_X86_64;
    header.e_version = EV_CURRENT;
    header.e_phoff = sizeof header;
    header.e_ehsize = sizeof header;
    header.e_phentsize = sizeof(Elf64_Phdr);
    header.e_phnum = static_cast<Elf64_Half>(segments.size());
    std::string bytes(reinterpret_cast<char const*>(&header), sizeof header);
    for (auto const& [offset, size] : segments) {
        Elf64_Phdr segment{};
        segment.p_type = PT_LOAD;
        segment.p_offset = offset;
        segment.p_filesz = size;
        segment.p_memsz = size;
        segment.p_align = 4096;
        bytes.append(reinterpret_cast<char const*>(&segment), sizeof segment);
    }
    return bytes;
}

TEST_F(PluginFileCheck, ALibraryCutShortIsRefusedWithoutMappingIt) {
    std::string const path = dir_.file("libcut.so");
    vexa::test::write_file(path, vexa::test::read_file(VEXA_SQLITE_PLUGIN).substr(0, 20000));

    auto const [message, log] = load_failure(path);

    EXPECT_EQ(message, "unable to load datastore extension " + path);
    std::string const head =
        "error opening extension library " + path + ": '" + path + ": loadable segment ";
    EXPECT_EQ(log.substr(0, head.size()), head) << log;
    std::string const tail = ", beyond the end of the file (20000 bytes)'\n";
    ASSERT_GE(log.size(), tail.size());
    EXPECT_EQ(log.substr(log.size() - tail.size()), tail) << log;
}

TEST_F(PluginFileCheck, ASegmentBeyondTheEndOfTheFileIsNamedWithItsEnd) {
    std::string const path = dir_.file("libsegment.so");
    std::string const bytes = elf_with_segments({{0, 176}, {4096, 8192}});
    ASSERT_EQ(bytes.size(), 176u);
    vexa::test::write_file(path, bytes);

    auto const [message, log] = load_failure(path);

    EXPECT_EQ(message, "unable to load datastore extension " + path);
    EXPECT_EQ(log, refusal(path, path + ": loadable segment 1 ends at byte 12288, beyond the end "
                                        "of the file (176 bytes)"));
}

TEST_F(PluginFileCheck, AProgramHeaderTableBeyondTheEndOfTheFileIsRefused) {
    std::string const path = dir_.file("libtable.so");
    // Three program headers announced, the file ends after the first.
    std::string bytes = elf_with_segments({{0, 64}, {0, 64}, {0, 64}});
    bytes.resize(sizeof(Elf64_Ehdr) + sizeof(Elf64_Phdr));
    vexa::test::write_file(path, bytes);

    auto const [message, log] = load_failure(path);

    EXPECT_EQ(message, "unable to load datastore extension " + path);
    EXPECT_EQ(log, refusal(path, path + ": program header table beyond the end of the file "
                                        "(120 bytes)"));
}

TEST_F(PluginFileCheck, FilesThatAreNoElfObjectKeepTheLoadersReason) {
    std::vector<std::pair<std::string, std::string>> const files{
        {"libzeros.so", std::string(4096, '\0')},
        {"libempty.so", ""},
        {"libtext.so", "# not a library\nhello\n"},
    };
    for (auto const& [name, content] : files) {
        std::string const path = dir_.file(name);
        vexa::test::write_file(path, content);
        std::string const reason = loader_text(path);

        auto const [message, log] = load_failure(path);

        EXPECT_EQ(message, "unable to load datastore extension " + path);
        EXPECT_EQ(log, refusal(path, reason));
    }
}

}  // namespace
