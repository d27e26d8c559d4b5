// parse_sqlite_params over arbitrary text.
#include <cstddef>
#include <cstdint>
#include <string>

#include <datastore/extension.h>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const params = vexa::fuzz::text_of(data, size);
    std::string source = "caller's default";
    bool read_only = false;
    parse_sqlite_params(params, source, read_only);
    // read_only is true only for the exact value "true".
    vexa::fuzz::check(!read_only || params.find("true") != std::string::npos,
                      "read_only set without \"true\" in the text");
    vexa::fuzz::check(source == "caller's default" || params.find("source") != std::string::npos,
                      "source assigned without a source key");
    return 0;
}
