// The latest command: the latest result per provider and host.
#include "commands.h"
#include "open_datastores.h"
#include "rows.h"
#include "stored_data.h"

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
    auto options = std::make_shared<LatestOptions>();
    auto* command = add_command(line, "latest",
                                "the latest result per provider and host (every provider when "
                                "none is named)",
                                "vexa-datastore latest -p cpu_load,memory -H node003");
    add_names(command, "-p,--provider", options->providers, "only these providers");
    add_names(command, "-H,--host", options->hosts, "only these hosts");
    set_action(line, command,
               [options, &global = line.global] { return run_latest(global, *options); });
}

}  // namespace vexa::tool
