#include "support/provider_summary.h"

#include <algorithm>
#include <cstdint>
#include <iostream>
#include <map>
#include <optional>
#include <set>

#include "output/output.h"
#include "output/time_text.h"
#include "support/stored_data.h"

namespace vexa::tool {

namespace {

using Since = std::optional<std::int64_t>;

// The earlier of two known times; unknown only when both are.
Since earlier(Since a, Since b) {
    if (a && b) {
        return std::min(*a, *b);
    }
    return a ? a : b;
}

struct ProviderHealth {
    std::set<std::string> hosts;
    // Each failed host with since when it has been failing (its earliest
    // failing option), when that was looked up and known.
    std::map<std::string, Since> failed_hosts;
    std::int64_t newest = 0;
};

std::map<std::string, ProviderHealth> health(std::vector<std::string> const& providers,
                                             std::vector<std::string> const& hosts,
                                             bool with_since) {
    std::map<std::string, ProviderHealth> result;
    for (auto const& provider : providers) {
        result[provider];  // a provider without results still gets its line
    }
    auto const rows = latest_rows(providers, hosts);
    auto const since = with_since ? failing_since_of(rows) : std::vector<Since>(rows.size());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        auto const& row = rows[i];
        auto& entry = result[row.Provider];
        entry.hosts.insert(row.Hostname);
        if (row.Exit_status != 0) {
            auto [failed, added] = entry.failed_hosts.emplace(row.Hostname, since[i]);
            if (!added) {
                failed->second = earlier(failed->second, since[i]);
            }
        }
        entry.newest = std::max(entry.newest, row.Timestamp);
    }
    return result;
}

Cell since_cell(Since since, GlobalOptions const& global) {
    return since ? time_cell(*since, global) : Cell();
}

}  // namespace

void print_summary(GlobalOptions const& global, SummaryOptions const& options) {
    auto providers = options.providers.empty() ? stored_providers() : options.providers;
    bool const table_format = global.format == Format::table;
    Table table{{"Provider", "hosts", "passed", "failed", "newest"}, {}};
    if (options.only_failed) {
        if (table_format) {
            table.columns.push_back("failing since");
        } else {
            table.columns.insert(table.columns.end(), {"failed_hosts", "failing_since"});
        }
    }
    std::string failed_lines;
    if (!providers.empty()) {
        for (auto const& [provider, entry] :
             health(providers, options.hosts, options.only_failed)) {
            if (options.only_failed && entry.failed_hosts.empty()) {
                continue;
            }
            std::vector<Cell> line{provider, entry.hosts.size(),
                                   entry.hosts.size() - entry.failed_hosts.size(),
                                   entry.failed_hosts.size(), time_cell(entry.newest, global)};
            if (options.only_failed && !table_format) {
                Cell hosts = Cell::array();
                Cell since = Cell::array();
                for (auto const& [host, host_since] : entry.failed_hosts) {
                    hosts.push_back(host);
                    since.push_back(since_cell(host_since, global));
                }
                line.push_back(std::move(hosts));
                line.push_back(std::move(since));
            }
            if (options.only_failed && table_format) {
                Since provider_since;
                failed_lines += provider + " failed on:";
                for (auto const& [host, host_since] : entry.failed_hosts) {
                    failed_lines += " " + host;
                    if (host_since) {
                        failed_lines += " (since " + readable_time(*host_since, global.utc) + ")";
                    }
                    provider_since = earlier(provider_since, host_since);
                }
                failed_lines += "\n";
                line.push_back(since_cell(provider_since, global));
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
