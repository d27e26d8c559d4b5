// One open ODBC connection, made through the driver manager from a
// connection string, and what the plug-in asks of it.
#ifndef VEXA_ODBC_PLUGIN_CONNECTION_H_
#define VEXA_ODBC_PLUGIN_CONNECTION_H_

#include <string>

#include "odbc_calls.h"

namespace vexa::datastore::odbc_plugin {

class Connection {
  public:
    // Connects with SQLDriverConnect, giving up after `timeout_seconds`; a
    // read-only connection asks the driver for SQL_MODE_READ_ONLY. Throws
    // OdbcError with every diagnostic record of a failure.
    Connection(SQLHENV environment, std::string const& connection_string, bool read_only,
               SQLUINTEGER timeout_seconds);
    ~Connection();
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    SQLHDBC get() const { return dbc_; }
    // A text of SQLGetInfo, such as SQL_DBMS_NAME; "" when the driver has none.
    std::string info(SQLUSMALLINT item) const;
    // Whether the driver knows the link to the server to be gone.
    bool dead() const;
    // Whether SQLGetData also reads a bound column (SQL_GD_BOUND), which
    // lets a text longer than its bound buffer be read whole.
    bool reads_bound_columns() const;
    // Whether SQLGetData also reads a cell of any row of a block that one
    // fetch brought (SQL_GD_BLOCK), after SQLSetPos put the cursor there.
    bool reads_cells_of_blocks() const;

  private:
    SQLHDBC dbc_ = SQL_NULL_HDBC;
    bool connected_ = false;
};

}  // namespace vexa::datastore::odbc_plugin

#endif  // VEXA_ODBC_PLUGIN_CONNECTION_H_
