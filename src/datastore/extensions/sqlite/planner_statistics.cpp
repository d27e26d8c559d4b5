#include "planner_statistics.h"

#include <exception>
#include <string>

#include <datastore/vocabulary.h>

#include "sqlite_calls.h"
#include "statements.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

// The row count recorded by the last analysis, or -1 when there is none.
sqlite3_int64 analysed_rows(::sqlite3* db) {
    if (integer_of(db, "SELECT count(*) FROM sqlite_master WHERE name = 'sqlite_stat1';", 0) == 0) {
        return -1;
    }
    // The stat text starts with the number of rows the index had.
    return integer_of(db,
                      "SELECT CAST(stat AS INTEGER) FROM sqlite_stat1 WHERE idx = '" +
                          common::latest_row_index_name() + "';",
                      -1);
}

// Rows are only ever appended, so the largest rowid counts them without a
// scan.
sqlite3_int64 current_rows(::sqlite3* db) {
    return integer_of(db, "SELECT max(rowid) FROM " + table_name + ";", 0);
}

}  // namespace

void refresh_planner_statistics(::sqlite3* db) noexcept {
    try {
        sqlite3_int64 const rows = current_rows(db);
        sqlite3_int64 const analysed = analysed_rows(db);
        bool const stale = rows > 0 && (analysed < 0 || rows > 2 * analysed || 2 * rows < analysed);
        if (stale) {
            execute(db, "ANALYZE " + table_name + ";");
        }
    } catch (std::exception const&) {
        // Old statistics, or none, still give correct results.
    }
}

}  // namespace vexa::datastore::sqlite_plugin
