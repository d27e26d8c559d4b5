// The latest command: the latest result per provider and host.
#include "commands/commands.h"
#include "output/rows.h"
#include "support/open_datastores.h"
#include "support/stored_data.h"

namespace vexa::tool {

namespace {

struct LatestOptions {
    std::vector<std::string> providers;  // empty: every provider stored
    std::vector<std::string> hosts;      // empty: every host
};

int run_latest(GlobalOptions const& global, LatestOptions const& options) {
    std::size_t failed = open_datastores(global.config_file, Access::read);
    require_stored(options.providers);
    auto rows = latest_rows(options.providers, options.hosts);
    print_rows(rows, global);
    return failed == 0 ? 0 : 1;
}

}  // namespace

void add_latest_command(CommandLine& line) {
    auto [command, options] = add_command(
        line,
        {"latest",
         "the latest result per provider and host (every provider when "
         "none is named)",
         "vexa-datastore latest -p cpu_load,memory -H node003"},
        run_latest);
    add_provider_and_host_names(command, options->providers, options->hosts);
}

}  // namespace vexa::tool
