// The schema of a writable database file.
#ifndef VEXA_SQLITE_PLUGIN_SCHEMA_H_
#define VEXA_SQLITE_PLUGIN_SCHEMA_H_

#include <sqlite3.h>

namespace vexa::datastore::sqlite_plugin {

// Creates whatever is missing of the provider table, the baseline table, the
// view every read goes through and the latest-row index. Throws
// std::runtime_error with SQLite's text.
void create_schema(::sqlite3* db);

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_SCHEMA_H_
