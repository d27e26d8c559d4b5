// What a writable ODBC instance does to the database's schema when it
// connects, with the statements of schema.h.
#ifndef VEXA_ODBC_PLUGIN_SCHEMA_SETUP_H_
#define VEXA_ODBC_PLUGIN_SCHEMA_SETUP_H_

#include <string>

#include "dialect.h"
#include "odbc_calls.h"

namespace vexa::datastore::odbc_plugin {

// Creates whatever is missing of the schema on `dbc`. A table that holds
// one run twice keeps its rows and gets a trigger skipping retried records
// instead of the run-key index; a database without the latest-row state
// gets it filled in one transaction, one whose state an older version keeps
// gets the current triggers, and one without the index of passing runs gets
// it built. All four are logged at level 6 for the source `display`. Throws OdbcError with the
// driver's diagnostics.
void create_schema(SQLHDBC dbc, Dbms dbms, std::string const& display);

// Whether the database holds the latest-row state; false where the database
// system is not known.
bool has_latest_state(SQLHDBC dbc, Dbms dbms);

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_SCHEMA_SETUP_H_
