#include "summary.h"

#include <algorithm>
#include <map>
#include <set>

#include "failed_datastores.h"
#include "open_datastores.h"
#include "output.h"
#include "time_text.h"

namespace vexa::tool {

using datastore::ReadParameters;
using datastore::Row;

namespace {

struct ProviderHealth {
    std::set<std::string> hosts;
    std::set<std::string> failed_hosts;
    std::int64_t newest = 0;
};

std::vector<std::string> stored_providers() {
    std::string const query = "SELECT DISTINCT Provider FROM " + datastore::table_view;
    std::map<std::string, int> const fields{
        {"Provider", datastore::column_index_map.at("Provider")}};
    std::vector<Row> rows;
    if (!datastore::select_data(query, rows, fields)) {
        datastore::SQLParameters sql;
        sql.query = query;
        sql.fields = fields;
        throw_if_a_datastore_failed(datastore::OP_SELECT, ReadParameters{{}, {}, &sql},
                                    "the list of providers");
    }
    std::set<std::string> names;  // several datastores may hold one provider
    for (auto const& row : rows) {
        names.insert(row.Provider);
    }
    return {names.begin(), names.end()};
}

std::map<std::string, ProviderHealth> health(std::vector<std::string> const& providers,
                                             std::vector<std::string> const& hosts) {
    std::map<std::string, ProviderHealth> result;
    for (auto const& provider : providers) {
        result[provider];  // a provider without results still gets its line
    }
    std::vector<Row> rows;
    if (!datastore::get_latest_rows_provider_hosts_data(providers, rows, hosts)) {
        throw_if_a_datastore_failed(datastore::OP_GET_LATEST_ROWS,
                                    ReadParameters{providers, hosts, nullptr},
                                    "the latest rows for the summary");
    }
    for (auto const& row : rows) {
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
    Table table{{"Provider", "hosts", "passed", "failed", "newest"}, {}};
    if (options.list_failed) {
        table.columns.push_back("failed_hosts");
    }
    if (!providers.empty()) {
        for (auto const& [provider, entry] : health(providers, options.hosts)) {
            std::vector<Cell> line{provider, entry.hosts.size(),
                                   entry.hosts.size() - entry.failed_hosts.size(),
                                   entry.failed_hosts.size(), readable_time(entry.newest)};
            if (options.list_failed) {
                line.emplace_back(entry.failed_hosts);
            }
            table.rows.push_back(std::move(line));
        }
    }
    print(table, global.format);
}

int run_summary(GlobalOptions const& global, SummaryOptions const& options) {
    open_datastores_or_fail(global.config_file);
    print_summary(global, options);
    return 0;
}

}  // namespace vexa::tool
