#include "support/failed_datastores.h"

#include <memory>
#include <stdexcept>
#include <vector>

namespace vexa::tool {

namespace {

// control() keeps a failed operation's exception to itself. For user-written
// SQL (OP_SELECT) the datastore's own words are what the user needs, so the
// typed operation is asked directly once more, for its message only.
std::string sql_error(std::weak_ptr<datastore::DataStoreExtension> const& handle,
                      datastore::ReadParameters const& parameters) {
    auto extension = std::dynamic_pointer_cast<datastore::interface>(handle.lock());
    if (extension == nullptr || parameters.sql == nullptr) {
        return "";
    }
    auto const& sql = *parameters.sql;
    std::vector<datastore::Row> rows;
    try {
        if (sql.query.empty()) {
            extension->select_provider(parameters.providers, rows, vexa::str::stripws(sql.filter));
        } else {
            extension->select(sql.query, rows, sql.fields);
        }
    } catch (std::exception const& e) {
        return e.what();
    }
    return "";
}

}  // namespace

void throw_if_a_datastore_failed(unsigned short opcode, datastore::ReadParameters const& parameters,
                                 std::string const& request) {
    for (auto const& [config, handle] : datastore::DataStoreParseUtility::get_datastore_vector()) {
        if (!config.source_types.test(datastore::data)) {
            continue;
        }
        std::vector<datastore::Row> rows;
        if (datastore::execute_ioctl({config.instance_name}, opcode, &parameters, &rows, nullptr,
                                     nullptr) == 0) {
            std::string reason =
                opcode == datastore::OP_SELECT ? sql_error(handle, parameters) : "";
            throw std::runtime_error("datastore \"" + config.instance_name + "\" failed to run " +
                                     request + (reason.empty() ? "" : ": " + reason));
        }
    }
}

}  // namespace vexa::tool
