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

int run_stale(GlobalOptions const& global, StaleOptions const& options) {
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

}  // namespace

void add_stale_command(CommandLine& line) {
    auto [command, options] = add_command(
        line,
        {"stale",
         "provider and host pairs whose latest result is older than a cutoff, and hosts that "
         "stopped reporting",
         "vexa-datastore stale --older-than 15m",
         "A host whose every result is older than the cutoff is listed once, as stopped\n"
         "reporting (Provider *); the other pairs older than the cutoff as stale.\n"},
        run_stale);
    add_older_than_option(command, options->older_than);
    add_provider_and_host_names(command, options->providers, options->hosts);
}

}  // namespace vexa::tool
