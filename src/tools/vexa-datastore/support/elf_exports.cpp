#include "support/elf_exports.h"

#include <elf.h>
#include <link.h>

#include <cstring>

namespace vexa::tool {

namespace {

#if defined(__x86_64__)
constexpr int kMachine = EM_X86_64;
#elif defined(__aarch64__)
constexpr int kMachine = EM_AARCH64;
#elif defined(__i386__)
constexpr int kMachine = EM_386;
#elif defined(__arm__)
constexpr int kMachine = EM_ARM;
#else
#error "the machine of the build is not known here"
#endif

constexpr unsigned char kClass = sizeof(void*) == 8 ? ELFCLASS64 : ELFCLASS32;
constexpr unsigned char kByteOrder =
    __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__ ? ELFDATA2LSB : ELFDATA2MSB;

// Whether [offset, offset + size) lies inside `bytes`, without overflow.
bool fits(std::string_view bytes, unsigned long long offset, unsigned long long size) {
    return offset <= bytes.size() && size <= bytes.size() - offset;
}

// The object of type T at `offset`; the caller has checked that it fits.
template <typename T>
T read_at(std::string_view bytes, unsigned long long offset) {
    T value;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

std::string truncated(std::string_view bytes, std::string const& what) {
    return "truncated ELF file: " + what + " beyond the end of the file (" +
           std::to_string(bytes.size()) + " bytes)";
}

// The section header `index`, or nothing when it lies outside the table.
bool section_at(std::string_view bytes, ElfW(Ehdr) const& header, unsigned index,
                ElfW(Shdr) & section) {
    if (index >= header.e_shnum) {
        return false;
    }
    section = read_at<ElfW(Shdr)>(bytes, header.e_shoff + index * sizeof(ElfW(Shdr)));
    return true;
}

// The identification and header, checked against this machine: a fault or "".
std::string header_fault(std::string_view bytes) {
    if (bytes.size() < EI_NIDENT || std::memcmp(bytes.data(), ELFMAG, SELFMAG) != 0) {
        return "not an ELF file";
    }
    if (static_cast<unsigned char>(bytes[EI_CLASS]) != kClass) {
        return kClass == ELFCLASS64 ? "a 32-bit ELF file, not 64-bit"
                                    : "a 64-bit ELF file, not 32-bit";
    }
    if (static_cast<unsigned char>(bytes[EI_DATA]) != kByteOrder) {
        return "an ELF file of another byte order";
    }
    if (!fits(bytes, 0, sizeof(ElfW(Ehdr)))) {
        return truncated(bytes, "the ELF header");
    }
    auto const header = read_at<ElfW(Ehdr)>(bytes, 0);
    if (header.e_type != ET_DYN) {
        return "an ELF file but not a shared object (type " + std::to_string(header.e_type) + ")";
    }
    if (header.e_machine != kMachine) {
        return "an ELF shared object for another machine (machine " +
               std::to_string(header.e_machine) + ")";
    }
    if (header.e_shnum == 0) {
        return "an ELF shared object without section headers";
    }
    if (header.e_shentsize != sizeof(ElfW(Shdr)) ||
        !fits(bytes, header.e_shoff,
              static_cast<unsigned long long>(header.e_shnum) * sizeof(ElfW(Shdr)))) {
        return truncated(bytes, "the section header table");
    }
    return "";
}

// The name at `offset` of the string table `strings`; false when it does not
// end inside the table.
bool name_at(std::string_view bytes, ElfW(Shdr) const& strings, unsigned long long offset,
             std::string& name) {
    if (offset >= strings.sh_size) {
        return false;
    }
    std::string_view const table = bytes.substr(strings.sh_offset, strings.sh_size);
    std::size_t const end = table.find('\0', offset);
    if (end == std::string_view::npos) {
        return false;
    }
    name = std::string(table.substr(offset, end - offset));
    return true;
}

}  // namespace

ElfExports read_elf_exports(std::string_view bytes) {
    ElfExports result;
    result.fault = header_fault(bytes);
    if (!result.fault.empty()) {
        return result;
    }
    auto const header = read_at<ElfW(Ehdr)>(bytes, 0);
    ElfW(Shdr) symbols{};
    bool found = false;
    for (unsigned i = 0; i < header.e_shnum && !found; ++i) {
        section_at(bytes, header, i, symbols);
        found = symbols.sh_type == SHT_DYNSYM;
    }
    ElfW(Shdr) strings{};
    if (!found) {
        result.fault = "an ELF shared object without a dynamic symbol table";
    } else if (symbols.sh_entsize != sizeof(ElfW(Sym)) ||
               !fits(bytes, symbols.sh_offset, symbols.sh_size)) {
        result.fault = truncated(bytes, "the dynamic symbol table");
    } else if (!section_at(bytes, header, symbols.sh_link, strings) ||
               strings.sh_type != SHT_STRTAB || !fits(bytes, strings.sh_offset, strings.sh_size)) {
        result.fault = truncated(bytes, "the dynamic string table");
    }
    if (!result.fault.empty()) {
        return result;
    }
    for (unsigned long long at = 0; at + sizeof(ElfW(Sym)) <= symbols.sh_size;
         at += sizeof(ElfW(Sym))) {
        auto const symbol = read_at<ElfW(Sym)>(bytes, symbols.sh_offset + at);
        unsigned char const binding = ELF64_ST_BIND(symbol.st_info);
        std::string name;
        if (ELF64_ST_TYPE(symbol.st_info) == STT_FUNC && symbol.st_shndx != SHN_UNDEF &&
            (binding == STB_GLOBAL || binding == STB_WEAK) &&
            name_at(bytes, strings, symbol.st_name, name)) {
            result.functions.push_back(name);
        }
    }
    return result;
}

}  // namespace vexa::tool
