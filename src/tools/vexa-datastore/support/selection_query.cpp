#include "support/selection_query.h"

#include <algorithm>

#include <datastore/datastore.h>

namespace vexa::tool {

namespace {

std::size_t data_datastores() {
    auto const& datastores = datastore::DataStoreParseUtility::get_datastore_vector();
    return static_cast<std::size_t>(std::count_if(
        datastores.begin(), datastores.end(),
        [](auto const& datastore) { return datastore.first.source_types.test(datastore::data); }));
}

}  // namespace

std::optional<std::string> selection_query(std::vector<std::string> const& providers,
                                           std::string const& condition, std::size_t limit,
                                           GlobalOptions const& global) {
    if (global.sort_by_time && data_datastores() > 1) {
        return std::nullopt;
    }
    std::string const trimmed = vexa::str::stripws(condition);
    std::string where = trimmed.empty() ? std::string() : " (" + trimmed + ")";
    datastore::interface::generate_where_clause(providers, "Provider", where);
    std::string query = "SELECT * FROM " + datastore::table_view + " WHERE" + where;
    if (global.sort_by_time) {
        // rowid keeps rows of equal stamps in the order they were stored.
        query += " ORDER BY Timestamp, Unique_timestamp, rowid";
        if (limit > 0) {
            query += " LIMIT " + std::to_string(limit);
        }
    }
    return query;
}

}  // namespace vexa::tool
