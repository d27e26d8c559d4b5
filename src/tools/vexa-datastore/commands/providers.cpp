// The providers command: the provider names stored, with their record
// counts and newest time.
#include <algorithm>
#include <map>

#include "commands/commands.h"
#include "output/time_text.h"
#include "support/open_datastores.h"
#include "support/stored_data.h"

namespace vexa::tool {

namespace {

struct ProviderCount {
    std::int64_t records = 0;
    std::int64_t newest = 0;
};

// Counted by each datastore with the record query every plug-in serves: the
// count comes back in rowid, the newest time in Timestamp.
std::map<std::string, ProviderCount> provider_counts() {
    auto const rows =
        selected_rows("SELECT Provider, count(*) AS rowid, MAX(Timestamp) AS Timestamp FROM " +
                          datastore::table_view + " GROUP BY Provider",
                      {"Provider", "rowid", "Timestamp"}, "the list of providers");
    std::map<std::string, ProviderCount> counts;
    for (auto const& row : rows) {
        auto& count = counts[row.Provider];
        count.records += row.rowid;
        count.newest = std::max(count.newest, row.Timestamp);
    }
    return counts;
}

}  // namespace

int run_providers(GlobalOptions const& global) {
    std::size_t failed = open_datastores(global.config_file, Access::read);
    Table table{{"Provider", "records", "newest"}, {}};
    for (auto const& [provider, count] : provider_counts()) {
        table.rows.push_back({provider, count.records, time_cell(count.newest, global)});
    }
    print(table, global);
    return failed == 0 ? 0 : 1;
}

}  // namespace vexa::tool
