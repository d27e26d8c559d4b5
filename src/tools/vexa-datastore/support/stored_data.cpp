#include "support/stored_data.h"

#include <iostream>
#include <set>
#include <stdexcept>

#include "support/closest_name.h"
#include "support/datastore_failures.h"
#include "support/names.h"

namespace vexa::tool {

using datastore::Row;

namespace {

// The providers one after the other, each found from the one before through
// the index that leads with Provider: a lookup per provider, where DISTINCT
// would walk every row of the history.
std::string distinct_providers_query() {
    return "WITH RECURSIVE providers(Provider) AS (SELECT MIN(Provider) FROM " +
           datastore::table_view + " UNION ALL SELECT (SELECT MIN(Provider) FROM " +
           datastore::table_view +
           " WHERE Provider > providers.Provider) FROM providers WHERE providers.Provider IS NOT "
           "NULL) SELECT Provider FROM providers WHERE Provider IS NOT NULL";
}

std::set<std::string> every_stored_provider() {
    auto const rows =
        selected_rows(distinct_providers_query(), {"Provider"}, "the list of providers");
    std::set<std::string> names;  // several datastores may hold one provider
    for (auto const& row : rows) {
        names.insert(row.Provider);
    }
    return names;
}

}  // namespace

std::vector<Row> selected_rows(std::string const& query, std::vector<std::string> const& columns,
                               std::string const& request) {
    std::map<std::string, int> fields;
    for (auto const& column : columns) {
        fields.emplace(column, datastore::column_index_map.at(column));
    }
    std::vector<Row> rows;
    std::vector<datastore::DatastoreFailure> failures;
    datastore::select_data_with_failures(query, rows, fields, &failures);
    note_failures(failures, request);
    return rows;
}

std::vector<std::string> stored_providers() {
    std::vector<std::string> usable;
    std::vector<std::string> skipped;
    for (auto const& name : every_stored_provider()) {
        (quote_problem(name).empty() ? usable : skipped).push_back(name);
    }
    if (!skipped.empty()) {
        std::cerr << "vexa-datastore: warning: skipped provider " << quoted_list(skipped)
                  << ": a name holding a single quote cannot be queried\n";
    }
    return usable;
}

void require_stored(std::vector<std::string> const& providers) {
    auto const stored = every_stored_provider();
    for (auto const& name : providers) {
        if (stored.count(name) == 0) {
            throw std::runtime_error("no provider '" + name + "'" +
                                     did_you_mean(name, {stored.begin(), stored.end()}));
        }
    }
}

std::vector<Row> latest_rows(std::vector<std::string> providers,
                             std::vector<std::string> const& hosts) {
    if (providers.empty()) {
        providers = stored_providers();
    }
    std::vector<Row> rows;
    if (!providers.empty()) {
        std::vector<datastore::DatastoreFailure> failures;
        datastore::get_latest_rows_provider_hosts_data_with_failures(providers, rows, hosts,
                                                                     &failures);
        note_failures(failures, "the latest rows of " + quoted_list(providers));
    }
    return rows;
}

std::vector<std::optional<std::int64_t>> failing_since_of(std::vector<Row> const& latest) {
    std::set<std::string> failing_providers;
    for (auto const& row : latest) {
        if (row.Exit_status != 0) {
            failing_providers.insert(row.Provider);
        }
    }
    std::vector<std::optional<std::int64_t>> since;
    std::vector<datastore::DatastoreFailure> failures;
    datastore::failing_since(latest, since, &failures);
    since.resize(latest.size());  // one per row even when no datastore answered
    note_failures(failures, "the failing-since look-up of " +
                                quoted_list({failing_providers.begin(), failing_providers.end()}));
    return since;
}

}  // namespace vexa::tool
