// The stale command: results older than a cutoff, and hosts that stopped
// reporting.
#include "commands/commands.h"
#include "monitoring/stale_pairs.h"
#include "output/time_text.h"
#include "support/open_datastores.h"
#include "support/stored_data.h"
#include "support/time_arguments.h"

namespace vexa::tool {

namespace {

struct StaleOptions {
    std::string older_than;
    std::vector<std::string> providers;  // empty: every provider stored
    std::vector<std::string> hosts;      // empty: every host
};

StaleOptions options;

}  // namespace

void add_stale_options(CLI::App* command) {
    add_older_than_option(command, options.older_than);
    add_provider_and_host_names(command, options.providers, options.hosts);
}

int run_stale(GlobalOptions const& global) {
    std::int64_t const cutoff =
        now_seconds() - duration_seconds(options.older_than, "--older-than");
    std::size_t failed = open_datastores(global.config_file, Access::read);
    require_stored(options.providers);
    Staleness staleness = find_stale(latest_rows(options.providers, options.hosts), cutoff);
    Table table{{"Hostname", "Provider", "latest", "state"}, {}};
    for (auto const& host : staleness.silent_hosts) {
        table.rows.push_back(
            {host.host, "*", time_cell(host.timestamp, global), "stopped reporting"});
    }
    for (auto const& pair : staleness.stale_pairs) {
        table.rows.push_back(
            {pair.host, pair.provider, time_cell(pair.timestamp, global), "stale"});
    }
    print(table, global);
    return failed == 0 ? 0 : 1;
}

}  // namespace vexa::tool
