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

LatestOptions options;

}  // namespace

void add_latest_options(CLI::App* command) {
    add_provider_and_host_names(command, options.providers, options.hosts);
}

int run_latest(GlobalOptions const& global) {
    std::size_t failed = open_datastores(global.config_file, Access::read);
    require_stored(options.providers);
    auto rows = latest_rows(options.providers, options.hosts);
    print_rows(rows, global);
    return failed == 0 ? 0 : 1;
}

}  // namespace vexa::tool
