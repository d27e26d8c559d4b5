#include "source_settings.h"

#include <stdexcept>

#include <datastore/source_parameters.h>
#include <util/fs.h>

namespace vexa::datastore::sqlite_plugin {

SourceSettings read_source_settings(std::string const& parameters) {
    SqliteSourceParameters const read = read_sqlite_source_parameters(parameters);
    SourceSettings settings;
    settings.read_only = read.read_only;
    settings.full_sync = read.full_sync;
    settings.time_limit = read.time_limit;
    settings.path = fs::expand_path(read.source);
    if (settings.path.empty()) {
        throw std::runtime_error("no database file named");
    }
    return settings;
}

}  // namespace vexa::datastore::sqlite_plugin
