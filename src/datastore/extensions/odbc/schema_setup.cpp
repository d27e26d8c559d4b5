#include "schema_setup.h"

#include <chrono>

#include <util/log.h>

#include "schema.h"
#include "statements.h"

namespace vexa::datastore::odbc_plugin {

namespace {

bool exists(SQLHDBC dbc, Dbms dbms, std::string const& name) {
    std::string const query = object_presence_query(dbms, name);
    return !query.empty() && first_text(dbc, query) != "0";
}

void log_info(std::string const& display, std::string const& text) {
    log::ErrorLog(6).stream() << "odbc " << display << ": " << text;
}

// The duplicates stay: they are the table's history.
void keep_retries_out(SQLHDBC dbc, Dbms dbms, std::string const& display) {
    std::string const unique_query = unique_latest_index_query(dbms);
    if (unique_query.empty() || first_text(dbc, unique_query) != "0") {
        return;
    }
    if (first_text(dbc, duplicate_runs_query()) == "0") {
        run_in_transaction(dbc, unique_latest_index_statements(dbms));
        return;
    }
    run_in_transaction(dbc, skip_retried_statements(dbms));
    log_info(display,
             "records stored twice already; a trigger skips retried records instead of "
             "a unique " +
                 common::latest_row_index_name());
}

void create_latest_state(SQLHDBC dbc, Dbms dbms, std::string const& display) {
    if (dbms == Dbms::other || has_latest_state(dbc, dbms)) {
        return;
    }
    auto const started = std::chrono::steady_clock::now();
    run_in_transaction(dbc, latest_state_statements(dbms));
    auto const elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - started);
    std::string const pairs = first_text(dbc, "SELECT count(*) FROM " + common::state_table_name());
    log_info(display, "latest-row state " + common::state_table_name() + " created for " + pairs +
                          " pairs in " + std::to_string(elapsed.count()) + " ms");
}

// A state made by an older version keeps its rows; only the triggers that
// keep it change.
void renew_state_triggers(SQLHDBC dbc, Dbms dbms, std::string const& display) {
    std::string const query = outdated_state_triggers_query(dbms);
    if (query.empty() || first_text(dbc, query) == "0") {
        return;
    }
    run_in_transaction(dbc, state_trigger_renewal(dbms));
    log_info(display, "latest-row state " + common::state_table_name() +
                          ": triggers of an older version replaced");
}

// On a large table the build reads it whole once, so it is logged with its
// time.
void create_passing_run_index(SQLHDBC dbc, Dbms dbms, std::string const& display) {
    if (dbms == Dbms::other || exists(dbc, dbms, common::passing_run_index_name())) {
        return;
    }
    auto const started = std::chrono::steady_clock::now();
    run_in_transaction(dbc, passing_run_index_statements(dbms));
    auto const elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - started);
    log_info(display, "index " + common::passing_run_index_name() + " of passing runs created in " +
                          std::to_string(elapsed.count()) + " ms");
}

}  // namespace

void create_schema(SQLHDBC dbc, Dbms dbms, std::string const& display) {
    auto const [presence_query, all_present] = schema_presence_query(dbms);
    if (!presence_query.empty() && first_text(dbc, presence_query) == all_present) {
        return;
    }
    run_in_transaction(dbc, schema_statements(dbms));
    keep_retries_out(dbc, dbms, display);
    create_latest_state(dbc, dbms, display);
    renew_state_triggers(dbc, dbms, display);
    create_passing_run_index(dbc, dbms, display);
}

bool has_latest_state(SQLHDBC dbc, Dbms dbms) {
    return exists(dbc, dbms, common::state_table_name());
}

}  // namespace vexa::datastore::odbc_plugin
