#include "statements.h"

#include <datastore/columns.h>
#include <datastore/vocabulary.h>

namespace vexa::datastore::common {

namespace {

std::string marker(Markers markers, std::size_t parameter) {
    return markers == Markers::numbered ? "?" + std::to_string(parameter) : "?";
}

}  // namespace

std::string composed_hosts_query() {
    return "SELECT *, MAX(unique_timestamp) FROM " + table_view +
           " WHERE Provider = 'uname' GROUP BY Hostname;";
}

std::string insert_query(Markers markers) {
    std::string names;
    std::string values;
    for (std::size_t i = first_stored_column; i < record_columns.size(); ++i) {
        char const* separator = i == first_stored_column ? "" : ", ";
        names += separator + std::string(record_columns[i].name);
        values += separator + marker(markers, i - first_stored_column + 1);
    }
    return "INSERT INTO " + table_name + "(" + names + ") VALUES(" + values +
           ") ON CONFLICT DO NOTHING";
}

std::string latest_row_index_name() { return table_name + "_latest"; }

std::string create_latest_row_index() {
    return "CREATE INDEX IF NOT EXISTS " + latest_row_index_name() + " ON " + table_name +
           "(Provider, Hostname, OptionID, Unique_timestamp DESC)";
}

std::string create_unique_latest_row_index() {
    return "CREATE UNIQUE INDEX " + latest_row_index_name() + " ON " + table_name +
           "(Provider, Hostname, OptionID, Unique_timestamp DESC)";
}

std::string passing_run_index_name() { return table_name + "_passed"; }

std::string create_passing_run_index() {
    return "CREATE INDEX IF NOT EXISTS " + passing_run_index_name() + " ON " + table_name +
           "(Provider, Hostname, OptionID, Unique_timestamp) WHERE Exit_status = 0";
}

namespace {

std::string pair_condition(bool null_option) {
    return std::string("Provider = ? AND Hostname = ? AND ") +
           (null_option ? "OptionID IS NULL" : "OptionID = ?");
}

}  // namespace

std::string last_pass_query(bool null_option) {
    // "Exit_status = 0" written as the index's own condition, so that both
    // database systems see that the partial index holds every row asked for.
    return "SELECT max(Unique_timestamp) FROM " + table_name + " WHERE " +
           pair_condition(null_option) + " AND Exit_status = 0";
}

std::string first_run_from_query(bool null_option) {
    return "SELECT Unique_timestamp, rowid, Timestamp FROM " + table_name + " WHERE " +
           pair_condition(null_option) +
           " AND Unique_timestamp >= ? ORDER BY Unique_timestamp, rowid LIMIT 1";
}

std::string state_table_name() { return table_name + "_state"; }

std::string latest_rows_from_state_head() {
    return "SELECT * FROM " + table_view + " WHERE rowid IN (SELECT latest_rowid FROM " +
           state_table_name() + " WHERE";
}

std::string latest_rows_from_state_tail() { return ") ORDER BY Provider, Hostname, OptionID;"; }

std::string hosts_from_state_query() {
    // Among the options of one host, the first in order holding the greatest
    // stamp wins, as in the composed query's grouping over the latest-row
    // index.
    return "SELECT * FROM " + table_view + " WHERE rowid IN (SELECT (SELECT latest_rowid FROM " +
           state_table_name() +
           " s WHERE s.Provider = 'uname' AND s.Hostname = h.Hostname ORDER BY "
           "s.Unique_timestamp DESC, s.OptionID LIMIT 1) FROM (SELECT DISTINCT Hostname FROM " +
           state_table_name() + " WHERE Provider = 'uname') h) ORDER BY Hostname;";
}

std::string prune_condition(PruneRequest const& request, Markers markers,
                            std::size_t first_provider_parameter, char const* newer_alias) {
    std::string condition = "Unique_timestamp < " + marker(markers, 1);
    if (!request.providers.empty()) {
        condition += " AND Provider IN (";
        for (std::size_t i = 0; i < request.providers.size(); ++i) {
            condition += (i == 0 ? "" : ", ") + marker(markers, first_provider_parameter + i);
        }
        condition += ")";
    }
    if (request.keep_latest) {
        // A row goes only when a newer one of its provider, host and option
        // exists; the latest-row index answers this without a scan.
        condition += " AND EXISTS (SELECT 1 FROM " + table_name + newer_alias +
                     " WHERE newer.Provider = " + table_name + ".Provider" +
                     " AND newer.Hostname = " + table_name + ".Hostname" +
                     " AND newer.OptionID = " + table_name + ".OptionID" +
                     " AND newer.Unique_timestamp > " + table_name + ".Unique_timestamp)";
    }
    return condition;
}

}  // namespace vexa::datastore::common
