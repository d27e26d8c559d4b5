// The schema an ODBC instance creates when writable, in the dialect of its
// database system: the provider table, its view, the baseline table and the
// latest-row index.
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

// A query counting the schema objects that schema_statements() would
// create, and the count when all exist; two empty texts where the statements
// are cheap enough to run every time. On PostgreSQL they would otherwise
// wait for every open transaction on the table, a batch among them.
std::pair<std::string, std::string> schema_presence_query(Dbms dbms);

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_SCHEMA_H_
