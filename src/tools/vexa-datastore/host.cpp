// The host command: everything known about hosts, one line per provider.
#include "commands.h"
#include "open_datastores.h"
#include "rows.h"
#include "stored_data.h"

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
    auto hosts = std::make_shared<std::vector<std::string>>();
    auto* command = add_command(line, "host",
                                "everything known about hosts: the latest result of every "
                                "provider, one line each",
                                "vexa-datastore host node003");
    add_names(command, "host", *hosts, "host names")->required()->type_name("NODE");
    set_action(line, command, [hosts, &global = line.global] { return run_host(global, *hosts); });
}

}  // namespace vexa::tool
