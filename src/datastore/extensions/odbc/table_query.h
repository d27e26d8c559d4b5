// Any-column queries over ODBC: one query into a table of text cells.
#ifndef VEXA_ODBC_PLUGIN_TABLE_QUERY_H_
#define VEXA_ODBC_PLUGIN_TABLE_QUERY_H_

#include <string>

#include <datastore/operations.h>

#include "odbc_calls.h"

namespace vexa::datastore::odbc_plugin {

// Replaces `out` with the result of `sql` on `dbc`, run as it is written:
// the caller keeps the connection from writing. An SQL error throws
// OdbcError. A NULL cell is nullopt, any other cell the DBMS's text of the
// value (integers exact).
void query_table(SQLHDBC dbc, std::string const& sql, Table& out);

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_TABLE_QUERY_H_
