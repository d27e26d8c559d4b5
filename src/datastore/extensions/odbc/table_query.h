// Any-column queries over ODBC: one query into a table of text cells.
#ifndef VEXA_ODBC_PLUGIN_TABLE_QUERY_H_
#define VEXA_ODBC_PLUGIN_TABLE_QUERY_H_

#include <optional>
#include <string>
#include <vector>

#include <datastore/operations.h>

#include "odbc_calls.h"

namespace vexa::datastore::odbc_plugin {

// Replaces `out` with the result of `sql` on `dbc`, run as it is written:
// the caller keeps the connection from writing. An SQL error throws
// OdbcError. A NULL cell is nullopt, any other cell the DBMS's text of the
// value (integers exact).
void query_table(SQLHDBC dbc, std::string const& sql, Table& out);

// The pieces of query_table that a streamed read shares: the names of an
// executed statement's result columns, and the cells of the row it fetched
// last appended to `row` (`columns` of them).
std::vector<std::string> result_columns(SQLHSTMT statement);
void read_cells(SQLHSTMT statement, SQLSMALLINT columns,
                std::vector<std::optional<std::string>>& row);

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_TABLE_QUERY_H_
