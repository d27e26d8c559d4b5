// The schema of a database file.
#ifndef VEXA_SQLITE_PLUGIN_SCHEMA_H_
#define VEXA_SQLITE_PLUGIN_SCHEMA_H_

#include <string>

#include <sqlite3.h>

namespace vexa::datastore::sqlite_plugin {

// Creates whatever is missing of the provider table, the baseline table, the
// view every read goes through, the latest-row index, the run-key index, the
// latest-row state and the index of passing runs. A file that holds one run
// twice keeps its rows and gets a trigger skipping retried records instead
// of the run-key index; a file without the state gets it filled in one
// transaction, one whose state an older version keeps gets the current
// triggers, and one without the index of passing runs gets it built. All
// four are logged at level 6 for the file `path`. Throws std::runtime_error
// with SQLite's text.
void create_schema(::sqlite3* db, std::string const& path);

// Whether the file holds the latest-row state (a file written by an older
// version of the library does not, until a writable open adds it).
bool has_latest_state(::sqlite3* db);

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_SCHEMA_H_
