// The one statement that stores a provider run, with bound values.
#ifndef VEXA_SQLITE_PLUGIN_INSERT_H_
#define VEXA_SQLITE_PLUGIN_INSERT_H_

#include <string>

#include <provider/header.h>

#include "sqlite_calls.h"

namespace vexa::datastore::sqlite_plugin {

// Prepares the INSERT into the provider table on `db`, once for the life of
// the instance.
Statement prepare_insert(::sqlite3* db);

// Binds the run's values to `statement` (made by prepare_insert on `db`) and
// steps it, leaving it ready for its next use however that went. Throws
// std::runtime_error with SQLite's text, or, before anything runs, for a node
// name holding a comma, which would come back as two.
void execute_insert(::sqlite3* db, sqlite3_stmt* statement, provider::header const& header,
                    std::string const& option_id, std::string const& stdout_text,
                    std::string const& stderr_text);

}  // namespace vexa::datastore::sqlite_plugin

#endif  // VEXA_SQLITE_PLUGIN_INSERT_H_
