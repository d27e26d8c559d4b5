// Any-column queries: the first statement of an SQL text, read only, into a
// table of text cells.
#ifndef VEXA_SQLITE_PLUGIN_TABLE_QUERY_H_
#define VEXA_SQLITE_PLUGIN_TABLE_QUERY_H_

#include <string>

#include <datastore/operations.h>
#include <sqlite3.h>

namespace vexa::datastore::sqlite_plugin {

// Replaces `out` with the result of `sql` on `db`. Refuses before anything
// runs, as select() does, a statement that would write (std::runtime_error
// "not a read-only statement: SQL") or that ReadAuthorizer denies, such as
// ATTACH, a transaction or a PRAGMA that sets ("not authorized"), and, by
// throwing "more than one statement: SQL", a text holding a second statement. An SQL error throws
// std::runtime_error with SQLite's text. A NULL cell is nullopt,
// any other cell SQLite's own text of the value (integers exact, blobs as
// their bytes).
void query_table(::sqlite3* db, std::string const& sql, Table& out);

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_TABLE_QUERY_H_
