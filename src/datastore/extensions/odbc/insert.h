// The one statement that stores a provider run, with bound values.
#ifndef VEXA_ODBC_PLUGIN_INSERT_H_
#define VEXA_ODBC_PLUGIN_INSERT_H_

#include <string>

#include <provider/header.h>

#include "odbc_calls.h"

namespace vexa::datastore::odbc_plugin {

// Prepares the INSERT into the provider table on `dbc`.
Statement prepare_insert(SQLHDBC dbc);

// Binds the run's values to `statement` (made by prepare_insert) and
// executes it. Throws OdbcError, or std::runtime_error (before anything
// runs) for a node name holding a comma, which would come back as two.
void execute_insert(SQLHSTMT statement, provider::header const& header,
                    std::string const& option_id, std::string const& stdout_text,
                    std::string const& stderr_text);

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_INSERT_H_
