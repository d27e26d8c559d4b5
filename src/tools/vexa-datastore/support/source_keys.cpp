#include "support/source_keys.h"

#include <datastore/source_parameters.h>

#include "support/closest_name.h"

namespace vexa::tool {

std::string source_parameters_fault(datastore::DataStoreConfig const& config) {
    try {
        // Read by the plug-ins' own readers: the tool refuses exactly what
        // opening would.
        switch (config.type) {
            case datastore::sqlite3:
                datastore::read_sqlite_source_parameters(config.source_parameters);
                return "";
            case datastore::odbc:
                datastore::read_odbc_source_parameters(config.source_parameters);
                return "";
            default:
                return "";
        }
    } catch (datastore::SourceParametersError const& error) {
        if (error.unknown_key().empty()) {
            return error.what();
        }
        return "unknown source key '" + error.unknown_key() + "'" +
               did_you_mean(error.unknown_key(), error.known_keys());
    }
}

}  // namespace vexa::tool
