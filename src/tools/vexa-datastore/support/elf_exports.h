// The functions a shared object file exports, read from its bytes without
// loading it.
#ifndef VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_ELF_EXPORTS_H_
#define VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_ELF_EXPORTS_H_

#include <string>
#include <string_view>
#include <vector>

namespace vexa::tool {

struct ElfExports {
    // Why the bytes are no shared object this machine could load ("not an
    // ELF file", "truncated ELF file: ..."); empty when they are one.
    std::string fault;
    // The global and weak functions that the dynamic symbol table defines,
    // in table order.
    std::vector<std::string> functions;
};

// Reads an ELF shared object of this machine's class, byte order and
// architecture from `bytes`, through its section headers. Every offset and
// size is checked against the size of `bytes`, so any input, however cut
// short or made up, gives a fault and never a crash.
ElfExports read_elf_exports(std::string_view bytes);

}  // namespace vexa::tool

#endif  // VEXA_TOOLS_VEXA_DATASTORE_SUPPORT_ELF_EXPORTS_H_
