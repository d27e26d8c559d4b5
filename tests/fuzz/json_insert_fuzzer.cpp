// The tool's JSON Lines reader feeding OP_INSERT of an SQLite datastore in a
// scratch directory: every line that reads as a record is stored.
#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <vector>

#include <datastore/datastore.h>
#include <util/log.h>
#include <util/str.h>
#include <nlohmann/json.hpp>

#include "fuzz_support.h"
#include "support/json_record.h"

namespace {

using vexa::datastore::DataStoreExtension;

DataStoreExtension& datastore() {
    static vexa::fuzz::ExtensionPtr const extension = [] {
        vexa::log::LOG_LEVEL = -1;
        vexa::fuzz::ExtensionPtr opened = vexa::fuzz::create_sqlite_extension();
        std::string const file = vexa::fuzz::scratch_dir() + "/insert.db";
        vexa::fuzz::check(opened->open_instance("source=" + file + "|read_only=false") ==
                              DataStoreExtension::OPERATION_SUCCESSFULL,
                          "cannot open the scratch datastore");
        return opened;
    }();
    return *extension;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    // Unique time stamps stay unique across inputs, as in one run of the tool.
    static std::int64_t stamp = 0;
    for (std::string const& line : vexa::str::split(vexa::fuzz::text_of(data, size), '\n', false)) {
        if (vexa::str::stripws(line).empty()) {
            continue;
        }
        vexa::datastore::InsertRequest record;
        try {
            // The tool reports such a line by number and skips it.
            record = vexa::tool::record_from_json(nlohmann::json::parse(line), ++stamp);
        } catch (std::exception const&) {
            continue;
        }
        int const result =
            datastore().control(vexa::datastore::OP_INSERT, nullptr, &record, nullptr);
        vexa::fuzz::check(result == DataStoreExtension::OPERATION_SUCCESSFULL ||
                              result == DataStoreExtension::OPERATION_UNSUCCESSFULL,
                          "OP_INSERT answered neither 0 nor 1");
    }
    return 0;
}
