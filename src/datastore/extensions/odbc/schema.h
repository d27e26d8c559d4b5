// The schema an ODBC instance creates when writable, in the dialect of its
// database system: the provider table, its view, the baseline table, the
// latest-row index, the run-key index (or the trigger standing in for it),
// the latest-row state with its triggers and the index of passing runs.
#ifndef VEXA_ODBC_PLUGIN_SCHEMA_H_
#define VEXA_ODBC_PLUGIN_SCHEMA_H_

#include <string>
#include <utility>
#include <vector>

#include "dialect.h"

namespace vexa::datastore::odbc_plugin {

// The statements that create whatever is missing, in order. On PostgreSQL
// they run in one transaction, serialised between concurrent openers by an
// advisory lock; elsewhere the library's own texts serve as they are.
std::vector<std::string> schema_statements(Dbms dbms);

// A query counting the schema objects that the statements of this header
// create, and the count when all exist; two empty texts where the statements
// are cheap enough to run every time. On PostgreSQL they would otherwise
// wait for every open transaction on the table, a batch among them.
std::pair<std::string, std::string> schema_presence_query(Dbms dbms);

// A query answering 1 when the table or index `name` exists, else 0, or ""
// where the database system is not known.
std::string object_presence_query(Dbms dbms, std::string const& name);

// A query answering 1 when the provider table holds one run key twice,
// else 0 (SQLite and PostgreSQL alike).
std::string duplicate_runs_query();

// A query answering 1 when the latest-row index is unique over the run key,
// else 0; "" where the database system is not known.
std::string unique_latest_index_query(Dbms dbms);

// Statements replacing the plain latest-row index with the unique one and
// dropping the trigger that stood in for it; or, where the table holds one
// run twice already, that trigger, which skips a record whose run key is
// stored.
std::vector<std::string> unique_latest_index_statements(Dbms dbms);
std::vector<std::string> skip_retried_statements(Dbms dbms);

// The latest-row state, its triggers and its filling from the provider
// table; none of them creates or adds anything twice, so two processes may
// run them one after the other. Empty where the database system is not
// known.
std::vector<std::string> latest_state_statements(Dbms dbms);

// A query answering 1 when the latest-row state exists but is kept by the
// triggers of an older version of the library, else 0; "" where the
// database system is not known.
std::string outdated_state_triggers_query(Dbms dbms);

// Statements replacing the state's triggers with the current ones; like the
// state's statements, they may run twice.
std::vector<std::string> state_trigger_renewal(Dbms dbms);

// The index of passing runs; like the state's statements, none of them
// creates anything twice. Empty where the database system is not known.
std::vector<std::string> passing_run_index_statements(Dbms dbms);

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_SCHEMA_H_
