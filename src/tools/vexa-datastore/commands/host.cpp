// The host command: everything known about hosts, one line per provider,
// and since when each failing one has been failing.
#include "commands/commands.h"
#include "output/rows.h"
#include "support/open_datastores.h"
#include "support/stored_data.h"

namespace vexa::tool {

namespace {

std::vector<std::string> hosts;

}  // namespace

void add_host_options(CLI::App* command) {
    add_names(command, "host", hosts, "host names")->required()->type_name("NODE");
}

int run_host(GlobalOptions const& global) {
    std::size_t failed = open_datastores(global.config_file, Access::read);
    auto rows = latest_rows({}, hosts);
    order_rows(rows, global);
    print_latest_rows(rows, failing_since_of(rows), global);
    return failed == 0 ? 0 : 1;
}

}  // namespace vexa::tool
