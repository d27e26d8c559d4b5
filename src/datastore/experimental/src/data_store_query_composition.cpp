// The SQL texts that the read operations of `interface` hand to select().
// Extensions receive only the finished text, so values are quoted but never
// escaped or bound.
#include <datastore/extension.h>

#include <stdexcept>

#include <datastore/vocabulary.h>
#include <util/str.h>

namespace vexa::datastore {

namespace {

constexpr char kProviderColumn[] = "Provider";
constexpr char kHostnameColumn[] = "Hostname";
constexpr char kGroupByRunKey[] = "GROUP BY OptionID, Hostname, Provider;";

}  // namespace

bool interface::select_latest_rows(std::vector<std::string> providers,
                                   std::vector<std::string> hosts, std::vector<Row>& out,
                                   std::string const& head, std::string const& tail) {
    if (!is_ready()) {
        return false;
    }
    out.clear();
    std::string where;
    if (!generate_where_clause(std::move(providers), kProviderColumn, where)) {
        return false;
    }
    generate_where_clause(std::move(hosts), kHostnameColumn, where);
    return select(head + where + tail, out, column_index_map);
}

bool interface::generate_where_clause(std::vector<std::string> values, std::string column,
                                      std::string& where) {
    if (column.empty() || values.empty()) {
        return false;
    }
    std::string clause = " (" + column + " IN (";
    for (std::size_t i = 0; i < values.size(); ++i) {
        std::string const value = str::stripws(values[i]);
        if (value.empty()) {
            throw std::runtime_error("Invalid parameters to where query for " + column);
        }
        clause += "'" + value + "'";
        if (i + 1 < values.size()) {
            clause += ",";
        }
    }
    clause += ") )";
    // The clause starts with a blank, so a joined clause reads " AND  (".
    where += where.empty() ? clause : " AND " + clause;
    return true;
}

bool interface::select_provider(std::vector<std::string> providers, std::vector<Row>& out,
                                std::string condition) {
    std::string where = condition.empty() ? std::string() : " (" + condition + ")";
    if (!generate_where_clause(std::move(providers), kProviderColumn, where)) {
        return false;
    }
    // No terminating semicolon here, unlike the latest-rows queries.
    return select("SELECT * FROM " + table_view + " WHERE" + where, out, column_index_map);
}

bool interface::get_latest_rows_provider(std::vector<std::string> providers, std::vector<Row>& out,
                                         std::vector<std::string> hosts) {
    // The where clause ends in ")", so "GROUP BY" follows it without a blank.
    return select_latest_rows(std::move(providers), std::move(hosts), out,
                              "SELECT *, MAX(unique_timestamp) FROM " + table_view + " WHERE",
                              kGroupByRunKey);
}

bool interface::get_latest_collect_rows(std::vector<std::string> providers, std::vector<Row>& out,
                                        std::vector<std::string> hosts) {
    // As above, "AND" follows the closing parenthesis without a blank; the
    // comparison spells "Unique_timestamp", the sub-query "unique_timestamp".
    return select_latest_rows(std::move(providers), std::move(hosts), out,
                              "SELECT * FROM " + table_view + " WHERE",
                              "AND Unique_timestamp = (SELECT MAX(unique_timestamp) FROM " +
                                  table_view + ") " + kGroupByRunKey);
}

}  // namespace vexa::datastore
