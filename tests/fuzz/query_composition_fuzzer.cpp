// The where-clause builder and the three read compositions, reached through
// control() of an in-process extension whose select() records the text.
// Input lines: providers (comma-separated), hosts (comma-separated), the
// selection condition.
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <datastore/datastore.h>
#include <util/str.h>

#include "fuzz_support.h"
#include "recording_extension.h"

namespace {

using vexa::datastore::DataStoreExtension;
using vexa::datastore::ReadParameters;
using vexa::datastore::Row;
using vexa::datastore::SQLParameters;
using vexa::fuzz::check;

std::vector<std::string> list_of(std::vector<std::string> const& lines, std::size_t index) {
    if (index >= lines.size() || lines[index].empty()) {
        return {};
    }
    return vexa::str::split(lines[index], ',', true);
}

void check_result(int result) {
    check(result == DataStoreExtension::OPERATION_SUCCESSFULL ||
              result == DataStoreExtension::OPERATION_UNSUCCESSFULL,
          "control answered neither 0 nor 1");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::vector<std::string> const lines =
        vexa::str::split(vexa::fuzz::text_of(data, size), '\n', true);
    SQLParameters sql;
    sql.filter = lines.size() > 2 ? lines[2] : "";
    ReadParameters parameters;
    parameters.providers = list_of(lines, 0);
    parameters.hostnames = list_of(lines, 1);
    parameters.sql = &sql;

    vexa::test::RecordingExtension extension;
    extension.canned_rows = {vexa::test::row_of("canned")};
    std::vector<Row> rows;
    check_result(extension.control(vexa::datastore::OP_SELECT, &parameters, &rows, nullptr));
    check_result(
        extension.control(vexa::datastore::OP_GET_LATEST_ROWS, &parameters, &rows, nullptr));
    try {
        extension.get_latest_collect_rows(parameters.providers, rows, parameters.hostnames);
    } catch (std::runtime_error const&) {
        // A blank provider or host name is refused with an exception.
    }
    for (std::string const& query : extension.queries) {
        check(query.rfind("SELECT ", 0) == 0, "a composed query does not start with SELECT");
        check(query.find(" FROM vexa_1 WHERE") != std::string::npos,
              "a composed query does not read the view");
    }

    std::string where = sql.filter;
    try {
        bool const added = vexa::datastore::interface::generate_where_clause(parameters.providers,
                                                                             "Provider", where);
        check(added || where == sql.filter, "a refused clause changed the where text");
    } catch (std::runtime_error const&) {
        check(where == sql.filter, "a refused value changed the where text");
    }
    return 0;
}
