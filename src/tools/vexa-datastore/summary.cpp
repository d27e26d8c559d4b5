#include "summary.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <set>

#include "commands.h"
#include "open_datastores.h"
#include "output.h"
#include "stored_data.h"
#include "time_text.h"

namespace vexa::tool {

namespace {

struct ProviderHealth {
    std::set<std::string> hosts;
    std::set<std::string> failed_hosts;
    std::int64_t newest = 0;
};

std::map<std::string, ProviderHealth> health(std::vector<std::string> const& providers,
                                             std::vector<std::string> const& hosts) {
    std::map<std::string, ProviderHealth> result;
    for (auto const& provider : providers) {
        result[provider];  // a provider without results still gets its line
    }
    for (auto const& row : latest_rows(providers, hosts)) {
        auto& entry = result[row.Provider];
        entry.hosts.insert(row.Hostname);
        if (row.Exit_status != 0) {
            entry.failed_hosts.insert(row.Hostname);
        }
        entry.newest = std::max(entry.newest, row.Timestamp);
    }
    return result;
}

int run_summary(GlobalOptions const& global, SummaryOptions const& options) {
    std::size_t failed = open_datastores(global.config_file, Access::read);
    require_stored(options.providers);
    print_summary(global, options);
    return failed == 0 ? 0 : 1;
}

}  // namespace

void print_summary(GlobalOptions const& global, SummaryOptions const& options) {
    auto providers = options.providers.empty() ? stored_providers() : options.providers;
    bool const table_format = global.format == Format::table;
    Table table{{"Provider", "hosts", "passed", "failed", "newest"}, {}};
    if (options.only_failed && !table_format) {
        table.columns.push_back("failed_hosts");
    }
    std::string failed_lines;
    if (!providers.empty()) {
        for (auto const& [provider, entry] : health(providers, options.hosts)) {
            if (options.only_failed && entry.failed_hosts.empty()) {
                continue;
            }
            std::vector<Cell> line{provider, entry.hosts.size(),
                                   entry.hosts.size() - entry.failed_hosts.size(),
                                   entry.failed_hosts.size(), time_cell(entry.newest, global)};
            if (options.only_failed && !table_format) {
                line.emplace_back(entry.failed_hosts);
            }
            if (options.only_failed && table_format) {
                failed_lines += provider + " failed on:";
                for (auto const& host : entry.failed_hosts) {
                    failed_lines += " " + host;
                }
                failed_lines += "\n";
            }
            table.rows.push_back(std::move(line));
        }
    }
    print(table, global);
    if (!failed_lines.empty()) {
        std::cout << '\n' << failed_lines;
    }
}

void add_summary_command(CommandLine& line) {
    auto options = std::make_shared<SummaryOptions>();
    auto* command =
        add_command(line, "summary",
                    "per provider, from the latest result of each host: hosts, passed, failed, "
                    "newest",
                    "vexa-datastore summary --failed -p disk_usage,memory");
    add_names(command, "-p,--provider", options->providers, "only these providers");
    add_names(command, "-H,--host", options->hosts, "only these hosts");
    command->add_flag("--failed", options->only_failed,
                      "only providers with failures, with every failed host");
    set_action(line, command,
               [options, &global = line.global] { return run_summary(global, *options); });
}

}  // namespace vexa::tool
