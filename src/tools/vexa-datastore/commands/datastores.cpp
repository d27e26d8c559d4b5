// The datastores command: the configured instances, completed, and whether
// each opened.
#include <stdexcept>

#include "commands/commands.h"
#include "output/output.h"
#include "support/name_of.h"
#include "support/open_datastores.h"

namespace vexa::tool {

using datastore::DataStoreConfig;

namespace {

std::string source_type_names(DataStoreConfig const& config) {
    std::string names;
    for (auto const& [name, bit] : datastore::source_type_map) {
        if (config.source_types.test(static_cast<std::size_t>(bit))) {
            names += (names.empty() ? "" : "|") + name;
        }
    }
    return names;
}

std::string description(std::string const& instance_name) {
    for (auto const& [config, handle] :
         datastore::DataStoreParseUtility::locate_datastores({instance_name})) {
        if (auto extension = handle.lock()) {
            return extension->describe();
        }
    }
    return "";
}

}  // namespace

int run_datastores(GlobalOptions const& global) {
    Table table{{"instance_name", "type", "source_types", "library", "opened", "description"}, {}};
    std::size_t closed = 0;
    for (auto const& [config, error] :
         open_configured_datastores(global.config_file, Access::read)) {
        bool opened = error.empty();
        closed += opened ? 0 : 1;
        table.rows.push_back({config.instance_name,
                              name_of(datastore::database_type_map, config.type),
                              source_type_names(config), library_path(config), opened,
                              opened ? description(config.instance_name) : error});
    }
    print(table, global);
    if (closed > 0) {
        throw std::runtime_error(std::to_string(closed) + " of " +
                                 std::to_string(table.rows.size()) +
                                 " configured datastores did not open");
    }
    return 0;
}

}  // namespace vexa::tool
