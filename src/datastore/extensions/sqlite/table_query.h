// Any-column queries: the first statement of an SQL text, read only, into a
// table of text cells.
#ifndef VEXA_SQLITE_PLUGIN_TABLE_QUERY_H_
#define VEXA_SQLITE_PLUGIN_TABLE_QUERY_H_

#include <optional>
#include <string>
#include <vector>

#include <datastore/operations.h>
#include <sqlite3.h>

#include "sqlite_calls.h"

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

// The pieces of query_table that a streamed read shares: the statement of
// `sql` compiled and checked as query_table checks it (null for blanks or
// comments), the names of its result columns (current once it has been
// stepped), and the cells of its current result row appended to `row`.
Statement prepare_table_query(::sqlite3* db, std::string const& sql);
std::vector<std::string> result_columns(sqlite3_stmt* statement);
void read_cells(sqlite3_stmt* statement, std::vector<std::optional<std::string>>& row);

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_TABLE_QUERY_H_
