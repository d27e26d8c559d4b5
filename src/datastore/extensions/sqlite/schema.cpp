#include "schema.h"

#include <chrono>
#include <stdexcept>

#include <datastore/vocabulary.h>
#include <util/log.h>

#include "sqlite_calls.h"
#include "sqlite_schema.h"
#include "statements.h"

namespace vexa::datastore::sqlite_plugin {

namespace {

void log_info(std::string const& path, std::string const& text) {
    log::ErrorLog(6).stream() << "sqlite3 " << path << ": " << text;
}

bool latest_index_is_unique(::sqlite3* db) {
    return integer_of(db, common::sqlite_unique_latest_index_query() + ";", 0) == 1;
}

// Makes the latest-row index unique over the run key, or, where the file
// holds one run twice already (it cannot be made unique then), adds a trigger
// that does its work for the rows stored from now on. The duplicates stay:
// they are the file's history. Such a file tries again at every writable
// open, so that pruning them away lets the index take over.
void keep_retries_out(::sqlite3* db, std::string const& path) {
    if (latest_index_is_unique(db)) {
        return;
    }
    execute(db, "SAVEPOINT unique_index; DROP INDEX " + common::latest_row_index_name() + ";");
    std::string const create = common::create_unique_latest_row_index() + ";";
    if (sqlite3_exec(db, create.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK) {
        execute(db, common::drop_sqlite_skip_retried_trigger() + "; RELEASE unique_index;");
        return;
    }
    std::string const reason = sqlite3_errmsg(db);
    bool const duplicates = sqlite3_extended_errcode(db) == SQLITE_CONSTRAINT_UNIQUE;
    execute(db, "ROLLBACK TO unique_index; RELEASE unique_index;");
    if (!duplicates) {
        throw std::runtime_error(reason);
    }
    execute(db, common::create_sqlite_skip_retried_trigger() + ";");
    log_info(path, "records stored twice already (" + reason + "); a trigger skips retried " +
                       "records instead of a unique " + common::latest_row_index_name());
}

// Creates and fills the state, unless it exists.
void create_latest_state(::sqlite3* db, std::string const& path) {
    if (has_latest_state(db)) {
        return;
    }
    auto const started = std::chrono::steady_clock::now();
    for (std::string const& statement : common::sqlite_state_schema()) {
        execute(db, statement + ";");
    }
    execute(db, common::sqlite_state_fill() + ";");
    sqlite3_int64 const pairs =
        integer_of(db, "SELECT count(*) FROM " + common::state_table_name() + ";", 0);
    auto const elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - started);
    log_info(path, "latest-row state " + common::state_table_name() + " created for " +
                       std::to_string(pairs) + " pairs in " + std::to_string(elapsed.count()) +
                       " ms");
}

bool has_outdated_state_triggers(::sqlite3* db) {
    return integer_of(db, common::sqlite_outdated_state_triggers_query() + ";", 0) != 0;
}

// A state made by an older version keeps its rows; only the triggers that
// keep it change.
void renew_state_triggers(::sqlite3* db, std::string const& path) {
    if (!has_outdated_state_triggers(db)) {
        return;
    }
    for (std::string const& statement : common::sqlite_state_trigger_renewal()) {
        execute(db, statement + ";");
    }
    log_info(path, "latest-row state " + common::state_table_name() +
                       ": triggers of an older version replaced");
}

bool has_passing_run_index(::sqlite3* db) {
    return integer_of(db,
                      "SELECT count(*) FROM sqlite_master WHERE type = 'index' AND name = '" +
                          common::passing_run_index_name() + "';",
                      0) != 0;
}

// Builds the index of passing runs, unless it exists; on a large file this
// reads the whole table once, so it is logged with its time.
void create_passing_run_index(::sqlite3* db, std::string const& path) {
    if (has_passing_run_index(db)) {
        return;
    }
    auto const started = std::chrono::steady_clock::now();
    execute(db, common::create_passing_run_index() + ";");
    auto const elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - started);
    log_info(path, "index " + common::passing_run_index_name() + " of passing runs created in " +
                       std::to_string(elapsed.count()) + " ms");
}

}  // namespace

void create_schema(::sqlite3* db, std::string const& path) {
    execute(db, default_create_table_query);
    execute(db, default_create_baseline_query);
    execute(db, default_create_view_query);
    // The newest stamp comes first in each (Provider, Hostname, OptionID)
    // group, so the latest-row query takes the other columns from the group's
    // first row and visits the table once per group rather than once per row.
    execute(db, common::create_latest_row_index() + ";");
    if (latest_index_is_unique(db) && has_latest_state(db) && !has_outdated_state_triggers(db) &&
        has_passing_run_index(db)) {
        return;
    }
    // The write lock first: another process may be opening the same file, and
    // a transaction that starts by reading could not take it later.
    execute(db, "BEGIN IMMEDIATE;");
    try {
        keep_retries_out(db, path);
        create_latest_state(db, path);
        renew_state_triggers(db, path);
        create_passing_run_index(db, path);
        execute(db, "COMMIT;");
    } catch (...) {
        sqlite3_exec(db, "ROLLBACK;", nullptr, nullptr, nullptr);
        throw;
    }
}

bool has_latest_state(::sqlite3* db) {
    return integer_of(db,
                      "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = '" +
                          common::state_table_name() + "';",
                      0) != 0;
}

}  // namespace vexa::datastore::sqlite_plugin
