// An INSERT of one row turned into the same INSERT of many rows, so that one
// statement, one round trip to the server, stores them all.
#ifndef VEXA_ODBC_PLUGIN_MULTI_ROW_INSERT_H_
#define VEXA_ODBC_PLUGIN_MULTI_ROW_INSERT_H_

#include <cstddef>
#include <string>

namespace vexa::datastore::odbc_plugin {

// `one_row_insert` with its VALUES list written `rows` times, separated by
// ", ": "INSERT INTO t(a, b) VALUES(?, ?) ON CONFLICT DO NOTHING" and 2 ->
// "INSERT INTO t(a, b) VALUES(?, ?), (?, ?) ON CONFLICT DO NOTHING". Whatever
// comes before and after the list stays, so a conflict clause or an "OR
// IGNORE" applies to every row. The list must hold plain "?" markers and no
// parenthesis. Throws std::invalid_argument for a text without "VALUES(" or
// `rows` 0.
std::string multi_row_insert(std::string const& one_row_insert, std::size_t rows);

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_MULTI_ROW_INSERT_H_
