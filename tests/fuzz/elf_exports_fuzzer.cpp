// The ELF reader of `config check` on any bytes: it must answer with a fault
// or a list of functions, never read outside the input or crash.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "fuzz_support.h"
#include "support/elf_exports.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const bytes(reinterpret_cast<char const*>(data), size);
    vexa::tool::ElfExports const exports = vexa::tool::read_elf_exports(bytes);
    vexa::fuzz::check(exports.fault.empty() || exports.functions.empty(),
                      "a faulty file also listed functions");
    return 0;
}
