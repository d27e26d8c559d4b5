#include "plugin_file_check.h"

#include <elf.h>

#include <cstring>
#include <fstream>
#include <vector>

namespace vexa::datastore {

namespace {

using Bytes = std::vector<char>;

Bytes read_all(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

template <typename T>
T read_at(Bytes const& bytes, std::size_t offset) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

// Whether [offset, offset + size) lies inside a file of `file_size` bytes,
// without overflow.
bool fits(unsigned long long offset, unsigned long long size, std::size_t file_size) {
    return offset <= file_size && size <= file_size - offset;
}

template <typename Ehdr, typename Phdr>
std::string headers_fault(Bytes const& bytes) {
    if (bytes.size() < sizeof(Ehdr)) {
        return "";  // the loader reads the header with read() and reports it
    }
    auto const header = read_at<Ehdr>(bytes, 0);
    unsigned long long const table_size =
        static_cast<unsigned long long>(header.e_phnum) * sizeof(Phdr);
    if (header.e_phentsize != sizeof(Phdr) || !fits(header.e_phoff, table_size, bytes.size())) {
        return "program header table beyond the end of the file (" + std::to_string(bytes.size()) +
               " bytes)";
    }
    for (unsigned i = 0; i < header.e_phnum; ++i) {
        auto const segment = read_at<Phdr>(bytes, header.e_phoff + i * sizeof(Phdr));
        if (segment.p_type == PT_LOAD && !fits(segment.p_offset, segment.p_filesz, bytes.size())) {
            return "loadable segment " + std::to_string(i) + " ends at byte " +
                   std::to_string(segment.p_offset + segment.p_filesz) + ", beyond the end of " +
                   "the file (" + std::to_string(bytes.size()) + " bytes)";
        }
    }
    return "";
}

}  // namespace

std::string plugin_file_fault(std::string const& path) {
    Bytes const bytes = read_all(path);
    // What is no ELF object at all, the loader refuses safely on its own.
    if (bytes.size() < EI_NIDENT || std::memcmp(bytes.data(), ELFMAG, SELFMAG) != 0) {
        return "";
    }
    if (bytes[EI_CLASS] == ELFCLASS64) {
        return headers_fault<Elf64_Ehdr, Elf64_Phdr>(bytes);
    }
    if (bytes[EI_CLASS] == ELFCLASS32) {
        return headers_fault<Elf32_Ehdr, Elf32_Phdr>(bytes);
    }
    return "";
}

}  // namespace vexa::datastore
