// parse_sqlite_params over arbitrary text, and the plug-ins' strict readers
// of source parameters beside it.
#include <cstddef>
#include <cstdint>
#include <string>

#include <datastore/extension.h>
#include <datastore/source_parameters.h>
#include <datastore/vocabulary.h>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string const params = vexa::fuzz::text_of(data, size);
    std::string source = "caller's default";
    bool read_only = false;
    bool const well_formed = parse_sqlite_params(params, source, read_only);
    // read_only is true only for the exact value "true".
    vexa::fuzz::check(!read_only || params.find("true") != std::string::npos,
                      "read_only set without \"true\" in the text");
    vexa::fuzz::check(source == "caller's default" || params.find("source") != std::string::npos,
                      "source assigned without a source key");
    // The strict reader takes only what the shared one reads, and reads it
    // alike; whatever it refuses, it refuses with a reason.
    try {
        auto const strict = vexa::datastore::read_sqlite_source_parameters(params);
        vexa::fuzz::check(well_formed, "the strict reader took what the shared one refused");
        vexa::fuzz::check(strict.read_only == read_only, "the readers disagree on read_only");
        vexa::fuzz::check(
            strict.source ==
                (source == "caller's default" ? vexa::datastore::DEFAULT_DATA_SOURCE : source),
            "the readers disagree on the source");
    } catch (vexa::datastore::SourceParametersError const& error) {
        vexa::fuzz::check(*error.what() != '\0', "a refusal without a reason");
    }
    try {
        vexa::datastore::read_odbc_source_parameters(params);
    } catch (vexa::datastore::SourceParametersError const& error) {
        vexa::fuzz::check(*error.what() != '\0', "a refusal without a reason");
    }
    return 0;
}
