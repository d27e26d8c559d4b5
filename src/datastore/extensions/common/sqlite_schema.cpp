#include "sqlite_schema.h"

#include <datastore/vocabulary.h>

#include "statements.h"

namespace vexa::datastore::common {

namespace {

// The suffixes, after the state table's name, of the triggers that keep it.
constexpr char kInsertPairTrigger[] = "_insert_pair";
constexpr char kInsertNullKeyTrigger[] = "_insert_null_key";
constexpr char kDeleteTrigger[] = "_delete";
constexpr char kUpdateTrigger[] = "_update";

// The key of a pair compared with the trigger row `row` ("NEW" or "OLD");
// IS, so that a NULL in the key is a value of its own, as GROUP BY takes it.
std::string same_pair(std::string const& row) {
    return "Provider IS " + row + ".Provider AND Hostname IS " + row +
           ".Hostname AND OptionID IS " + row + ".OptionID";
}

// Makes the row `row` the latest of its pair when it is newer than the
// state's (or as new and stored first), or when the pair has none yet.
std::string take_if_newer(std::string const& row) {
    std::string const state = state_table_name();
    return "UPDATE " + state + " SET Unique_timestamp = " + row +
           ".Unique_timestamp, latest_rowid = " + row + ".rowid WHERE " + same_pair(row) +
           " AND (Unique_timestamp < " + row + ".Unique_timestamp OR (Unique_timestamp = " + row +
           ".Unique_timestamp AND latest_rowid > " + row + ".rowid)); INSERT INTO " + state +
           " SELECT " + row + ".Provider, " + row + ".Hostname, " + row + ".OptionID, " + row +
           ".Unique_timestamp, " + row + ".rowid WHERE NOT EXISTS (SELECT 1 FROM " + state +
           " WHERE " + same_pair(row) + ");";
}

// Whether the key of the trigger row `row` holds no NULL: only then does
// the state's key index, where NULLs never match, find the pair's row.
std::string key_without_null(std::string const& row) {
    return row + ".Provider IS NOT NULL AND " + row + ".Hostname IS NOT NULL AND " + row +
           ".OptionID IS NOT NULL";
}

// Makes the pair of `values` (Provider, Hostname, OptionID,
// Unique_timestamp, rowid, in that order) take the row when it is newer than
// the state's, in one statement: the key index finds the state's row once,
// where the UPDATE and the INSERT of take_if_newer look it up twice. Only for
// keys without a NULL, which the key index never matches. Unqualified names
// in DO UPDATE are the state row's.
std::string upsert_if_newer(std::string const& values) {
    return "INSERT INTO " + state_table_name() + " VALUES(" + values +
           ") ON CONFLICT(Provider, Hostname, OptionID) DO UPDATE SET Unique_timestamp = "
           "excluded.Unique_timestamp, latest_rowid = excluded.latest_rowid WHERE "
           "Unique_timestamp < excluded.Unique_timestamp OR (Unique_timestamp = "
           "excluded.Unique_timestamp AND latest_rowid > excluded.latest_rowid)";
}

// After the row `row` left its pair: when it was the latest, the next one
// takes its place through the latest-row index; a pair with no row left
// leaves the state.
std::string replace_if_latest(std::string const& row) {
    std::string const state = state_table_name();
    return "DELETE FROM " + state + " WHERE " + same_pair(row) + " AND latest_rowid = " + row +
           ".rowid; INSERT INTO " + state +
           " SELECT Provider, Hostname, OptionID, Unique_timestamp, rowid FROM " + table_name +
           " WHERE " + same_pair(row) + " AND NOT EXISTS (SELECT 1 FROM " + state + " WHERE " +
           same_pair(row) + ") ORDER BY Unique_timestamp DESC, rowid LIMIT 1;";
}

// The name of the insert trigger of older versions, one general body for
// every inserted row.
std::string general_insert_trigger_name() { return state_table_name() + "_insert"; }

std::vector<std::string> insert_triggers() {
    std::string const state = state_table_name();
    // Inserts are the common write, so theirs is the cheap path; a key
    // holding a NULL, which only other programs write, takes the general one.
    return {
        "CREATE TRIGGER IF NOT EXISTS " + state + kInsertPairTrigger + " AFTER INSERT ON " +
            table_name + " WHEN " + key_without_null("NEW") + " BEGIN " +
            upsert_if_newer(
                "NEW.Provider, NEW.Hostname, NEW.OptionID, NEW.Unique_timestamp, NEW.rowid") +
            "; END",
        "CREATE TRIGGER IF NOT EXISTS " + state + kInsertNullKeyTrigger + " AFTER INSERT ON " +
            table_name + " WHEN NOT (" + key_without_null("NEW") + ") BEGIN " +
            take_if_newer("NEW") + " END",
    };
}

}  // namespace

std::vector<std::string> sqlite_state_schema() {
    std::string const state = state_table_name();
    std::vector<std::string> statements{
        "CREATE TABLE IF NOT EXISTS " + state +
            "(Provider TEXT, Hostname TEXT, OptionID TEXT, Unique_timestamp INTEGER, "
            "latest_rowid INTEGER)",
        "CREATE UNIQUE INDEX IF NOT EXISTS " + state + "_pair ON " + state +
            "(Provider, Hostname, OptionID)",
    };
    for (std::string& trigger : insert_triggers()) {
        statements.push_back(std::move(trigger));
    }
    statements.push_back("CREATE TRIGGER IF NOT EXISTS " + state + kDeleteTrigger +
                         " AFTER DELETE ON " + table_name + " BEGIN " + replace_if_latest("OLD") +
                         " END");
    // Only the columns the state depends on; the row leaves its old pair
    // first, then counts in its new one.
    statements.push_back("CREATE TRIGGER IF NOT EXISTS " + state + kUpdateTrigger +
                         " AFTER UPDATE OF rowid, Provider, Hostname, OptionID, "
                         "Unique_timestamp ON " +
                         table_name + " BEGIN " + replace_if_latest("OLD") + " " +
                         take_if_newer("NEW") + " END");
    return statements;
}

std::string sqlite_outdated_state_triggers_query() {
    return "SELECT count(*) FROM sqlite_master WHERE type = 'trigger' AND name = '" +
           general_insert_trigger_name() + "'";
}

std::vector<std::string> sqlite_state_trigger_renewal() {
    std::vector<std::string> statements{"DROP TRIGGER IF EXISTS " + general_insert_trigger_name()};
    for (std::string& trigger : insert_triggers()) {
        statements.push_back(std::move(trigger));
    }
    return statements;
}

std::string sqlite_state_upsert() { return upsert_if_newer("?1, ?2, ?3, ?4, ?5"); }

std::string sqlite_other_triggers_query() {
    std::string query =
        "SELECT count(*) FROM sqlite_master WHERE type = 'trigger' AND name NOT IN (";
    for (char const* suffix :
         {kInsertPairTrigger, kInsertNullKeyTrigger, kDeleteTrigger, kUpdateTrigger}) {
        query += (suffix == kInsertPairTrigger ? "'" : ", '") + state_table_name() + suffix + "'";
    }
    return query + ")";
}

std::string sqlite_state_fill() {
    // SQLite takes the bare rowid from the row holding the maximum, the first
    // such row in the latest-row index's order, as the composed query does.
    return "INSERT INTO " + state_table_name() +
           " SELECT Provider, Hostname, OptionID, MAX(Unique_timestamp), rowid FROM " + table_name +
           " GROUP BY Provider, Hostname, OptionID";
}

std::string sqlite_unique_latest_index_query() {
    return "SELECT count(*) FROM pragma_index_list('" + table_name + "') WHERE name = '" +
           latest_row_index_name() + "' AND \"unique\" = 1";
}

std::string create_sqlite_skip_retried_trigger() {
    return "CREATE TRIGGER IF NOT EXISTS " + table_name + "_skip_retried BEFORE INSERT ON " +
           table_name + " WHEN EXISTS (SELECT 1 FROM " + table_name +
           " WHERE Provider = NEW.Provider AND Hostname = NEW.Hostname AND OptionID = "
           "NEW.OptionID AND Unique_timestamp = NEW.Unique_timestamp) BEGIN SELECT "
           "RAISE(IGNORE); END";
}

std::string drop_sqlite_skip_retried_trigger() {
    return "DROP TRIGGER IF EXISTS " + table_name + "_skip_retried";
}

}  // namespace vexa::datastore::common
