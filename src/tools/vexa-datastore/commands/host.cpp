// The host command: everything known about hosts, one line per provider.
#include "commands/commands.h"
#include "output/rows.h"
#include "support/open_datastores.h"
#include "support/stored_data.h"

namespace vexa::tool {

namespace {

int run_host(GlobalOptions const& global, std::vector<std::string> const& hosts) {
    std::size_t failed = open_datastores(global.config_file, Access::read);
    auto rows = latest_rows({}, hosts);
    print_rows(rows, global);
    return failed == 0 ? 0 : 1;
}

}  // namespace

void add_host_command(CommandLine& line) {
    auto [command, hosts] = add_command(
        line,
        {"host",
         "everything known about hosts: the latest result of every "
         "provider, one line each",
         "vexa-datastore host node003"},
        run_host);
    add_names(command, "host", *hosts, "host names")->required()->type_name("NODE");
}

}  // namespace vexa::tool
