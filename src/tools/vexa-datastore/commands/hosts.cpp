// The hosts command: the latest host record (uname) of every host.
#include "commands/commands.h"
#include "output/rows.h"
#include "support/failed_datastores.h"
#include "support/open_datastores.h"

namespace vexa::tool {

int run_hosts(GlobalOptions const& global) {
    std::size_t failed = open_datastores(global.config_file, Access::read);
    std::vector<datastore::Row> rows;
    if (!datastore::get_hosts_data(rows, datastore::column_index_map)) {
        datastore::SQLParameters sql;
        datastore::ReadParameters parameters{{"uname"}, {}, &sql};
        throw_if_a_datastore_failed(datastore::OP_SELECT_HOSTS, parameters, "the hosts query");
    }
    print_rows(rows, global);
    return failed == 0 ? 0 : 1;
}

}  // namespace vexa::tool
