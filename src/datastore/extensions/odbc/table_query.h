// Any-column queries over ODBC: one reading statement into a table of text
// cells.
#ifndef VEXA_ODBC_PLUGIN_TABLE_QUERY_H_
#define VEXA_ODBC_PLUGIN_TABLE_QUERY_H_

#include <optional>
#include <string>
#include <vector>

#include <datastore/operations.h>

#include "odbc_calls.h"

namespace vexa::datastore::odbc_plugin {

// Replaces `out` with the result of `sql` on `dbc`. The statement runs as a
// derived table (SELECT * FROM (sql) AS q), which only a reading statement
// can be, so anything else fails in the database system before it runs; a
// text holding a second statement throws std::runtime_error "more than one
// statement: SQL" without running. An SQL error throws OdbcError. A NULL
// cell is nullopt, any other cell the DBMS's text of the value (integers
// exact).
void query_table(SQLHDBC dbc, std::string const& sql, Table& out);

// The pieces of query_table that a streamed read shares: `sql` as the
// derived table that query_table runs (throwing as it does for a second
// statement), the names of an executed statement's result columns, and the
// cells of the row it fetched last appended to `row` (`columns` of them).
std::string derived_table_query(std::string const& sql);
std::vector<std::string> result_columns(SQLHSTMT statement);
void read_cells(SQLHSTMT statement, SQLSMALLINT columns,
                std::vector<std::optional<std::string>>& row);

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_TABLE_QUERY_H_
