#include "support/provider_summary.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <set>

#include "output/output.h"
#include "output/time_text.h"
#include "support/stored_data.h"

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

}  // namespace vexa::tool
