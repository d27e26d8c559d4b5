// The hosts command: the latest host record (uname) of every host.
#include "commands/commands.h"
#include "output/rows.h"
#include "support/datastore_failures.h"
#include "support/open_datastores.h"

namespace vexa::tool {

int run_hosts(GlobalOptions const& global) {
    std::size_t failed = open_datastores(global.config_file, Access::read);
    std::vector<datastore::Row> rows;
    std::vector<datastore::DatastoreFailure> failures;
    datastore::get_hosts_data_with_failures(rows, datastore::column_index_map, &failures);
    note_failures(failures, "the hosts query");
    print_rows(rows, global);
    return failed == 0 ? 0 : 1;
}

}  // namespace vexa::tool
